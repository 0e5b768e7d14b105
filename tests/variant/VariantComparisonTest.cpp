// Comparison of storage objects: what counts as equal elements, identity of
// representation, and equivalence across element types, orderings and
// storage kinds, including the ways a comparison gives up.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "LumCore/Complex.hpp"
#include "LumCore/Duration.hpp"
#include "LumCore/TimePoint.hpp"
#include "LumCore/ZString.hpp"
#include "LumCore/IVariantDataRefCounted.hpp"
#include "LumCore/ScalarVariantData.hpp"
#include "variant/VariantComparison.hpp"
#include "LumCore/VectorVariantData.hpp"

namespace {

using namespace Marlowen::Lum;
using namespace Marlowen::Lum::Internal;

using Extents = std::vector<std::size_t>;
constexpr auto kRow = DataOrdering::RowMajor;
constexpr auto kColumn = DataOrdering::ColumnMajor;
constexpr auto kLossless = ConversionMode::Lossless;
const double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Release {
    void operator()(IVariantData* data) const noexcept { data->destruct(); }
};
using Owned = std::unique_ptr<IVariantData, Release>;

// An array of `values` in the given shape; an empty shape stands for [n].
template <class T>
Owned array(std::initializer_list<T> values, Extents extents = {}, DataOrdering ordering = kRow)
{
    if (extents.empty() && values.size() != 0) {
        extents = {values.size()};
    }
    return Owned(
        VectorVariantData<T>::createWithData(values.begin(), values.size(), ArrayDimensionsView(extents), ordering));
}

template <class T>
Owned scalar(T value)
{
    return Owned(new ScalarVariantDataRefCounted<T>(std::move(value)));
}

std::uint32_t refCount(const Owned& data)
{
    return dynamic_cast<const IVariantDataRefCounted&>(*data).referenceCount();
}

bool equivalent(const Owned& lhs, const Owned& rhs, ConversionMode mode = kLossless)
{
    return isEquivalentTo(*lhs, *rhs, mode);
}

bool identical(const Owned& lhs, const Owned& rhs)
{
    return isIdenticalTo(*lhs, *rhs);
}

template <class T>
bool equalElements(const std::vector<T>& lhs, const std::vector<T>& rhs)
{
    return elementsEqual(WellKnownTypeOf<T>::value, lhs.data(), rhs.data(), lhs.size());
}

// ---- elementsEqual -------------------------------------------------------------

TEST(ElementsEqual, FloatingPartsFollowIeeeEquality)
{
    EXPECT_FALSE(equalElements<double>({kNaN}, {kNaN}));
    EXPECT_FALSE(equalElements<float>({std::nanf("")}, {std::nanf("")}));
    EXPECT_TRUE(equalElements<double>({0.0, -0.0}, {-0.0, 0.0}));
    EXPECT_TRUE(equalElements<float>({-0.0f}, {0.0f}));
    EXPECT_FALSE(equalElements<double>({1.0}, {std::nextafter(1.0, 2.0)}));

    using CD = std::complex<double>;
    EXPECT_TRUE(equalElements<CD>({{0.0, -0.0}}, {{-0.0, 0.0}}));
    EXPECT_FALSE(equalElements<CD>({{1.0, kNaN}}, {{1.0, kNaN}}));
}

// Long arrays are compared in blocks and a tail: one difference or one NaN
// must show wherever it lies.
TEST(ElementsEqual, FindsOneDifferenceAnywhereInLongArrays)
{
    constexpr std::size_t kCount = 1000;
    std::vector<double> base(kCount);
    std::vector<std::complex<float>> complexBase(kCount);
    for (std::size_t i = 0; i < kCount; ++i) {
        base[i] = static_cast<double>(i) * 0.5;
        complexBase[i] = {static_cast<float>(i), -static_cast<float>(i)};
    }
    EXPECT_TRUE(equalElements(base, base));
    EXPECT_TRUE(equalElements(complexBase, complexBase));

    for (std::size_t at : {0, 127, 255, 256, 511, 767, 768, 999}) {
        std::vector<double> changed = base;
        changed[at] += 1.0;
        EXPECT_FALSE(equalElements(base, changed)) << "double at " << at;
        changed[at] = kNaN;
        EXPECT_FALSE(equalElements(changed, changed)) << "NaN at " << at;

        std::vector<std::complex<float>> complexChanged = complexBase;
        complexChanged[at].imag(complexChanged[at].imag() + 1.0f);
        EXPECT_FALSE(equalElements(complexBase, complexChanged)) << "complex<float> at " << at;
    }
}

TEST(ElementsEqual, OtherClassesCompareEveryFieldAndEveryByte)
{
    EXPECT_FALSE(equalElements<std::int32_t>({1, -2, 3}, {1, -2, 4}));
    EXPECT_FALSE(equalElements<Complex<std::int16_t>>({{3, 4}}, {{3, -4}}));
    EXPECT_FALSE(equalElements<Duration>({{5, 1}}, {{5, 2}}));
    EXPECT_TRUE(equalElements<TimePoint>({{5, 1}}, {{5, 1}}));

    // Same text in different records is equal; case and length count.
    EXPECT_TRUE(equalElements<ZString>({ZString("a text long enough for a record"), ZString()},
                                       {ZString(std::string("a text long enough for a record")), ZString("")}));
    EXPECT_FALSE(equalElements<ZString>({ZString("abc")}, {ZString("abC")}));
    EXPECT_FALSE(equalElements<ZString>({ZString("ab")}, {ZString("abc")}));
}

TEST(ElementsEqual, NothingIsEqualAndUnnamedClassesThrow)
{
    EXPECT_TRUE(elementsEqual(WellKnownTypeValue::double_, nullptr, nullptr, 0));
    EXPECT_TRUE(elementsEqual(WellKnownTypeValue::string, nullptr, nullptr, 0));

    const int anything = 0;
    EXPECT_THROW((void)elementsEqual(WellKnownTypeValue::customType, &anything, &anything, 1), std::runtime_error);
    EXPECT_THROW((void)elementsEqual(WellKnownTypeValue::unknown, &anything, &anything, 1), std::runtime_error);
}

TEST(OrderingMatters, OnlyWhenTwoDimensionsSpreadTheElements)
{
    const auto matters = [](Extents extents) { return orderingMatters(ArrayDimensionsView(extents)); };
    EXPECT_FALSE(matters({}));
    EXPECT_FALSE(matters({7}));
    EXPECT_FALSE(matters({1, 5, 1}));
    EXPECT_FALSE(matters({0, 3}));
    EXPECT_TRUE(matters({2, 2}));
    EXPECT_TRUE(matters({3, 1, 2}));
}

// ---- Identity and equivalence ------------------------------------------------

TEST(VariantComparison, SameNumbersInAnotherTypeOrStorageAreEquivalentNotIdentical)
{
    const Owned one = scalar(1.0);
    const Owned intOne = scalar<std::int32_t>(1);
    EXPECT_TRUE(equivalent(one, intOne));
    EXPECT_TRUE(equivalent(intOne, one));
    EXPECT_FALSE(identical(one, intOne));

    // bool with int8 is int8: the left side converts.
    EXPECT_TRUE(equivalent(scalar(true), scalar<std::int8_t>(1)));
    EXPECT_FALSE(identical(scalar(true), scalar<std::int8_t>(1)));
    EXPECT_FALSE(equivalent(scalar(true), scalar<std::int8_t>(2)));

    // int8 with uint8 is int16: both sides convert.
    EXPECT_TRUE(equivalent(array<std::int8_t>({1, 2, 3}), array<std::uint8_t>({1, 2, 3})));
    EXPECT_FALSE(equivalent(array<std::int8_t>({1, -2}), array<std::uint8_t>({1, 254}), ConversionMode::Cast));

    // A scalar and a one-element array share shape and data, not storage.
    const Owned five = scalar(5.0);
    const Owned fiveArray = array({5.0});
    EXPECT_TRUE(equivalent(five, fiveArray));
    EXPECT_TRUE(equivalent(fiveArray, five));
    EXPECT_FALSE(identical(five, fiveArray));
    ScalarVariantDataNonCounted<double> inBuffer(5.0);
    EXPECT_TRUE(isIdenticalTo(inBuffer, *five));

    // No shortcut for an object compared with itself.
    const Owned withNaN = array({1.0, kNaN});
    EXPECT_FALSE(equivalent(withNaN, withNaN));
    EXPECT_FALSE(identical(withNaN, withNaN));
}

TEST(VariantComparison, OrderingCountsForIdentityAndOnlyWhereItMovesElements)
{
    // A vector lies alike in both orderings: no reorder, but not identical.
    const Owned rowVector = array({1.0, 2.0, 3.0}, {3}, kRow);
    const Owned columnVector = array({1.0, 2.0, 3.0}, {3}, kColumn);
    EXPECT_TRUE(equivalent(rowVector, columnVector));
    EXPECT_FALSE(identical(rowVector, columnVector));
    EXPECT_TRUE(equivalent(array({1.0, 2.0}, {1, 2, 1}, kRow), array({1.0, 2.0}, {1, 2, 1}, kColumn)));

    // The matrix [[1, 2], [3, 4]] in both orderings.
    const Owned rowMatrix = array({1.0, 2.0, 3.0, 4.0}, {2, 2}, kRow);
    const Owned columnMatrix = array({1.0, 3.0, 2.0, 4.0}, {2, 2}, kColumn);
    EXPECT_TRUE(equivalent(rowMatrix, columnMatrix));
    EXPECT_FALSE(identical(rowMatrix, columnMatrix));
    EXPECT_FALSE(equivalent(rowMatrix, array({1.0, 2.0, 3.0, 4.0}, {2, 2}, kColumn)));

    // Across types the converted side follows the kept side's ordering:
    // int32 with double keeps either side, int8 with uint8 converts both.
    const Owned intRow = array<std::int32_t>({1, 2, 3, 4}, {2, 2}, kRow);
    EXPECT_TRUE(equivalent(intRow, columnMatrix));
    EXPECT_TRUE(equivalent(columnMatrix, intRow));
    EXPECT_TRUE(equivalent(array<std::int8_t>({1, 2, 3, 4, 5, 6}, {2, 3}, kRow),
                           array<std::uint8_t>({1, 4, 2, 5, 3, 6}, {2, 3}, kColumn)));
    EXPECT_FALSE(equivalent(array<std::int8_t>({1, 2, 3, 4, 5, 6}, {2, 3}, kRow),
                            array<std::uint8_t>({1, 2, 3, 4, 5, 6}, {2, 3}, kColumn)));

    // Every object made on the way was given up again.
    EXPECT_EQ(refCount(rowMatrix), 1u);
    EXPECT_EQ(refCount(columnMatrix), 1u);
    EXPECT_EQ(refCount(intRow), 1u);
}

TEST(VariantComparison, ShapesMustAgreeUnlessBothAreEmpty)
{
    const Owned twoByThree = array({1.0, 2.0, 3.0, 4.0, 5.0, 6.0}, {2, 3});
    const Owned threeByTwo = array({1.0, 2.0, 3.0, 4.0, 5.0, 6.0}, {3, 2});
    EXPECT_FALSE(equivalent(twoByThree, threeByTwo));
    EXPECT_FALSE(identical(twoByThree, threeByTwo));
    EXPECT_FALSE(equivalent(array({1.0, 2.0}, {2}), array({1.0, 2.0}, {2, 1})));

    // Nothing equals nothing, whatever the classes and shapes.
    const Owned noStrings = array<ZString>({}, {0, 3});
    const Owned noDoubles = array<double>({}, {});
    EXPECT_TRUE(equivalent(noStrings, noDoubles));
    EXPECT_FALSE(identical(noStrings, noDoubles));
    EXPECT_TRUE(identical(noDoubles, array<double>({}, {})));

    const Owned someDoubles = array({1.0});
    EXPECT_FALSE(equivalent(noDoubles, someDoubles));
    EXPECT_FALSE(identical(noDoubles, someDoubles));
}

// Widening to the common type is never checked, so a value that rounds on
// the way still compares; without a common type, or with a conversion that
// the mode refuses, there is nothing to compare.
TEST(VariantComparison, NoCommonTypeOrRefusedConversionMeansNotEquivalent)
{
    EXPECT_FALSE(equivalent(array({ZString("1")}), array({1.0}), ConversionMode::CastOrParse));
    EXPECT_FALSE(equivalent(scalar(Duration{1, 0}), scalar(TimePoint{1, 0})));
    EXPECT_TRUE(equivalent(scalar<std::int64_t>(16777217), scalar(16777216.0f)));

    const auto unlisted = static_cast<ConversionMode>(7);
    const Owned ints = array<std::int32_t>({1, 2, 3, 4}, {2, 2}, kRow);
    const Owned doubles = array({1.0, 3.0, 2.0, 4.0}, {2, 2}, kColumn);
    EXPECT_FALSE(equivalent(ints, doubles, unlisted));
    EXPECT_FALSE(equivalent(doubles, ints, unlisted));
    EXPECT_FALSE(equivalent(array<std::int8_t>({1, 2}), array<std::uint8_t>({1, 2}), unlisted));
    // Equal types need no conversion, so the mode is never read.
    EXPECT_TRUE(equivalent(doubles, array({1.0, 2.0, 3.0, 4.0}, {2, 2}, kRow), unlisted));
}

// ---- Custom element classes and failing conversions ----------------------------

TEST(VariantComparison, CustomArraysStandOrFallByTheirComparator)
{
    const Owned words = array<std::string>({"a", "b", "c", "d"}, {2, 2}, kRow);
    EXPECT_TRUE(equivalent(words, array<std::string>({"a", "b", "c", "d"}, {2, 2}, kRow)));
    EXPECT_TRUE(identical(words, array<std::string>({"a", "b", "c", "d"}, {2, 2}, kRow)));
    EXPECT_FALSE(equivalent(words, array<std::string>({"a", "b", "c", "D"}, {2, 2}, kRow)));

    const Owned wordsByColumn = array<std::string>({"a", "c", "b", "d"}, {2, 2}, kColumn);
    EXPECT_TRUE(equivalent(words, wordsByColumn));
    EXPECT_FALSE(identical(words, wordsByColumn));
    EXPECT_EQ(refCount(wordsByColumn), 1u);
    EXPECT_FALSE(equivalent(words, array({1.0, 2.0, 3.0, 4.0}, {2, 2})));

    // Two custom scalars: identity decides.
    ScalarVariantDataNonCounted<std::string> left(std::string("x"));
    ScalarVariantDataNonCounted<std::string> right(std::string("x"));
    ScalarVariantDataNonCounted<std::string> other(std::string("y"));
    EXPECT_TRUE(isEquivalentTo(left, right, kLossless));
    EXPECT_FALSE(isEquivalentTo(left, other, kLossless));
}

// A storage object under the test's control: it reports the type it is
// given, lends elements from elsewhere, and converts as the test says.
class FakeStorage final : public IVariantDataNonRefCounted {
public:
    FakeStorage(WellKnownType type, const void* elements, Extents extents)
        : m_type(type), m_elements(elements), m_extents(std::move(extents))
    {
    }

