#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <tuple>

#include "LumCore/WellKnownType.hpp"
#include "types/conversion/ConvertElements.hpp"
#include "types/conversion/ElementCast.hpp"

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using Marlowen::Lum::Complex;
using Marlowen::Lum::ConversionMode;
using Marlowen::Lum::Duration;
using Marlowen::Lum::TimePoint;
using Marlowen::Lum::ZString;
using Marlowen::Lum::Internal::cast;
using Marlowen::Lum::Internal::convertElements;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr auto kLossless = ConversionMode::Lossless;
constexpr auto kCast = ConversionMode::Cast;
constexpr auto kCastOrParse = ConversionMode::CastOrParse;

// A kernel's result and its destination, default-valued as a caller provides it.
template <class T>
struct Converted {
    bool ok;
    std::unique_ptr<T[]> out;
};

template <class To, class From>
Converted<To> convert(const From* source, std::size_t count, ConversionMode mode)
{
    Converted<To> result{false, std::make_unique<To[]>(count)};
    result.ok = convertElements<From, To>(source, result.out.get(), count, mode);
    return result;
}

template <class To, class From>
Converted<To> convert(std::initializer_list<From> source, ConversionMode mode)
{
    return convert<To>(source.begin(), source.size(), mode);
}

// Lossless of one value: whether it passes and, if so, what it becomes.
template <class To, class From>
void expectLossless(From x, bool passes, To expected = To())
{
    SCOPED_TRACE(::testing::Message() << typeid(From).name() << " -> " << typeid(To).name());
    const Converted<To> result = convert<To>({x}, kLossless);
    EXPECT_EQ(result.ok, passes);
    EXPECT_TRUE(!passes || result.out[0] == expected);
}

TEST(ConversionLossless, ValuesMustComeBackUnlessTheRangeAlwaysHoldsThem)
{
    // Integers round-trip their bits, not their sign.
    expectLossless<std::uint16_t>(std::int8_t{-1}, true, std::uint16_t{65535});
    expectLossless<std::uint8_t>(std::int16_t{-1}, false);
    expectLossless<std::int8_t>(std::int16_t{-128}, true, std::int8_t{-128});
    expectLossless<std::int8_t>(std::int16_t{-129}, false);
    // Never checked: integers to floating classes, even when they round.
    expectLossless<double>(std::int64_t{9007199254740993}, true, 9007199254740992.0);
    // Floating to integer must be integral and in range.
    expectLossless<std::int32_t>(-0.0, true, 0);
    expectLossless<std::int32_t>(-2147483648.0, true, std::numeric_limits<std::int32_t>::min());
    expectLossless<std::int32_t>(2147483648.0, false);
    expectLossless<std::uint64_t>(18446744073709549568.0, true, 18446744073709549568ull);
    expectLossless<std::uint64_t>(18446744073709551616.0, false);
    for (const double special : {kNaN, kInf, -kInf}) {
        expectLossless<std::int64_t>(special, false);
        expectLossless<float>(special, special == special, static_cast<float>(special));
    }
    expectLossless<float>(0.1, false);
    EXPECT_TRUE(std::isnan(convert<double>({std::numeric_limits<float>::quiet_NaN()}, kLossless).out[0]));
    // Bool takes 0 and 1 only.
    expectLossless<bool>(std::int8_t{2}, false);
    expectLossless<bool>(kNaN, false);
    // Complex: each part, and a zero imaginary part for real targets.
    expectLossless<double>(std::complex<double>(1.5, 0.0), true, 1.5);
    expectLossless<double>(std::complex<double>(1.5, kNaN), false);
    expectLossless<double>(Complex<std::int8_t>(3, 1), false);
    expectLossless<Complex<std::int8_t>>(Complex<std::int32_t>(3, 300), false);
    expectLossless<Complex<bool>>(std::complex<double>(1.0, 0.5), false);
    expectLossless<bool>(Complex<bool>(true, true), false);
}

