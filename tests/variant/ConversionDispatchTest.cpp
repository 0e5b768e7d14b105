// Conversion of storage objects: the result's kind and shape, refusals, the
// words for targets that name no class, and scalars against one-element
// arrays over the whole matrix.
#include <cstring>
#include <limits>
#include <type_traits>

#include "LumCore/internal/ElementTypeDispatch.hpp"
#include "StorageTestSupport.hpp"

namespace {

using namespace StorageTest;
using V = WellKnownTypeValue;

constexpr auto kLossless = ConversionMode::Lossless;
constexpr auto kCast = ConversionMode::Cast;
constexpr auto kBadMode = static_cast<ConversionMode>(7);

TEST(ConversionDispatch, ArrayKeepsShapeOrderingAndStorageOrder)
{
    const std::vector<std::int32_t> values{1, 2, 3, 4, 5, 6};
    Owned source = makeArray(values, {2, 3}, kColumn);
    Owned converted(source->convertDataTo(V::double_, kLossless));
    ASSERT_NE(converted.get(), nullptr);
    EXPECT_EQ(typeid(*converted), typeid(VectorVariantData<double>));
    EXPECT_EQ(refCount(converted.get()), 1u);
    EXPECT_EQ(refCount(source.get()), 1u);
    EXPECT_EQ(extentsOf(*converted), (Extents{2, 3}));
    EXPECT_EQ(converted->dataOrdering(), kColumn);
    EXPECT_EQ(valuesOf<double>(*converted), (std::vector<double>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(valuesOf<std::int32_t>(*source), values);

    // An adopted vector gives a block array too, and a 3-D shape stays.
    Owned adopted = adopt<std::int16_t>({1, -2, 3, -4, 5, -6, 7, -8, 9, -10, 11, -12}, {2, 2, 3});
    Owned complexes(adopted->convertDataTo(V::complexFloat, kLossless));
    ASSERT_NE(complexes.get(), nullptr);
    EXPECT_EQ(typeid(*complexes), typeid(VectorVariantData<std::complex<float>>));
    EXPECT_EQ(extentsOf(*complexes), (Extents{2, 2, 3}));
    EXPECT_EQ(elementsOf<std::complex<float>>(*complexes)[11], std::complex<float>(-12.0f, 0.0f));

    // A shrunk array converts its shape only.
    source = makeArray(iota(6), {2, 3});
    source->reshapeNoRealloc(ArrayDimensionsView{2, 2});
    converted.reset(source->convertDataTo(V::int64, kLossless));
    ASSERT_NE(converted.get(), nullptr);
    EXPECT_EQ(extentsOf(*converted), (Extents{2, 2}));
    EXPECT_EQ(converted->numberAllocatedElements(), 4u);
    EXPECT_EQ(valuesOf<std::int64_t>(*converted), (std::vector<std::int64_t>{0, 1, 2, 3}));
}

TEST(ConversionDispatch, RefusalGivesNullAndLeavesTheSource)
{
    std::vector<double> values = iota(5000);
    values[700] = 1.5;
    Owned source = makeArray(values, {50, 100});
    EXPECT_EQ(source->convertDataTo(V::int32, kLossless), nullptr);
    EXPECT_EQ(valuesOf<double>(*source), values);
    EXPECT_EQ(refCount(source.get()), 1u);
    Owned cast(source->convertDataTo(V::int32, kCast));
    ASSERT_NE(cast.get(), nullptr);
    EXPECT_EQ(elementsOf<std::int32_t>(*cast)[700], 1);

    // NaN is no value that Lossless lets through, even to the same class.
    Owned withNaN = makeArray(std::vector<double>{1.0, std::numeric_limits<double>::quiet_NaN()}, {2});
    EXPECT_EQ(withNaN->convertDataTo(V::float_, kLossless), nullptr);
    EXPECT_NE(Owned(withNaN->convertDataTo(V::float_, kCast)).get(), nullptr);
    EXPECT_EQ(withNaN->convertDataTo(V::float_, kBadMode), nullptr);

    ScalarVariantDataRefCounted<double> scalar(2.5);
    EXPECT_EQ(scalar.convertDataTo(V::int8, kLossless), nullptr);
    EXPECT_EQ(scalar.convertDataTo(V::double_, kBadMode), nullptr);
    EXPECT_EQ(refCount(&scalar), 1u);
}

TEST(ConversionDispatch, TargetsThatNameNoClassThrowTheirWords)
{
    alignas(void*) unsigned char buffer[32];
    IVariantData* inPlace = constructVariantScalar<float>(buffer, sizeof buffer, 1.0f);
    Owned counted(new ScalarVariantDataRefCounted<float>(1.0f));
    Owned array = makeArray(std::vector<float>{1.0f, 2.0f}, {2});
    Owned empty = makeArray(std::vector<float>{}, {});
    Owned strings = makeArray(std::vector<ZString>{ZString("1")}, {1});
    for (const IVariantData* source : {inPlace, counted.get(), array.get(), empty.get(), strings.get()}) {
        SCOPED_TRACE(typeid(*source).name());
        const auto failure = [&](std::uint16_t target) {
            return thrownText<std::runtime_error>(
                [&] { Owned(source->convertDataTo(WellKnownType::fromBits(target), kCast)); });
        };
        // Numeric bits that are no class of the list, and no numeric bits;
        // the element type name tests go through more codes of each.
        EXPECT_EQ(failure(0x4001), "not a numeric type");
        EXPECT_EQ(failure(0x8003), "not a numeric type");
        EXPECT_EQ(failure(0x0020), "unknown type");
        EXPECT_EQ(failure(0x0050), "unknown type");
    }
    inPlace->~IVariantData();
}

TEST(ConversionDispatch, EmptyArrays)
{
    Owned integers = makeArray(std::vector<std::int32_t>{}, {0, 4}, kColumn);
    for (V target : {V::double_, V::bool_, V::complexBool, V::complexInt8, V::int32}) {
        for (ConversionMode mode : {kLossless, kCast, kBadMode}) {
            Owned converted(integers->convertDataTo(target, mode));
            ASSERT_NE(converted.get(), nullptr) << std::hex << static_cast<int>(target);
            EXPECT_EQ(converted->wellKnownDataType(), WellKnownType(target));
            EXPECT_EQ(extentsOf(*converted), (Extents{0, 4}));
            EXPECT_EQ(converted->dataOrdering(), kColumn);
            EXPECT_EQ(converted->numberAllocatedElements(), 0u);
        }
    }
    // Default-only pairs refuse even when there is nothing to convert.
    for (V target : {V::string, V::duration, V::timePoint}) {
        EXPECT_EQ(integers->convertDataTo(target, kCast), nullptr);
    }
    Owned converted(makeArray(std::vector<double>{}, {})->convertDataTo(V::unsignedInt16, kLossless));
    ASSERT_NE(converted.get(), nullptr);
    EXPECT_TRUE(extentsOf(*converted).empty());

    // The copying pairs succeed.
    Owned texts = makeArray(std::vector<ZString>{}, {0});
    EXPECT_NE(Owned(texts->convertDataTo(V::string, kLossless)).get(), nullptr);
    EXPECT_EQ(texts->convertDataTo(V::double_, ConversionMode::CastOrParse), nullptr);
    EXPECT_NE(Owned(makeArray(std::vector<Duration>{}, {0})->convertDataTo(V::timePoint, kLossless)).get(), nullptr);
    EXPECT_EQ(makeArray(std::vector<TimePoint>{}, {0})->convertDataTo(V::duration, kCast), nullptr);
}

// ---- Scalar against one-element array, over every target and mode -----------

template <class T>
bool sameElement(const T& a, const T& b)
{
    if constexpr (std::is_trivially_copyable_v<T>) {
        return std::memcmp(&a, &b, sizeof(T)) == 0;
    } else {
        return a == b;
    }
}

// Conversion of a scalar, in place or counted, gives a counted scalar on the
// heap with the element the one-element array converts to, or is refused
// alike.
template <class From>
void expectScalarAgreesWithArray(const From& value, const Extents& extents = {1})
{
    // In the order the dispatch tries them.
    static const V kAllTargets[] = {
        V::bool_,
        V::complexBool,
        V::double_,
        V::float_,
        V::int32,
        V::int64,
        V::unsignedInt32,
        V::unsignedInt64,
        V::unsignedInt8,
        V::unsignedInt16,
        V::int8,
        V::int16,
        V::complexDouble,
        V::complexFloat,
        V::complexInt32,
        V::complexInt64,
        V::complexUnsignedInt32,
        V::complexUnsignedInt64,
        V::complexInt8,
        V::complexInt16,
        V::complexUnsignedInt8,
        V::complexUnsignedInt16,
        V::string,
        V::duration,
        V::timePoint,
    };
    alignas(void*) unsigned char buffer[64];
    // ZString has no moved form among the factories, std::string no copied one.
    IVariantData* inPlace = nullptr;
    if constexpr (std::is_same_v<From, ZString>) {
        inPlace = constructVariantScalar<From>(buffer, sizeof buffer, value);
    } else {
        inPlace = moveVariantScalar<From>(buffer, sizeof buffer, From(value));
    }
    ASSERT_EQ(static_cast<void*>(inPlace), static_cast<void*>(buffer));
    Owned counted(new ScalarVariantDataRefCounted<From>(value));
    Owned array(VectorVariantData<From>::createWithData(&value, 1, ArrayDimensionsView(extents), kRow));

    for (V target : kAllTargets) {
        for (auto mode : {kLossless, kCast, ConversionMode::CastOrParse, kBadMode}) {
            SCOPED_TRACE(::testing::Message() << typeid(From).name() << " to 0x" << std::hex << static_cast<int>(target)
                                              << " in mode " << static_cast<int>(mode));
            Owned fromArray(array->convertDataTo(target, mode));
            Owned fromScalar(counted->convertDataTo(target, mode));
            Owned fromInPlace(inPlace->convertDataTo(target, mode));
            ASSERT_EQ(fromScalar == nullptr, fromArray == nullptr);
            ASSERT_EQ(fromInPlace == nullptr, fromArray == nullptr);
            if (fromArray == nullptr) {
                continue;
            }
            EXPECT_EQ(extentsOf(*fromArray), extents);
            dispatchElementType(target, [&](auto tag) {
                using To = typename decltype(tag)::type;
                for (const Owned* scalar : {&fromScalar, &fromInPlace}) {
                    EXPECT_EQ(typeid(**scalar), typeid(ScalarVariantDataRefCounted<To>));
                    EXPECT_EQ(refCount(scalar->get()), 1u);
                    EXPECT_TRUE(sameElement(*elementsOf<To>(**scalar), *elementsOf<To>(*fromArray)));
                }
            });
        }
    }
    inPlace->~IVariantData();
}

TEST(ConversionDispatch, ScalarAndOneElementArrayAgreeOverTheMatrix)
{
    // Each kind of source once, with the values where the rules part: the
    // default, a fraction, a value out of range, NaN, -0.0, text with and
    // without a number.
    for (double x : {0.0, -0.0, 1.5, 1e300, std::numeric_limits<double>::quiet_NaN()}) {
        expectScalarAgreesWithArray(x);
    }
    expectScalarAgreesWithArray(std::int32_t{70000}, {1, 1});
    for (const char* text : {"", "12", "abc", "true"}) {
        expectScalarAgreesWithArray(ZString(text));
    }
    expectScalarAgreesWithArray(true);
    expectScalarAgreesWithArray(std::uint64_t{1} << 63);
    expectScalarAgreesWithArray(Complex<std::int16_t>(1, 2));
    expectScalarAgreesWithArray(std::complex<double>(2.0, 0.0));
    expectScalarAgreesWithArray(Duration{3, 9});
    expectScalarAgreesWithArray(TimePoint{0, 0});
    expectScalarAgreesWithArray(std::string("text\0with a NUL", 15));
}

}  // namespace
