#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "LumCore/ExternalVariantStorageInterface.hpp"
#include "LumCore/VariantFactories.hpp"
#include "LumCore/IVariantDataRefCounted.hpp"
#include "support/ThrownText.hpp"

using namespace Marlowen::Lum;
using namespace Marlowen::Lum::Internal;

namespace {

using LumTest::thrownText;

std::uint32_t countOf(const IVariantData* data)
{
    return dynamic_cast<const IVariantDataRefCounted&>(*data).referenceCount();
}

std::vector<double> elementsOf(const IVariantData* data)
{
    const auto* first = static_cast<const double*>(data->constStoredData());
    return {first, first + elementCount(data->dimensions())};
}

// A caller that lends a buffer of doubles, as an application would.
class LentSamples : public ExternalVariantStorageInterface {
public:
    LentSamples(std::vector<double> values, std::vector<std::size_t> shape,
                DataOrdering ordering = DataOrdering::RowMajor)
        : values(std::move(values)), shape(std::move(shape)), ordering(ordering)
    {
    }
    ~LentSamples() override { withdraw(); }

    // What the caller does before its buffer goes away.
    void withdraw()
    {
        if (detachFromStorage) {
            auto detach = std::move(detachFromStorage);
            detachFromStorage = nullptr;
            detach();
        }
    }

    std::size_t numberAllocatedElements() const override { return values.size(); }
    // Handed out from scratch space that the next call may reuse.
    ArrayDimensionsView dimensions() const override
    {
        scratch = shape;
        return ArrayDimensionsView(scratch);
    }
    DataOrdering dataOrdering() const override { return ordering; }
    WellKnownType wellKnownDataType() const override { return type; }
    void reshapeNoRealloc(ArrayDimensionsView dims) override
    {
        if (elementCount(dims) > values.size()) {
            throw std::length_error("too large for the buffer");
        }
        shape = dims.toVector();
    }
    const void* constStoredData() const override
    {
        ++dataReads;
        return values.data();
    }
    void* mutableStoredData() override { return values.data(); }
    void adaptorDestroyed() override
    {
        ++destroyedCalls;
        detachFromStorage = nullptr;
    }

    std::vector<double> values;
    std::vector<std::size_t> shape;
    DataOrdering ordering;
    WellKnownType type{WellKnownTypeValue::double_};
    mutable std::vector<std::size_t> scratch;
    mutable int dataReads = 0;
    int destroyedCalls = 0;
};

}  // namespace

TEST(ExternalStorage, ForwardingReadsTheCallersMemoryInPlace)
{
    LentSamples samples({1, 2, 3, 4, 5, 6}, {2, 3}, DataOrdering::ColumnMajor);
    IVariantData* lent = constructVariantExternal(&samples);

    EXPECT_EQ(lent->constStoredData(), samples.values.data());
    EXPECT_EQ(lent->dataOrdering(), DataOrdering::ColumnMajor);

    // The shape outlives the caller's scratch space.
    const ArrayDimensionsView dims = lent->dimensions();
    samples.scratch.assign({9, 9, 9});
    ASSERT_EQ(dims.size(), 2u);
    EXPECT_EQ(dims[0], 2u);
    EXPECT_EQ(dims[1], 3u);

    samples.values[4] = 50;
    EXPECT_EQ(elementsOf(lent), (std::vector<double>{1, 2, 3, 4, 50, 6}));

    lent->reshapeNoRealloc(ArrayDimensionsView(std::vector<std::size_t>{3, 2}));
    EXPECT_EQ(samples.shape, (std::vector<std::size_t>{3, 2}));
    lent->destruct();
}

