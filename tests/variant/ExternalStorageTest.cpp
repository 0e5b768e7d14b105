// Storage lent by a caller: forwarded to while the caller's memory lives,
// copied once when the caller withdraws it.
#include <complex>

#include "StorageTestSupport.hpp"
#include "variant/TransmuteRealToComplexVariant.hpp"

namespace {

using namespace StorageTest;

TEST(ExternalStorage, ForwardingReadsTheCallersMemoryInPlace)
{
    LentSamples samples({1, 2, 3, 4, 5, 6.5}, {2, 3}, kColumn);
    Owned lent(constructVariantExternal(&samples));
    EXPECT_EQ(lent->constStoredData(), samples.values.data());

    // The shape outlives the caller's scratch space.
    const ArrayDimensionsView dims = lent->dimensions();
    samples.scratch.assign({9, 9, 9});
    EXPECT_EQ(dims.toVector(), (Extents{2, 3}));
    samples.values[4] = 50;
    EXPECT_EQ(valuesOf<double>(*lent), (std::vector<double>{1, 2, 3, 4, 50, 6.5}));

    // Conversions and copies read the caller's memory and keep its ordering.
    Owned asInt(lent->convertDataTo(WellKnownTypeValue::int32, ConversionMode::Cast));
    ASSERT_NE(asInt.get(), nullptr);
    EXPECT_EQ(asInt->dataOrdering(), kColumn);
    EXPECT_EQ(extentsOf(*asInt), (Extents{2, 3}));
    EXPECT_EQ(valuesOf<std::int32_t>(*asInt), (std::vector<std::int32_t>{1, 2, 3, 4, 50, 6}));
    EXPECT_EQ(lent->convertDataTo(WellKnownTypeValue::int32, ConversionMode::Lossless), nullptr);
    Owned copy(static_cast<IVariantDataRefCounted*>(lent.get())->clone());
    EXPECT_NE(copy->constStoredData(), samples.values.data());
    EXPECT_EQ(valuesOf<double>(*copy), samples.values);
    Owned firstThree(lent->reshapeToZVariant(lent.get(), ArrayDimensionsView{3}, kRow));
    EXPECT_EQ(valuesOf<double>(*firstThree), (std::vector<double>{1, 2, 3}));

    lent->reshapeNoRealloc(ArrayDimensionsView{3, 2});
    EXPECT_EQ(samples.shape, (Extents{3, 2}));

    // A caller's element class outside the list cannot be copied or converted.
    samples.type = WellKnownType(WellKnownTypeValue::customType);
    EXPECT_EQ(thrownText<std::runtime_error>([&] { (void)static_cast<IVariantDataRefCounted*>(lent.get())->clone(); }),
              "unknown type");
}

TEST(ExternalStorage, WritingThroughASoleAdaptorReachesTheCallerAndASharedOneCopies)
{
    LentSamples samples({1, 2, 3}, {3});
    IVariantData* lent = constructVariantExternal(&samples)->mutableInstance();
    EXPECT_EQ(lent->mutableStoredData(), samples.values.data());
    lent->copy();
    Owned mine(lent->mutableInstance());
    EXPECT_NE(mine.get(), lent);
    EXPECT_EQ(refCount(lent), 1u);
    static_cast<double*>(mine->mutableStoredData())[0] = 100;
    EXPECT_EQ(samples.values[0], 1);
    lent->destruct();
}

TEST(ExternalStorage, DetachingCopiesOnceAndThenIgnoresTheCaller)
{
    auto samples = std::make_unique<LentSamples>(std::vector<double>{1, 2, 3, 4, 5, 6}, Extents{2, 3});
    Owned lent(constructVariantExternal(samples.get()));
    EXPECT_EQ(thrownText<std::runtime_error>([&] { (void)lent->reorderData(kColumn); }), "Not implemented!")
        << "reordering needs the detached copy";
    samples->withdraw();
    EXPECT_EQ(samples->dataReads, 1);  // one read for one copy; none after it
    const void* copied = lent->constStoredData();
    EXPECT_NE(copied, samples->values.data());
    samples->values.assign(6, 7.0);
    EXPECT_EQ(valuesOf<double>(*lent), (std::vector<double>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(samples->dataReads, 1);
    samples.reset();  // the caller's object may now go first
    EXPECT_EQ(extentsOf(*lent), (Extents{2, 3}));

    Owned columns(lent->reorderData(kColumn));
    EXPECT_EQ(valuesOf<double>(*columns), (std::vector<double>{1, 4, 2, 5, 3, 6}));
    // The private copy is never handed out: the same ordering shares the adaptor.
    Owned same(lent->reorderData(kRow));
    EXPECT_EQ(same.get(), lent.get());
    EXPECT_EQ(refCount(lent.get()), 2u);
}

TEST(ExternalStorage, DetachingKeepsTheWholeRoomThatAViewMayRead)
{
    // Six doubles lent under a shape of four; a complex view over them has
    // room for three and takes that shape.
    LentSamples samples({1, 2, 3, 4, 5, 6}, {4});
    IVariantData* lent = constructVariantExternal(&samples);
    Owned view(constructTransmuteRealToComplexVariant(lent));
    view->reshapeNoRealloc(ArrayDimensionsView{3});
    samples.withdraw();
    EXPECT_EQ(lent->numberAllocatedElements(), 6u);
    EXPECT_EQ(extentsOf(*lent), (Extents{4}));

    // The view's first write copies the three numbers from the detached copy.
    Owned mine(view.release()->mutableInstance());
    samples.values.assign(6, 0.0);
    using Complex = std::complex<double>;
    EXPECT_EQ(valuesOf<Complex>(*mine), (std::vector<Complex>{{1, 2}, {3, 4}, {5, 6}}));
}

TEST(ExternalStorage, AdaptorDestroyedIsCalledOnceAndOnlyWhileForwarding)
{
    LentSamples kept({1, 2}, {2});
    IVariantData* lent = constructVariantExternal(&kept);
    lent->copy();
    lent->destruct();
    EXPECT_EQ(kept.destroyedCalls, 0);
    lent->destruct();
    EXPECT_EQ(kept.destroyedCalls, 1);
    EXPECT_FALSE(kept.detachFromStorage);

    // Construction replaces an earlier detach callable.
    bool oldCalled = false;
    LentSamples withdrawn({1, 2}, {2});
    withdrawn.detachFromStorage = [&] { oldCalled = true; };
    lent = constructVariantExternal(&withdrawn);
    withdrawn.withdraw();
    EXPECT_FALSE(oldCalled);
    EXPECT_NE(lent->constStoredData(), withdrawn.values.data());
    lent->destruct();
    EXPECT_EQ(withdrawn.destroyedCalls, 0);
}

}  // namespace