// The array kernels agree with the element cast on ordinary and special
// values, over a length that leaves a remainder after any vector width.
// Lossless then gets values that survive the round trip but for one in the
// middle of the first block of its checked loop: everything behind that one,
// in its block and the next, must stay default.
template <class From, class To>
void expectArrayMatchesElementCast(const double* values, std::size_t n)
{
    using Marlowen::Lum::Internal::roundTrips;
    SCOPED_TRACE(::testing::Message() << typeid(From).name() << " -> " << typeid(To).name());
    auto source = std::make_unique<From[]>(n);
    for (std::size_t i = 0; i < n; ++i) {
        source[i] = cast<From>(std::complex<double>(values[i], values[n - 1 - i]));
    }
    const auto matches = [](const To& a, const To& b) { return a == b || (a != a && b != b); };
    for (const ConversionMode mode : {kCast, kCastOrParse}) {
        const Converted<To> result = convert<To>(source.get(), n, mode);
        ASSERT_TRUE(result.ok);
        for (std::size_t i = 0; i < n; ++i) {
            ASSERT_TRUE(matches(result.out[i], cast<To>(source[i]))) << "at " << i;
        }
    }

    const auto firstBad = [&] {
        std::size_t i = 0;
        while (i < n && roundTrips(source[i], cast<To>(source[i]))) {
            ++i;
        }
        return i;
    };
    const std::size_t badIndex = firstBad();
    const From bad = badIndex < n ? source[badIndex] : From();
    for (int pass = 0; pass < 2; ++pass) {  // a value can round once more on its way back
        for (std::size_t i = 0; i < n; ++i) {
            source[i] = cast<From>(cast<To>(source[i]));
        }
    }
    if (badIndex < n) {
        source[n / 2] = bad;
    }
    const std::size_t expectedBad = Marlowen::Lum::Internal::losslessIsCast<From, To> ? n : firstBad();
    EXPECT_TRUE(expectedBad == n || expectedBad == n / 2) << expectedBad;
    const Converted<To> result = convert<To>(source.get(), n, kLossless);
    EXPECT_EQ(result.ok, expectedBad == n);
    for (std::size_t i = 0; i < n; ++i) {
        ASSERT_TRUE(matches(result.out[i], i <= expectedBad ? cast<To>(source[i]) : To())) << "Lossless at " << i;
    }
}

TEST(ConversionCast, ArraysMatchTheElementCastIncludingSpecialValues)
{
    constexpr std::size_t n = 1037;
    auto values = std::make_unique<double[]>(n);
    std::mt19937_64 random(7);
    const double specials[] = {
        kNaN, kInf, -kInf, 3e9, -3e9, -0.0, 2147483648.0, 9223372036854775808.0, 18446744073709551616.0, 255.5, -1.0};
    for (std::size_t i = 0; i < n; ++i) {
        const double scale = std::ldexp(1.0, static_cast<int>(random() % 70));
        values[i] = i % 7 == 0 ? specials[(i / 7) % std::size(specials)]
                               : (static_cast<double>(random() % 2001) - 1000.0) / 1000.0 * scale;
    }
    // The vector loops to int32, and the plain loop over each class of source.
    expectArrayMatchesElementCast<double, std::int32_t>(values.get(), n);
    expectArrayMatchesElementCast<float, std::int32_t>(values.get(), n);
    expectArrayMatchesElementCast<double, std::uint64_t>(values.get(), n);
    expectArrayMatchesElementCast<double, bool>(values.get(), n);
    expectArrayMatchesElementCast<std::int64_t, std::int8_t>(values.get(), n);
    expectArrayMatchesElementCast<std::uint64_t, double>(values.get(), n);
    expectArrayMatchesElementCast<std::complex<double>, Complex<std::int16_t>>(values.get(), n);
}

// Zero elements and default values of every pair are swept below; here are
// the values that are not default, and the copies.
TEST(ConversionOutsideNumbers, DefaultOnlyPairsRefuseOtherValuesAndCopyingPairsCopy)
{
    EXPECT_TRUE((convert<ZString>({0.0, -0.0}, kLossless).ok));
    EXPECT_FALSE((convert<ZString>({0.0, kNaN}, kLossless).ok));
    EXPECT_FALSE((convert<ZString>({std::complex<float>(0.0f, 1.0f)}, kLossless).ok));
    EXPECT_FALSE((convert<std::int32_t>({ZString("0")}, kLossless).ok));
    EXPECT_FALSE((convert<Duration>({TimePoint{3, 4}}, kCast).ok));

    const ZString text("shared text");
    for (const ConversionMode mode : {kLossless, kCast, kCastOrParse}) {
        EXPECT_EQ((convert<ZString>({text}, mode).out[0].data()), text.data());  // shared, not copied
        EXPECT_EQ((convert<Duration>({Duration{-5, 7}}, mode).out[0]), (Duration{-5, 7}));
        EXPECT_EQ((convert<TimePoint>({TimePoint{9, 1}}, mode).out[0]), (TimePoint{9, 1}));
    }
    EXPECT_EQ((convert<TimePoint>({Duration{0, 0}, Duration{-5, 7}}, kCast).out[1]), (TimePoint{-5, 7}));
    EXPECT_EQ((convert<ZString>({"a\0b"s}, kCastOrParse).out[0]), std::string_view("a\0b", 3));
    // Lossless lets these copies through only for default values.
    EXPECT_FALSE((convert<TimePoint>({Duration{0, 0}, Duration{0, 1}}, kLossless).ok));
    EXPECT_FALSE((convert<ZString>({""s, "a"s}, kLossless).ok));
}

