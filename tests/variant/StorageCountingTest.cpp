// Sharing and copy-on-write of storage objects: what is shared is never
// written, and mutableInstance hands back an object its caller owns alone.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <typeinfo>
#include <vector>

#include "LumCore/ZString.hpp"
#include "StorageTestSupport.hpp"
#include "LumCore/ScalarVariantData.hpp"
#include "LumCore/VectorVariantData.hpp"

namespace {

using namespace StorageTest;
using namespace Marlowen::Lum;
using namespace Marlowen::Lum::Internal;

// The counted kinds of storage, each holding 0, 1, 2, ... 5 (a scalar only 0).
enum class Kind { array, adoptedVector, scalar };

Owned makeCounted(Kind kind)
{
    const Extents shape{2, 3};
    switch (kind) {
    case Kind::array: return makeArray(iota(6), shape);
    case Kind::adoptedVector:
        return Owned(constructVariantDataFromMovedVector<double>(iota(6), ArrayDimensionsView(shape),
                                                                 DataOrdering::RowMajor));
    case Kind::scalar: return Owned(new ScalarVariantDataRefCounted<double>(0.0));
    }
    return nullptr;
}

class CountedStorage : public ::testing::TestWithParam<Kind> {};

TEST_P(CountedStorage, CountFollowsCopyAndDestruct)
{
    Owned data = makeCounted(GetParam());
    const auto& counted = dynamic_cast<const IVariantDataRefCounted&>(*data);
    EXPECT_TRUE(counted.hasSingleReference());
    data->copy();
    data->copy();
    EXPECT_EQ(counted.referenceCount(), 3u);
    EXPECT_FALSE(counted.hasSingleReference());
    data->destruct();
    data->destruct();
    EXPECT_TRUE(counted.hasSingleReference());
}

TEST_P(CountedStorage, SoleOwnerWritesInPlace)
{
    Owned data = makeCounted(GetParam());
    const void* before = data->constStoredData();
    IVariantData* mine = data.release()->mutableInstance();
    Owned owned(mine);
    EXPECT_EQ(mine->constStoredData(), before) << "an unshared object must not be copied";
    EXPECT_EQ(refCount(mine), 1u);
}

TEST_P(CountedStorage, SharedObjectIsClonedAndNeverWritten)
{
    Owned original = makeCounted(GetParam());
    const std::vector<double> content = valuesOf<double>(*original);

    original->copy();  // a second holder
    Owned mine(original.get()->mutableInstance());

    ASSERT_NE(mine.get(), original.get());
    EXPECT_EQ(refCount(original.get()), 1u) << "the clone must give up the caller's reference";
    EXPECT_EQ(refCount(mine.get()), 1u);
    EXPECT_EQ(typeid(*mine), typeid(*original));
    EXPECT_EQ(extentsOf(*mine), extentsOf(*original));
    EXPECT_EQ(mine->dataOrdering(), original->dataOrdering());
    EXPECT_EQ(valuesOf<double>(*mine), content);

    auto* writable = static_cast<double*>(mine->mutableStoredData());
    for (std::size_t i = 0; i < content.size(); ++i) {
        writable[i] = -1.0;
    }
    EXPECT_EQ(valuesOf<double>(*original), content);
}

INSTANTIATE_TEST_SUITE_P(Kinds, CountedStorage, ::testing::Values(Kind::array, Kind::adoptedVector, Kind::scalar),
                         [](const auto& info) {
                             switch (info.param) {
                             case Kind::array: return "VectorVariantData";
                             case Kind::adoptedVector: return "StdVectorVariantData";
                             case Kind::scalar: return "Scalar";
                             }
                             return "unknown";
                         });

TEST(StorageCounting, CloneOfShrunkArrayKeepsItsRoomAndShape)
{
    Owned original = makeArray(iota(6), {2, 3});
    const Extents smaller{2, 2};
    original->reshapeNoRealloc(ArrayDimensionsView(smaller));
    original->copy();
    Owned mine(original.get()->mutableInstance());

    ASSERT_NE(mine.get(), original.get());
    EXPECT_EQ(mine->numberAllocatedElements(), 6u);
    EXPECT_EQ(extentsOf(*mine), smaller);
    EXPECT_EQ(std::vector<double>(elementsOf<double>(*mine), elementsOf<double>(*mine) + 6), iota(6));
}

TEST(StorageCounting, CloneOfStringArraySharesTheText)
{
    const std::vector<ZString> texts{ZString("alpha"), ZString("beta")};
    Owned original = makeArray(texts, {2});
    original->copy();
    Owned mine(original.get()->mutableInstance());

    ASSERT_NE(mine.get(), original.get());
    EXPECT_NE(mine->constStoredData(), original->constStoredData());
    EXPECT_EQ(elementsOf<ZString>(*mine)[1].c_str(), elementsOf<ZString>(*original)[1].c_str());

    static_cast<ZString*>(mine->mutableStoredData())[1] = ZString("gamma");
    EXPECT_EQ(elementsOf<ZString>(*original)[1], ZString("beta"));
}

// A scalar whose count check always reports a second holder: what
// mutableInstance sees when the other holder lets go between its check and
// its decrement.
class StaleSharedScalar final : public ScalarVariantData<double, IVariantDataRefCounted> {
public:
    StaleSharedScalar(double value, int& destroyed) : ScalarVariantData(value), m_destroyed(destroyed) {}
    ~StaleSharedScalar() override { ++m_destroyed; }
    [[nodiscard]] IVariantData* clone() const override { return new ScalarVariantDataRefCounted<double>(m_value); }
    [[nodiscard]] bool hasSingleReference() const override { return false; }

private:
    int& m_destroyed;
};

TEST(StorageCounting, MutableInstanceFreesTheOriginalWhenItHeldTheLastReference)
{
    int destroyed = 0;
    IVariantData* stale = new StaleSharedScalar(2.5, destroyed);
    Owned mine(stale->mutableInstance());
    EXPECT_NE(mine.get(), stale);
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(*elementsOf<double>(*mine), 2.5);
    EXPECT_EQ(refCount(mine.get()), 1u);
}

TEST(StorageCounting, UncountedScalarIgnoresCopyAndDestruct)
{
    alignas(void*) unsigned char buffer[32];
    const ZString text("a text long enough to live in a record");
    IVariantData* scalar = constructVariantScalar<ZString>(buffer, sizeof buffer, text);
    ASSERT_EQ(static_cast<void*>(scalar), static_cast<void*>(buffer));

    scalar->copy();
    scalar->destruct();
    scalar->destruct();  // would destroy the value if it were counted
    EXPECT_EQ(scalar->mutableInstance(), scalar);
    IVariantData* reordered = scalar->reorderData(DataOrdering::ColumnMajor);
    EXPECT_EQ(reordered, scalar);
    reordered->destruct();
    EXPECT_EQ(*elementsOf<ZString>(*scalar), text);
    EXPECT_EQ(elementsOf<ZString>(*scalar)->c_str(), text.c_str());

    scalar->~IVariantData();
}

TEST(StorageCounting, ReorderToTheCurrentOrderingShares)
{
    Owned array = makeArray(iota(6), {2, 3}, DataOrdering::ColumnMajor);
    Owned same(array->reorderData(DataOrdering::ColumnMajor));
    EXPECT_EQ(same.get(), array.get());
    EXPECT_EQ(refCount(array.get()), 2u);

    // A scalar has no ordering: any reorder shares it.
    Owned scalar(new ScalarVariantDataRefCounted<double>(1.0));
    Owned reordered(scalar->reorderData(DataOrdering::ColumnMajor));
    EXPECT_EQ(reordered.get(), scalar.get());
    EXPECT_EQ(refCount(scalar.get()), 2u);
}

#if defined(__GNUC__) && !defined(_WIN32)
// Other modules call these operations through the virtual table of objects
// made here, so their slots are fixed. Under the Itanium C++ ABI a pointer to
// a virtual member holds 1 + the slot's byte offset; the destructor takes the
// first two slots.
template <class Member>
std::uintptr_t slotOf(Member member)
{
    static_assert(sizeof(Member) == 2 * sizeof(std::uintptr_t));
    std::uintptr_t raw = 0;
    std::memcpy(&raw, &member, sizeof raw);
    return (raw - 1) / sizeof(void*);
}

TEST(StorageCounting, VirtualOperationsKeepTheirSlots)
{
    EXPECT_EQ(slotOf(&IVariantData::copy), 2u);
    EXPECT_EQ(slotOf(&IVariantData::destruct), 3u);
    EXPECT_EQ(slotOf(&IVariantData::mutableInstance), 4u);
    EXPECT_EQ(slotOf(&IVariantData::numberAllocatedElements), 5u);
    EXPECT_EQ(slotOf(&IVariantData::dimensions), 6u);
    EXPECT_EQ(slotOf(&IVariantData::isScalarStorage), 7u);
    EXPECT_EQ(slotOf(&IVariantData::dataOrdering), 8u);
    EXPECT_EQ(slotOf(&IVariantData::wellKnownDataType), 9u);
    EXPECT_EQ(slotOf(&IVariantData::typeInfo), 10u);
    EXPECT_EQ(slotOf(&IVariantData::customTypeOperations), 11u);
    EXPECT_EQ(slotOf(&IVariantData::reorderData), 12u);
    EXPECT_EQ(slotOf(&IVariantData::reshapeNoRealloc), 13u);
    EXPECT_EQ(slotOf(&IVariantData::reshapeToZVariant), 14u);
    EXPECT_EQ(slotOf(&IVariantData::constStoredData), 15u);
    EXPECT_EQ(slotOf(&IVariantData::mutableStoredData), 16u);
    EXPECT_EQ(slotOf(&IVariantData::convertDataTo), 17u);
    EXPECT_EQ(slotOf(&IVariantDataRefCounted::clone), 18u);
    EXPECT_EQ(slotOf(&IVariantDataRefCounted::hasSingleReference), 19u);
}
#endif

}  // namespace
