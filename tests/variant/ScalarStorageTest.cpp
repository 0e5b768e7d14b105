// Scalar storage: the choice between a caller's buffer and the heap, the
// two reshapes, and the owning front that keeps a scalar in its own buffer.
#include <algorithm>
#include <typeinfo>

#include "LumCore/internal/ZVariantDirectStorage.hpp"
#include "StorageTestSupport.hpp"
#include "support/CountingNew.hpp"

namespace {

using namespace StorageTest;

// A value unlike the default of each class, so a lost value shows.
template <class T>
T sample();
template <>
bool sample()
{
    return true;
}
template <>
std::uint64_t sample()
{
    return 0xFEDCBA9876543210u;
}
template <>
std::complex<double> sample()
{
    return {0.25, 8.0};
}
template <>
Complex<std::int64_t> sample()
{
    return {-5, 1LL << 40};
}
template <>
TimePoint sample()
{
    return {56, 78};
}
template <>
ZString sample()
{
    return ZString("a text long enough to live in a record");
}

// The smallest and the largest classes of each kind.
template <class T>
class ScalarOfEachClass : public ::testing::Test {
};
using ElementClasses =
    ::testing::Types<bool, std::uint64_t, std::complex<double>, Complex<std::int64_t>, TimePoint, ZString>;
TYPED_TEST_SUITE(ScalarOfEachClass, ElementClasses);

// The size test is exact: the object's own size goes in the buffer, one
// byte less goes to the heap with a count of 1. Every class fits a front.
TYPED_TEST(ScalarOfEachClass, BufferOrHeapAtTheExactSize)
{
    constexpr std::size_t fits = sizeof(ScalarVariantDataNonCounted<TypeParam>);
    EXPECT_LE(fits, ZVariantDirectStorage::kBufferSize);
    EXPECT_LE(alignof(ScalarVariantDataNonCounted<TypeParam>), alignof(void*));
    alignas(void*) unsigned char buffer[64];
    const TypeParam value = sample<TypeParam>();

    LumTest::AllocationCounter inPlaceAllocations;
    IVariantData* inPlace = constructVariantScalar<TypeParam>(buffer, fits, value);
    EXPECT_EQ(inPlaceAllocations.count(), 0u);
    ASSERT_EQ(static_cast<void*>(inPlace), static_cast<void*>(buffer));
    EXPECT_TRUE(*elementsOf<TypeParam>(*inPlace) == value);
    inPlace->~IVariantData();

    Owned onHeap(constructVariantScalar<TypeParam>(buffer, fits - 1, value));
    ASSERT_NE(static_cast<void*>(onHeap.get()), static_cast<void*>(buffer));
    EXPECT_EQ(typeid(*onHeap), typeid(ScalarVariantDataRefCounted<TypeParam>));
    EXPECT_EQ(refCount(onHeap.get()), 1u);
    EXPECT_TRUE(*elementsOf<TypeParam>(*onHeap) == value);
    EXPECT_EQ(onHeap->wellKnownDataType(), WellKnownType(WellKnownTypeOf<TypeParam>::value));
    EXPECT_EQ(*onHeap->typeInfo(), typeid(TypeParam));
}

// A moved scalar goes in the buffer whatever size it is told. (Custom
// classes and their comparison are the value tests' subject.)
TEST(ScalarStorage, MovedScalarsIgnoreTheBufferSize)
{
    alignas(void*) unsigned char buffer[64];
    IVariantData* moved = moveVariantScalar<double>(buffer, 0, 4.5);
    ASSERT_EQ(static_cast<void*>(moved), static_cast<void*>(buffer));
    EXPECT_EQ(*elementsOf<double>(*moved), 4.5);
    moved->~IVariantData();
}

TEST(ScalarStorage, ReshapesInPlaceOnlyToOneExtentOfOneAndToArraysByCopying)
{
    ScalarVariantDataRefCounted<double> number(2.0);
    number.reshapeNoRealloc(ArrayDimensionsView{1});
    EXPECT_EQ(extentsOf(number), Extents{1});
    for (const Extents& refused : {Extents{}, Extents{1, 1}, Extents{2}, Extents{0}}) {
        EXPECT_EQ(thrownText<std::invalid_argument>([&] { number.reshapeNoRealloc(ArrayDimensionsView(refused)); }),
                  "Cannot reshape a scalar ZVariant to different dimensions without reallocating.");
    }
    EXPECT_EQ(*elementsOf<double>(number), 2.0);

    // One element from the source, the rest as a new array has them.
    const ScalarVariantDataRefCounted<ZString> scalar(ZString("only"));
    Owned three(scalar.reshapeToZVariant(&scalar, ArrayDimensionsView{3}, kColumn));
    EXPECT_EQ(typeid(*three), typeid(VectorVariantData<ZString>));
    EXPECT_EQ(three->dataOrdering(), kColumn);
    EXPECT_EQ(refCount(three.get()), 1u);
    EXPECT_EQ(valuesOf<ZString>(*three), (std::vector<ZString>{ZString("only"), ZString(), ZString()}));

    // Booleans that nobody wrote are false, never a byte that is no bool: a
    // conversion of them stays defined (a sanitizer would say otherwise).
    const ScalarVariantDataRefCounted<bool> yes(true);
    Owned grown(yes.reshapeToZVariant(&yes, ArrayDimensionsView{4096}, kRow));
    const auto* flags = static_cast<const unsigned char*>(grown->constStoredData());
    EXPECT_EQ(flags[0], 1u);
    EXPECT_EQ(std::count(flags + 1, flags + 4096, 0), 4095);

    // No elements is an empty array, not a failure.
    Owned empty(scalar.reshapeToZVariant(&scalar, ArrayDimensionsView(), kRow));
    ASSERT_NE(empty.get(), nullptr);
    EXPECT_EQ(empty->numberAllocatedElements(), 0u);

    // The receiver picks the class, the source gives the elements, as many
    // as both hold.
    Owned source = makeArray<ZString>({ZString("a"), ZString("b"), ZString("c"), ZString("d")}, {4});
    Owned two(scalar.reshapeToZVariant(source.get(), ArrayDimensionsView{1, 2}, kRow));
    EXPECT_EQ(valuesOf<ZString>(*two), (std::vector<ZString>{ZString("a"), ZString("b")}));
    EXPECT_EQ(refCount(source.get()), 1u);

    // A clone shares the text but not the storage.
    Owned clone(scalar.clone());
    EXPECT_NE(clone->constStoredData(), scalar.constStoredData());
    EXPECT_EQ(elementsOf<ZString>(*clone)->c_str(), elementsOf<ZString>(scalar)->c_str());
}

TEST(DirectStorage, InPlaceScalarIsCopiedAndMovedWithoutAllocating)
{
    const ZString text = sample<ZString>();
    {
        const LumTest::AllocationCounter allocations;
        ZVariantDirectStorage front = ZVariantDirectStorage::scalar(text);
        ZVariantDirectStorage copied(front);
        ZVariantDirectStorage moved(std::move(copied));
        ZVariantDirectStorage assigned;
        assigned = moved;
        EXPECT_EQ(allocations.count(), 0u);
        EXPECT_EQ(copied.data(), nullptr);
        for (const ZVariantDirectStorage* each : {&front, &moved, &assigned}) {
            EXPECT_TRUE(each->isInPlace());
            EXPECT_EQ(elementsOf<ZString>(*each->data())->c_str(), text.c_str()) << "the text is shared";
        }
    }

    // Assignment over an in-place string releases the old value.
    ZVariantDirectStorage front = ZVariantDirectStorage::scalar(text);
    ZVariantDirectStorage other = ZVariantDirectStorage::scalar(text);
    other = ZVariantDirectStorage(new ScalarVariantDataRefCounted<ZString>(ZString("other")));
    EXPECT_FALSE(other.isInPlace());
    EXPECT_EQ(*elementsOf<ZString>(*other.data()), ZString("other"));
    front = front;  // self-assignment keeps the value
    EXPECT_EQ(*elementsOf<ZString>(*front.data()), text);

    // A copy into a smaller buffer goes to the heap.
    alignas(void*) unsigned char small[16];
    Owned copied(copyConstructVariantScalar(small, sizeof small, front));
    EXPECT_NE(static_cast<void*>(copied.get()), static_cast<void*>(small));
    EXPECT_EQ(refCount(copied.get()), 1u);
    EXPECT_EQ(*elementsOf<ZString>(*copied), text);
}

TEST(DirectStorage, HeapObjectIsSharedAndHandedOver)
{
    Owned array = makeArray(iota(4), {4});
    IVariantData* raw = array.get();
    {
        raw->copy();
        ZVariantDirectStorage front(raw);
        EXPECT_FALSE(front.isInPlace());
        EXPECT_EQ(refCount(raw), 2u);

        ZVariantDirectStorage copied(front);
        EXPECT_EQ(copied.data(), raw);
        EXPECT_EQ(refCount(raw), 3u);

        ZVariantDirectStorage moved(std::move(copied));
        EXPECT_EQ(copied.data(), nullptr);
        EXPECT_EQ(refCount(raw), 3u);

        moved = front;  // the same object: one share given up, one taken
        EXPECT_EQ(refCount(raw), 3u);
        moved = ZVariantDirectStorage();
        EXPECT_EQ(refCount(raw), 2u);
    }
    EXPECT_EQ(refCount(raw), 1u);
}

}  // namespace