TEST(ExternalStorage, ConversionAndCopiesReadTheCallersMemoryAndKeepItsOrdering)
{
    LentSamples samples({1, 2, 3, 4, 5, 6.5}, {2, 3}, DataOrdering::ColumnMajor);
    IVariantData* lent = constructVariantExternal(&samples);

    IVariantData* asInt = lent->convertDataTo(WellKnownType(WellKnownTypeValue::int32), ConversionMode::Cast);
    ASSERT_NE(asInt, nullptr);
    EXPECT_EQ(asInt->dataOrdering(), DataOrdering::ColumnMajor);
    EXPECT_EQ(asInt->dimensions().toVector(), (std::vector<std::size_t>{2, 3}));
    const auto* ints = static_cast<const std::int32_t*>(asInt->constStoredData());
    EXPECT_EQ(std::vector<std::int32_t>(ints, ints + 6), (std::vector<std::int32_t>{1, 2, 3, 4, 5, 6}));
    asInt->destruct();
    EXPECT_EQ(lent->convertDataTo(WellKnownType(WellKnownTypeValue::int32), ConversionMode::Lossless), nullptr);

    IVariantData* copy = static_cast<IVariantDataRefCounted*>(lent)->clone();
    EXPECT_NE(copy->constStoredData(), samples.values.data());
    EXPECT_EQ(elementsOf(copy), samples.values);
    EXPECT_NE(copy->typeInfo(), nullptr);  // an ordinary array
    copy->destruct();

    IVariantData* firstThree = lent->reshapeToZVariant(lent, ArrayDimensionsView(std::vector<std::size_t>{3}),
                                                       DataOrdering::RowMajor);
    EXPECT_EQ(elementsOf(firstThree), (std::vector<double>{1, 2, 3}));
    firstThree->destruct();

    // A caller's element class outside the list cannot be copied or converted.
    samples.type = WellKnownType(WellKnownTypeValue::customType);
    EXPECT_EQ(thrownText<std::runtime_error>([&] { (void)static_cast<IVariantDataRefCounted*>(lent)->clone(); }),
              "unknown type");
    EXPECT_EQ(thrownText<std::runtime_error>(
                  [&] { (void)lent->convertDataTo(WellKnownType(WellKnownTypeValue::float_), ConversionMode::Cast); }),
              "unknown type");
    lent->destruct();
}

TEST(ExternalStorage, WritingThroughASoleAdaptorReachesTheCallerAndASharedOneCopies)
{
    LentSamples samples({1, 2, 3}, {3});
    IVariantData* lent = constructVariantExternal(&samples);

    lent = lent->mutableInstance();
    EXPECT_EQ(lent->mutableStoredData(), samples.values.data());

    lent->copy();
    IVariantData* mine = lent->mutableInstance();
    EXPECT_NE(mine, lent);
    EXPECT_EQ(countOf(lent), 1u);
    static_cast<double*>(mine->mutableStoredData())[0] = 100;
    EXPECT_EQ(samples.values[0], 1);
    mine->destruct();
    lent->destruct();
}

TEST(ExternalStorage, DetachingCopiesOnceAndThenIgnoresTheCaller)
{
    auto samples = std::make_unique<LentSamples>(std::vector<double>{1, 2, 3, 4}, std::vector<std::size_t>{2, 2});
    IVariantData* lent = constructVariantExternal(samples.get());
    samples->withdraw();
    EXPECT_EQ(samples->dataReads, 1);  // one read for one copy; none after it
    const void* copied = lent->constStoredData();
    EXPECT_NE(copied, samples->values.data());
    samples->values.assign({7, 7, 7, 7});
    EXPECT_EQ(elementsOf(lent), (std::vector<double>{1, 2, 3, 4}));
    EXPECT_EQ(lent->constStoredData(), copied);
    EXPECT_EQ(samples->dataReads, 1);
    samples.reset();  // the caller's object may now go first
    EXPECT_EQ(lent->dimensions().toVector(), (std::vector<std::size_t>{2, 2}));
    lent->destruct();
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

    LentSamples withdrawn({1, 2}, {2});
    lent = constructVariantExternal(&withdrawn);
    withdrawn.withdraw();
    lent->destruct();
    EXPECT_EQ(withdrawn.destroyedCalls, 0);
}

TEST(ExternalStorage, ConstructionReplacesAnEarlierDetachCallable)
{
    bool oldCalled = false;
    LentSamples samples({1}, {1});
    samples.detachFromStorage = [&] { oldCalled = true; };
    IVariantData* lent = constructVariantExternal(&samples);
    samples.withdraw();
    EXPECT_FALSE(oldCalled);
    EXPECT_NE(lent->constStoredData(), samples.values.data());
    lent->destruct();
}

TEST(ExternalStorage, ReorderingNeedsTheDetachedCopy)
{
    LentSamples samples({1, 2, 3, 4, 5, 6}, {2, 3});
    IVariantData* lent = constructVariantExternal(&samples);
    EXPECT_EQ(thrownText<std::runtime_error>([&] { (void)lent->reorderData(DataOrdering::ColumnMajor); }),
              "Not implemented!");

    samples.withdraw();
    IVariantData* columns = lent->reorderData(DataOrdering::ColumnMajor);
    EXPECT_EQ(columns->dataOrdering(), DataOrdering::ColumnMajor);
    EXPECT_EQ(elementsOf(columns), (std::vector<double>{1, 4, 2, 5, 3, 6}));
    columns->destruct();

    // The private copy is never handed out: the same ordering shares the adaptor.
    IVariantData* same = lent->reorderData(DataOrdering::RowMajor);
    EXPECT_EQ(same, lent);
    EXPECT_EQ(countOf(lent), 2u);
    same->destruct();
    lent->destruct();
}
