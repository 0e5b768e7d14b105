// Comparison of storage objects: what counts as equal elements, identity of
// representation, and equivalence across element types, orderings and
// storage kinds, including the ways a comparison gives up.
#include <cmath>
#include <functional>
#include <initializer_list>
#include <limits>
#include <new>

#include "StorageTestSupport.hpp"
#include "variant/VariantComparison.hpp"

namespace {

using namespace StorageTest;

constexpr auto kLossless = ConversionMode::Lossless;
const double kNaN = std::numeric_limits<double>::quiet_NaN();

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

template <class T>
bool equalElements(const std::vector<T>& lhs, const std::vector<T>& rhs)
{
    return elementsEqual(WellKnownTypeOf<T>::value, lhs.data(), rhs.data(), lhs.size());
}

// Floating parts follow IEEE equality; other classes compare every field and
// every byte; zero elements are equal even where no class is named.
TEST(ElementsEqual, IeeeForFloatingPartsAndEveryFieldForTheRest)
{
    using CD = std::complex<double>;
    EXPECT_FALSE(equalElements<double>({kNaN}, {kNaN}));
    EXPECT_FALSE(equalElements<float>({std::nanf("")}, {std::nanf("")}));
    EXPECT_TRUE(equalElements<double>({0.0, -0.0}, {-0.0, 0.0}));
    EXPECT_FALSE(equalElements<double>({1.0}, {std::nextafter(1.0, 2.0)}));
    EXPECT_TRUE(equalElements<CD>({{0.0, -0.0}}, {{-0.0, 0.0}}));
    EXPECT_FALSE(equalElements<CD>({{1.0, kNaN}}, {{1.0, kNaN}}));

    EXPECT_FALSE(equalElements<Complex<std::int16_t>>({{3, 4}}, {{3, -4}}));
    EXPECT_FALSE(equalElements<Duration>({{5, 1}}, {{5, 2}}));
    // Same text in different records is equal; case and length count.
    EXPECT_TRUE(equalElements<ZString>({ZString("a text long enough for a record"), ZString()},
                                       {ZString(std::string("a text long enough for a record")), ZString("")}));
    EXPECT_FALSE(equalElements<ZString>({ZString("abc")}, {ZString("abC")}));
    EXPECT_FALSE(equalElements<ZString>({ZString("ab")}, {ZString("abc")}));

    EXPECT_TRUE(elementsEqual(WellKnownTypeValue::string, nullptr, nullptr, 0));
    const int anything = 0;
    EXPECT_THROW((void)elementsEqual(WellKnownTypeValue::customType, &anything, &anything, 1), std::runtime_error);
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

TEST(OrderingMatters, OnlyWhenTwoDimensionsSpreadTheElements)
{
    for (const auto& [extents, matters] : std::vector<std::pair<Extents, bool>>{
             {{}, false}, {{7}, false}, {{1, 5, 1}, false}, {{0, 3}, false}, {{2, 2}, true}, {{3, 1, 2}, true}}) {
        EXPECT_EQ(orderingMatters(ArrayDimensionsView(extents)), matters) << ::testing::PrintToString(extents);
    }
}

// Each pair is compared both ways; no rhs means the lhs with itself, for
// which there is no shortcut. Every object made on the way is given up again.
struct Pair {
    const char* name;
    Owned lhs, rhs;
    bool equivalent, identical;
    ConversionMode mode = kLossless;
};

void expectPairs(Pair* pairs, std::size_t count)
{
    for (Pair* pair = pairs; pair != pairs + count; ++pair) {
        const IVariantData& lhs = *pair->lhs;
        const IVariantData& rhs = pair->rhs ? *pair->rhs : lhs;
        for (const auto& [a, b] : {std::pair{&lhs, &rhs}, std::pair{&rhs, &lhs}}) {
            EXPECT_EQ(isEquivalentTo(*a, *b, pair->mode), pair->equivalent) << pair->name;
            EXPECT_EQ(isIdenticalTo(*a, *b), pair->identical) << pair->name;
        }
        EXPECT_EQ(refCount(&lhs), 1u) << pair->name;
        EXPECT_EQ(refCount(&rhs), 1u) << pair->name;
    }
}

TEST(VariantComparison, EquivalenceAcrossTypesStorageOrderingsAndShapes)
{
    const auto unlisted = static_cast<ConversionMode>(7);
    using i8 = std::int8_t;
    using u8 = std::uint8_t;
    Pair pairs[] = {
        {"int32 and double", scalar(1.0), scalar<std::int32_t>(1), true, false},
        // bool with int8 is int8: the left side converts.
        {"bool and int8", scalar(true), scalar<i8>(1), true, false},
        {"bool and int8 2", scalar(true), scalar<i8>(2), false, false},
        // int8 with uint8 is int16: both sides convert.
        {"int8 and uint8", array<i8>({1, 2, 3}), array<u8>({1, 2, 3}), true, false},
        {"int8 and uint8 apart", array<i8>({1, -2}), array<u8>({1, 254}), false, false, ConversionMode::Cast},
        // A scalar and a one-element array share shape and data, not storage.
        {"scalar and array", scalar(5.0), array({5.0}), true, false},
        {"NaN with itself", array({1.0, kNaN}), nullptr, false, false},
        // A vector lies alike in both orderings: no reorder, but not identical.
        {"vector orderings", array({1.0, 2.0}, {1, 2, 1}, kRow), array({1.0, 2.0}, {1, 2, 1}, kColumn), true, false},
        // The matrix [[1, 2], [3, 4]] in both orderings, and the converted
        // side following the kept side's ordering: int32 with double keeps
        // either side, int8 with uint8 converts both.
        {"matrix orderings", array({1.0, 2.0, 3.0, 4.0}, {2, 2}, kRow), array({1.0, 3.0, 2.0, 4.0}, {2, 2}, kColumn),
         true, false},
        {"matrix not transposed", array({1.0, 2.0, 3.0, 4.0}, {2, 2}, kRow),
         array({1.0, 2.0, 3.0, 4.0}, {2, 2}, kColumn), false, false},
        {"int32 rows and double columns", array<std::int32_t>({1, 2, 3, 4}, {2, 2}, kRow),
         array({1.0, 3.0, 2.0, 4.0}, {2, 2}, kColumn), true, false},
        {"int8 rows and uint8 columns", array<i8>({1, 2, 3, 4, 5, 6}, {2, 3}, kRow),
         array<u8>({1, 4, 2, 5, 3, 6}, {2, 3}, kColumn), true, false},
        // Shapes must agree unless both are empty: nothing equals nothing.
        {"[2] and [2, 1]", array({1.0, 2.0}, {2}), array({1.0, 2.0}, {2, 1}), false, false},
        {"empty strings and doubles", array<ZString>({}, {0, 3}), array<double>({}, {}), true, false},
        {"empty doubles", array<double>({}, {}), array<double>({}, {}), true, true},
        {"empty and one", array<double>({}, {}), array({1.0}), false, false},
        // Without a common type, or with a conversion that the mode refuses,
        // there is nothing to compare; widening to the common type is never
        // checked, so a value that rounds on the way still compares.
        {"string and double", array({ZString("1")}), array({1.0}), false, false, ConversionMode::CastOrParse},
        {"duration and time", scalar(Duration{1, 0}), scalar(TimePoint{1, 0}), false, false},
        {"rounding int64 and float", scalar<std::int64_t>(16777217), scalar(16777216.0f), true, false},
        {"unlisted mode", array<i8>({1, 2}), array<u8>({1, 2}), false, false, unlisted},
        // Equal types need no conversion, so the mode is never read.
        {"unlisted mode same type", array({1.0, 3.0, 2.0, 4.0}, {2, 2}, kColumn),
         array({1.0, 2.0, 3.0, 4.0}, {2, 2}, kRow), true, false, unlisted},
        // Custom arrays stand or fall by their comparator (the value tests
        // compare custom scalars and arrays), here after a reorder.
        {"custom", array<std::string>({"a", "b"}), array<std::string>({"a", "b"}), true, true},
        {"custom orderings", array<std::string>({"a", "b", "c", "d"}, {2, 2}),
         array<std::string>({"a", "c", "b", "d"}, {2, 2}, kColumn), true, false},
    };
    expectPairs(pairs, std::size(pairs));

    // The storage class of a scalar is no part of its identity.
    ScalarVariantDataNonCounted<double> inBuffer(5.0);
    EXPECT_TRUE(isIdenticalTo(inBuffer, *scalar(5.0)));
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
    unsignedBytes.conversion = []() -> IVariantData* { throw std::bad_alloc(); };
    EXPECT_FALSE(isEquivalentTo(*array<std::int8_t>({1, 2}), unsignedBytes, kLossless));

    // A type with no element class: not equivalent, while identity lets the
    // dispatch's exception out.
    FakeStorage nameless(WellKnownType::fromBits(0x0050), elements.data(), {2});
    EXPECT_FALSE(isEquivalentTo(nameless, nameless, kLossless));
    EXPECT_THROW((void)isIdenticalTo(nameless, nameless), std::runtime_error);
}

}  // namespace