// One pair run on a single default-valued element, or none. The runner is a
// template; the checks are not, which keeps this file quick to compile.
struct MatrixPair {
    std::uint16_t from;
    std::uint16_t to;
    bool fromStdString;
    bool (*run)(std::uint64_t count, std::uint32_t mode);
};

template <class From, class To>
bool runOnDefault(std::uint64_t count, std::uint32_t mode)
{
    const From source[1] = {};
    To destination[1] = {};
    return convertElements<From, To>(source, destination, count, static_cast<ConversionMode>(mode));
}

template <class T>
constexpr auto kBits = static_cast<std::uint16_t>(Marlowen::Lum::WellKnownTypeOf<T>::value);

using TargetClasses =
    std::tuple<bool, std::int8_t, std::int16_t, std::int32_t, std::int64_t, std::uint8_t, std::uint16_t, std::uint32_t,
               std::uint64_t, float, double, Complex<bool>, Complex<std::int8_t>, Complex<std::int16_t>,
               Complex<std::int32_t>, Complex<std::int64_t>, Complex<std::uint8_t>, Complex<std::uint16_t>,
               Complex<std::uint32_t>, Complex<std::uint64_t>, std::complex<float>, std::complex<double>, ZString,
               Duration, TimePoint>;

template <class From, class... To>
void addPairsFrom(std::vector<MatrixPair>& pairs, std::tuple<To...>*)
{
    (pairs.push_back({kBits<From>, kBits<To>, std::is_same_v<From, std::string>, &runOnDefault<From, To>}), ...);
}

template <class... From>
std::vector<MatrixPair> allPairs(std::tuple<From...>*)
{
    std::vector<MatrixPair> pairs;
    (addPairsFrom<From>(pairs, static_cast<TargetClasses*>(nullptr)), ...);
    addPairsFrom<std::string>(pairs, static_cast<TargetClasses*>(nullptr));
    return pairs;
}

// What the rules promise, told from the type codes alone.
TEST(ConversionMatrix, EveryPairKeepsTheZeroElementModeAndDefaultValueRules)
{
    constexpr std::uint16_t kString = 0x0010, kDuration = 0x0030, kTimePoint = 0x0040, kBool = 0x4003;
    const std::vector<MatrixPair> pairs = allPairs(static_cast<TargetClasses*>(nullptr));
    ASSERT_EQ(pairs.size(), 26u * 25u);
    const auto isNumeric = [](std::uint16_t bits) { return (bits & 0x000F) != 0; };
    const auto isReal = [&](std::uint16_t bits) { return isNumeric(bits) && (bits & 0x8000) == 0; };
    for (const MatrixPair& pair : pairs) {
        SCOPED_TRACE(::testing::Message() << std::hex << pair.from << " -> " << pair.to);
        const bool numeric = isNumeric(pair.from) && isNumeric(pair.to);
        const bool copying = (pair.from == pair.to && !pair.fromStdString && !isNumeric(pair.from)) ||
                             (pair.from == kDuration && pair.to == kTimePoint) ||
                             (pair.fromStdString && pair.to == kString);
        for (const std::uint32_t mode : {0u, 1u, 2u, 3u, 0x80000000u, 0xFFFFFFFFu}) {
            EXPECT_EQ(pair.run(0, mode), numeric || copying) << "no elements, mode " << mode;
        }
        EXPECT_TRUE(pair.run(1, 0));
        EXPECT_EQ(pair.run(1, 1), numeric || copying);
        // A default number has a text; empty text is no number, but text to
        // bool never fails.
        const bool textForm = (isReal(pair.from) && pair.to == kString) || (pair.from == kString && pair.to == kBool);
        EXPECT_EQ(pair.run(1, 2), numeric || copying || textForm);
        for (const std::uint32_t mode : {3u, 0x80000000u, 0xFFFFFFFFu}) {
            EXPECT_FALSE(pair.run(1, mode)) << "mode " << mode;
        }
    }
}