    const CustomTypeOperations* operations = nullptr;
    std::function<IVariantData*()> conversion;

    std::size_t numberAllocatedElements() const override { return elementCount(dimensions()); }
    ArrayDimensionsView dimensions() const override { return ArrayDimensionsView(m_extents); }
    bool isScalarStorage() const override { return false; }
    DataOrdering dataOrdering() const override { return kRow; }
    WellKnownType wellKnownDataType() const override { return m_type; }
    const std::type_info* typeInfo() const override { return &typeid(FakeStorage); }
    const CustomTypeOperations* customTypeOperations() const override { return operations; }
    IVariantData* reorderData(DataOrdering) const override { return const_cast<FakeStorage*>(this); }
    void reshapeNoRealloc(ArrayDimensionsView) override {}
    IVariantData* reshapeToZVariant(const IVariantData*, ArrayDimensionsView, DataOrdering) const override
    {
        return nullptr;
    }
    const void* constStoredData() const override { return m_elements; }
    void* mutableStoredData() override { return nullptr; }
    IVariantData* convertDataTo(WellKnownType, ConversionMode) const override { return conversion(); }

private:
    WellKnownType m_type;
    const void* m_elements;
    Extents m_extents;
};

// Finds every pair equal, and records the truth value of each call.
std::vector<bool> g_comparatorCalls;
const CustomTypeOperations kAlwaysEqual{[](const void*, const void*, std::size_t, bool identical) {
    g_comparatorCalls.push_back(identical);
    return true;
}};

TEST(VariantComparison, OnlyTheLeftComparatorIsAsked)
{
    const std::vector<std::string> elements{"p", "q"};
    FakeStorage lenient(WellKnownTypeValue::customType, elements.data(), {2});
    lenient.operations = &kAlwaysEqual;
    const Owned strict = array<std::string>({"x", "y"});

    g_comparatorCalls.clear();
    EXPECT_TRUE(isEquivalentTo(lenient, *strict, kLossless));
    EXPECT_TRUE(isIdenticalTo(lenient, *strict));
    EXPECT_EQ(g_comparatorCalls, (std::vector<bool>{false, true}));

    EXPECT_FALSE(isEquivalentTo(*strict, lenient, kLossless));
    EXPECT_FALSE(isIdenticalTo(*strict, lenient));
    EXPECT_EQ(g_comparatorCalls.size(), 2u);
}

TEST(VariantComparison, FailingConversionIsNotEquivalentButForeignExceptionsPass)
{
    const std::vector<std::int32_t> elements{1, 2};
    FakeStorage ints(WellKnownTypeValue::int32, elements.data(), {2});
    const Owned doubles = array({1.0, 2.0});

    ints.conversion = []() -> IVariantData* { throw std::runtime_error("refused"); };
    EXPECT_FALSE(isEquivalentTo(ints, *doubles, kLossless));
    EXPECT_FALSE(isEquivalentTo(*doubles, ints, kLossless));
    ints.conversion = []() -> IVariantData* { return nullptr; };
    EXPECT_FALSE(isEquivalentTo(ints, *doubles, kLossless));
    ints.conversion = []() -> IVariantData* { throw 42; };
    EXPECT_THROW((void)isEquivalentTo(ints, *doubles, kLossless), int);

    // int8 with uint8 converts the left side first, which must be given up
    // when the right side fails (the leak check sees it).
    const std::vector<std::uint8_t> bytes{1, 2};
    FakeStorage unsignedBytes(WellKnownTypeValue::unsignedInt8, bytes.data(), {2});
    unsignedBytes.conversion = []() -> IVariantData* { return nullptr; };
    EXPECT_FALSE(isEquivalentTo(*array<std::int8_t>({1, 2}), unsignedBytes, kLossless));
    unsignedBytes.conversion = []() -> IVariantData* { throw std::bad_alloc(); };
    EXPECT_FALSE(isEquivalentTo(*array<std::int8_t>({1, 2}), unsignedBytes, kLossless));

    // A type with no element class: not equivalent, while identity lets the
    // dispatch's exception out.
    FakeStorage nameless(WellKnownType::fromBits(0x0050), elements.data(), {2});
    EXPECT_FALSE(isEquivalentTo(nameless, nameless, kLossless));
    EXPECT_THROW((void)isIdenticalTo(nameless, nameless), std::runtime_error);
}

}  // namespace