template <class From>
std::string textOf(From value)
{
    ZString out[1];
    EXPECT_TRUE((convertElements<From, ZString>(&value, out, 1, ConversionMode::CastOrParse)));
    return std::string(out[0].data(), out[0].size());
}

// The parsed value, expecting the kernel to accept the text unless told otherwise.
template <class To>
To parseOk(std::string_view text, bool accepted = true)
{
    const ZString in[1] = {ZString(text)};
    To out[1] = {};
    EXPECT_EQ((convertElements<ZString, To>(in, out, 1, ConversionMode::CastOrParse)), accepted) << text;
    return out[0];
}

TEST(TextFormOfNumbers, DecimalIntegersOneCharacterForEightBitsAndFloatingWithAPoint)
{
    EXPECT_EQ(textOf(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(textOf(~std::uint64_t{0}), "18446744073709551615");  // precision has no effect
    EXPECT_EQ(textOf(std::uint8_t{255}), "\xFF");
    EXPECT_EQ(textOf(std::int8_t{0}), std::string(1, '\0'));
    EXPECT_EQ(textOf(false), "false");
    for (const auto& [value, text] : {std::pair{3.0, "3.0"},
                                      {1.0 / 3, "0.333333333333333"},
                                      {1e20, "1e+20"},
                                      {123456789012345.0, "123456789012345.0"},
                                      {-1e-7, "-1e-07"}}) {
        EXPECT_EQ(textOf(value), text);
    }
    EXPECT_EQ(textOf(1234567.0f), "1.23457e+06");
    EXPECT_EQ(textOf(100000.0f), "100000.0");
    EXPECT_EQ(textOf(-std::numeric_limits<float>::infinity()), "-inf.0");
    const std::string nan = textOf(std::numeric_limits<double>::quiet_NaN());
    EXPECT_TRUE(nan == "nan.0" || nan == "-nan.0") << nan;
}

TEST(TextFormParsing, ReadsWhatStrtodReadsThenCastsFromDouble)
{
    EXPECT_EQ(parseOk<std::int32_t>("  12abc"), 12);
    EXPECT_EQ(parseOk<std::int32_t>("0x10"), 16);
    EXPECT_EQ(parseOk<std::int32_t>("3.9"), 3);
    EXPECT_EQ(parseOk<std::int32_t>("1e400"), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(parseOk<std::uint32_t>("-1"), 0xFFFFFFFFu);
    EXPECT_EQ(parseOk<std::int64_t>("9007199254740993"), 9007199254740992);
    EXPECT_EQ(parseOk<std::int32_t>(std::string_view("12\0"
                                                     "34",
                                                     5)),
              12);                                                 // a NUL ends the text
    EXPECT_EQ(parseOk<std::int8_t>(textOf(std::int8_t{'7'})), 7);  // not 55: eight bits do not come back
    for (const std::string_view text : {"abc"sv, ""sv, " "sv, "-"sv}) {
        (void)parseOk<std::int32_t>(text, false);
    }
    // In an array the first text without a number ends the conversion.
    const ZString in[3] = {ZString("1"), ZString("x"), ZString("3")};
    std::int32_t out[3] = {};
    EXPECT_FALSE((convertElements<ZString, std::int32_t>(in, out, 3, ConversionMode::CastOrParse)));
    EXPECT_EQ(out[0], 1);
    EXPECT_EQ(out[2], 0);
}

TEST(TextFormParsing, TextToBoolIsTrueForExactlyTrueOrANonZeroNumberAndNeverFails)
{
    for (const std::string_view text : {"true"sv, "-1"sv, "0.5"sv, "nan"sv, " 3x"sv}) {
        EXPECT_TRUE(parseOk<bool>(text)) << text;
    }
    for (const std::string_view text : {"True"sv, "true "sv, "false"sv, ""sv, "-0"sv, "x1"sv}) {
        EXPECT_FALSE(parseOk<bool>(text)) << text;
    }
}

}  // namespace
