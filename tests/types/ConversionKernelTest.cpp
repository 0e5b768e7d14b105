#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "LumCore/WellKnownType.hpp"
#include "types/conversion/ConvertElements.hpp"
#include "types/conversion/ElementCast.hpp"

namespace {

using namespace std::string_literals;
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

// The destination of a kernel call, default-valued as a caller provides it.
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
    SCOPED_TRACE(::testing::Message() << "Lossless " << typeid(From).name() << " -> " << typeid(To).name());
    const Converted<To> result = convert<To>({x}, kLossless);
    EXPECT_EQ(result.ok, passes);
    if (passes) {
        EXPECT_EQ(result.out[0], expected);
    }
}

// ---- Lossless -------------------------------------------------------------------

TEST(ConversionLossless, IntegersRoundTripTheirBitsNotTheirSign)
{
    expectLossless<std::uint16_t>(std::int8_t{-1}, true, std::uint16_t{65535});
    expectLossless<std::uint32_t>(std::int32_t{-1}, true, 4294967295u);
    expectLossless<std::int8_t>(std::uint8_t{200}, true, std::int8_t{-56});
    expectLossless<std::int64_t>(std::uint64_t{1} << 63, true, std::numeric_limits<std::int64_t>::min());
    expectLossless<std::uint64_t>(std::int64_t{-1}, true, ~std::uint64_t{0});
    expectLossless<std::uint8_t>(std::int16_t{-1}, false);
    expectLossless<std::int8_t>(std::int16_t{300}, false);
    expectLossless<std::int8_t>(std::int16_t{-128}, true, std::int8_t{-128});
    expectLossless<std::int8_t>(std::int16_t{-129}, false);
    // Never checked: integers to floating classes, even when they round.
    expectLossless<double>(std::int64_t{9007199254740993}, true, 9007199254740992.0);
    expectLossless<float>(std::int32_t{16777217}, true, 16777216.0f);
    expectLossless<std::complex<float>>(std::int32_t{16777217}, true, std::complex<float>(16777216.0f));
}

TEST(ConversionLossless, FloatingValuesMustComeBackExactly)
{
    expectLossless<std::int32_t>(1.5, false);
    expectLossless<std::int32_t>(2.0, true, 2);
    expectLossless<std::int32_t>(-0.0, true, 0);
    expectLossless<std::int32_t>(-2147483648.0, true, std::numeric_limits<std::int32_t>::min());
    expectLossless<std::int32_t>(2147483648.0, false);
    expectLossless<std::int8_t>(200.0, false);
    expectLossless<std::uint32_t>(-1.0, false);
    expectLossless<std::uint64_t>(18446744073709549568.0, true, 18446744073709549568ull);
    expectLossless<std::uint64_t>(18446744073709551616.0, false);
    for (const double special : {kNaN, kInf, -kInf}) {
        expectLossless<std::int64_t>(special, false);
        expectLossless<std::uint8_t>(static_cast<float>(special), false);
    }
    expectLossless<float>(0.1, false);
    expectLossless<float>(0.5, true, 0.5f);
    expectLossless<float>(1e300, false);
    expectLossless<float>(kNaN, false);
    // Unchecked pairs let NaN through.
    EXPECT_TRUE(std::isnan(convert<double>({std::numeric_limits<float>::quiet_NaN()}, kLossless).out[0]));
    EXPECT_TRUE(convert<float>({std::numeric_limits<float>::quiet_NaN()}, kLossless).ok);
}

TEST(ConversionLossless, BoolTargetsTakeOnlyZeroAndOne)
{
    expectLossless<bool>(std::int8_t{2}, false);
    expectLossless<bool>(std::int8_t{1}, true, true);
    expectLossless<bool>(std::int8_t{0}, true, false);
    expectLossless<bool>(kNaN, false);
    expectLossless<bool>(-0.0, true, false);
    expectLossless<Complex<bool>>(std::int32_t{1}, true, Complex<bool>(true, false));
    expectLossless<Complex<bool>>(std::complex<double>(1.0, 0.5), false);
    expectLossless<bool>(Complex<bool>(true, true), false);
    expectLossless<bool>(Complex<bool>(true, false), true, true);
    expectLossless<std::int8_t>(true, true, std::int8_t{1});
}

TEST(ConversionLossless, ComplexChecksEachPartAndAZeroImaginaryForRealTargets)
{
    expectLossless<double>(std::complex<double>(1.5, 2.5), false);
    expectLossless<double>(std::complex<double>(1.5, 0.0), true, 1.5);
    expectLossless<double>(std::complex<double>(1.5, -0.0), true, 1.5);
    expectLossless<double>(std::complex<double>(1.5, kNaN), false);
    expectLossless<double>(Complex<std::int8_t>(3, 1), false);
    expectLossless<double>(Complex<std::int8_t>(3, 0), true, 3.0);
    expectLossless<Complex<std::int8_t>>(Complex<std::int32_t>(300, 0), false);
    expectLossless<Complex<std::int8_t>>(Complex<std::int32_t>(3, 300), false);
    expectLossless<Complex<std::int8_t>>(Complex<std::int32_t>(3, 4), true, Complex<std::int8_t>(3, 4));
    expectLossless<std::complex<float>>(std::complex<double>(0.5, 0.1), false);
    expectLossless<Complex<std::uint8_t>>(2.0f, true, Complex<std::uint8_t>(2, 0));
    expectLossless<Complex<std::uint8_t>>(2.5f, false);
}

TEST(ConversionLossless, StopsAtTheFirstBadElementAndWritesNothingBehindIt)
{
    // Long enough to span several blocks of the checked loop.
    constexpr std::size_t n = 5000;
    auto source = std::make_unique<double[]>(n);
    for (std::size_t i = 0; i < n; ++i) {
        source[i] = static_cast<double>(i) - 100.0;
    }
    source[3001] = 7.5;
    source[3002] = 0.25;
    const Converted<std::int32_t> result = convert<std::int32_t>(source.get(), n, kLossless);
    EXPECT_FALSE(result.ok);
    EXPECT_EQ(result.out[3000], 2900);
    EXPECT_EQ(result.out[3001], 7);  // the failing element itself is written
    for (std::size_t i = 3002; i < n; ++i) {
        ASSERT_EQ(result.out[i], 0) << i;
    }
    source[3001] = 3001.0 - 100.0;
    source[3002] = 3002.0 - 100.0;
    const Converted<std::int32_t> clean = convert<std::int32_t>(source.get(), n, kLossless);
    EXPECT_TRUE(clean.ok);
    EXPECT_EQ(clean.out[n - 1], static_cast<std::int32_t>(n) - 101);
}

// ---- Cast -----------------------------------------------------------------------

// The array kernels agree with the element cast on a mix of ordinary and
// special values, over a length that leaves a remainder after any vector
// width.
template <class From, class To>
void expectArrayMatchesElementCast(const double* values, std::size_t n)
{
    auto source = std::make_unique<From[]>(n);
    for (std::size_t i = 0; i < n; ++i) {
        if constexpr (Marlowen::Lum::Internal::isComplexElement<From>) {
            source[i] = cast<From>(std::complex<double>(values[i], values[n - 1 - i]));
        } else {
            source[i] = cast<From>(values[i]);
        }
    }
    for (const ConversionMode mode : {kCast, kCastOrParse}) {
        const Converted<To> result = convert<To>(source.get(), n, mode);
        ASSERT_TRUE(result.ok);
        for (std::size_t i = 0; i < n; ++i) {
            const To expected = cast<To>(source[i]);
            ASSERT_TRUE(result.out[i] == expected || (result.out[i] != result.out[i] && expected != expected))
                << typeid(From).name() << " -> " << typeid(To).name() << " at " << i;
        }
    }
}

TEST(ConversionCast, ArraysMatchTheElementCastIncludingSpecialValues)
{
    constexpr std::size_t n = 1037;
    auto values = std::make_unique<double[]>(n);
    std::mt19937_64 random(7);
    const double specials[] = {kNaN, kInf, -kInf, 3e9, -3e9, 1e20, -0.0, 2147483648.0, 9223372036854775808.0,
                               18446744073709551616.0, 255.5, -1.0};
    for (std::size_t i = 0; i < n; ++i) {
        const double scale = std::ldexp(1.0, static_cast<int>(random() % 70));
        values[i] = i % 7 == 0 ? specials[(i / 7) % std::size(specials)]
                               : (static_cast<double>(random() % 2001) - 1000.0) / 1000.0 * scale;
    }
    expectArrayMatchesElementCast<double, std::int32_t>(values.get(), n);
    expectArrayMatchesElementCast<double, std::uint8_t>(values.get(), n);
    expectArrayMatchesElementCast<double, std::uint32_t>(values.get(), n);
    expectArrayMatchesElementCast<double, std::uint64_t>(values.get(), n);
    expectArrayMatchesElementCast<float, std::int16_t>(values.get(), n);
    expectArrayMatchesElementCast<float, std::int64_t>(values.get(), n);
    expectArrayMatchesElementCast<double, float>(values.get(), n);
    expectArrayMatchesElementCast<double, bool>(values.get(), n);
    expectArrayMatchesElementCast<std::int64_t, std::int8_t>(values.get(), n);
    expectArrayMatchesElementCast<std::uint64_t, double>(values.get(), n);
    expectArrayMatchesElementCast<std::int32_t, double>(values.get(), n);
    expectArrayMatchesElementCast<std::complex<double>, Complex<std::int16_t>>(values.get(), n);
    expectArrayMatchesElementCast<std::complex<float>, std::uint32_t>(values.get(), n);
}

// ---- Pairs outside the numbers ---------------------------------------------------

TEST(ConversionDefaultOnly, LosslessPassesOnlyDefaultValuesAndNothingElseConverts)
{
    EXPECT_TRUE((convert<ZString>({0.0, -0.0}, kLossless).ok));
    EXPECT_TRUE((convert<ZString>({0.0, -0.0}, kLossless).out[1].empty()));
    EXPECT_FALSE((convert<ZString>({0.0, kNaN}, kLossless).ok));
    EXPECT_FALSE((convert<ZString>({0.0}, kCast).ok));
    EXPECT_FALSE((convert<ZString>({std::complex<float>()}, kCastOrParse).ok));
    EXPECT_TRUE((convert<ZString>({std::complex<float>()}, kLossless).ok));
    EXPECT_FALSE((convert<ZString>({std::complex<float>(0.0f, 1.0f)}, kLossless).ok));
    EXPECT_TRUE((convert<std::int32_t>({ZString()}, kLossless).ok));
    EXPECT_FALSE((convert<std::int32_t>({ZString("0")}, kLossless).ok));
    EXPECT_FALSE((convert<std::int32_t>({ZString()}, kCast).ok));
    EXPECT_FALSE((convert<Complex<std::int32_t>>({ZString("1")}, kCastOrParse).ok));
    EXPECT_FALSE((convert<Duration>({std::int32_t{5}}, kCast).ok));
    EXPECT_TRUE((convert<TimePoint>({std::int32_t{0}}, kLossless).ok));
    EXPECT_FALSE((convert<std::int64_t>({Duration{0, 1}}, kLossless).ok));
    EXPECT_FALSE((convert<ZString>({Duration{0, 1}}, kLossless).ok));
    EXPECT_TRUE((convert<ZString>({Duration{}}, kLossless).ok));
    // Only a Duration copies into a TimePoint, never the other way round.
    EXPECT_FALSE((convert<Duration>({TimePoint{3, 4}}, kCast).ok));
    EXPECT_TRUE((convert<Duration>({TimePoint{}}, kLossless).ok));
    EXPECT_FALSE((convert<std::int32_t>({"7"s}, kCastOrParse).ok));
    EXPECT_TRUE((convert<std::int32_t>({""s, ""s}, kLossless).ok));
    EXPECT_FALSE((convert<std::int32_t>({""s, "x"s}, kLossless).ok));
}

TEST(ConversionCopying, StringsShareDurationsCopyAndCustomTextCopiesWithItsNulBytes)
{
    const ZString text("shared text");
    for (const ConversionMode mode : {kLossless, kCast, kCastOrParse}) {
        const Converted<ZString> shared = convert<ZString>({text}, mode);
        EXPECT_TRUE(shared.ok);
        EXPECT_EQ(shared.out[0].data(), text.data());  // the same record, not a copy

        const Converted<Duration> durations = convert<Duration>({Duration{-5, 7}}, mode);
        EXPECT_TRUE(durations.ok);
        EXPECT_EQ(durations.out[0], (Duration{-5, 7}));
        EXPECT_EQ((convert<TimePoint>({TimePoint{9, 1}}, mode).out[0]), (TimePoint{9, 1}));
    }

    const Converted<TimePoint> moved = convert<TimePoint>({Duration{0, 0}, Duration{-5, 7}}, kCast);
    EXPECT_TRUE(moved.ok);
    EXPECT_EQ(moved.out[1], (TimePoint{-5, 7}));
    EXPECT_TRUE((convert<TimePoint>({Duration{-5, 7}}, kCastOrParse).ok));
    EXPECT_FALSE((convert<TimePoint>({Duration{0, 0}, Duration{0, 1}}, kLossless).ok));
    EXPECT_TRUE((convert<TimePoint>({Duration{0, 0}}, kLossless).ok));

    const Converted<ZString> copied = convert<ZString>({"a\0b"s, ""s}, kCast);
    EXPECT_TRUE(copied.ok);
    EXPECT_EQ(copied.out[0], std::string_view("a\0b", 3));
    EXPECT_TRUE(copied.out[1].empty());
    EXPECT_FALSE((convert<ZString>({""s, "a"s}, kLossless).ok));
    EXPECT_TRUE((convert<ZString>({""s, ""s}, kLossless).ok));
}

// ---- Every pair: zero elements, modes, one default element -------------------------

using SourceClasses = std::tuple<bool, std::int8_t, std::int16_t, std::int32_t, std::int64_t, std::uint8_t,
                                 std::uint16_t, std::uint32_t, std::uint64_t, float, double, Complex<bool>,
                                 Complex<std::int8_t>, Complex<std::int16_t>, Complex<std::int32_t>,
                                 Complex<std::int64_t>, Complex<std::uint8_t>, Complex<std::uint16_t>,
                                 Complex<std::uint32_t>, Complex<std::uint64_t>, std::complex<float>,
                                 std::complex<double>, ZString, Duration, TimePoint, std::string>;

// One pair of the matrix, run on a single default-valued element (or none).
// The body is a template; the checks below are not, which keeps this file
// quick to compile.
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
constexpr std::uint16_t typeBits()
{
    return static_cast<std::uint16_t>(Marlowen::Lum::WellKnownTypeOf<T>::value);
}

template <class From, class... To>
void addSourcePairs(std::vector<MatrixPair>& pairs, std::tuple<To...>*)
{
    (pairs.push_back({typeBits<From>(), typeBits<To>(), std::is_same_v<From, std::string>, &runOnDefault<From, To>}),
     ...);
}

template <class... From>
std::vector<MatrixPair> allPairs(std::tuple<From...>*)
{
    // The 25 targets are the sources without the custom class at the end.
    using Targets = std::tuple<bool, std::int8_t, std::int16_t, std::int32_t, std::int64_t, std::uint8_t,
                               std::uint16_t, std::uint32_t, std::uint64_t, float, double, Complex<bool>,
                               Complex<std::int8_t>, Complex<std::int16_t>, Complex<std::int32_t>,
                               Complex<std::int64_t>, Complex<std::uint8_t>, Complex<std::uint16_t>,
                               Complex<std::uint32_t>, Complex<std::uint64_t>, std::complex<float>,
                               std::complex<double>, ZString, Duration, TimePoint>;
    std::vector<MatrixPair> pairs;
    (addSourcePairs<From>(pairs, static_cast<Targets*>(nullptr)), ...);
    return pairs;
}

// What the rules promise for each pair, told from the type codes alone.
TEST(ConversionMatrix, EveryPairKeepsTheZeroElementModeAndDefaultValueRules)
{
    constexpr std::uint16_t kString = 0x0010, kDuration = 0x0030, kTimePoint = 0x0040, kBool = 0x4003;
    const std::vector<MatrixPair> pairs = allPairs(static_cast<SourceClasses*>(nullptr));
    ASSERT_EQ(pairs.size(), 26u * 25u);
    for (const MatrixPair& pair : pairs) {
        SCOPED_TRACE(::testing::Message() << std::hex << pair.from << " -> " << pair.to);
        const auto numericReal = [](std::uint16_t bits) { return (bits & 0x000F) != 0 && (bits & 0x8000) == 0; };
        const bool numeric = (pair.from & 0x000F) != 0 && (pair.to & 0x000F) != 0;
        const bool copying = (pair.from == pair.to && !pair.fromStdString && (pair.from & 0x000F) == 0) ||
                             (pair.from == kDuration && pair.to == kTimePoint) ||
                             (pair.fromStdString && pair.to == kString);
        const bool toText = numericReal(pair.from) && pair.to == kString;
        const bool fromText = pair.from == kString && numericReal(pair.to);

        for (const std::uint32_t mode : {0u, 1u, 2u, 3u, 0x80000000u, 0xFFFFFFFFu}) {
            EXPECT_EQ(pair.run(0, mode), numeric || copying) << "no elements, mode " << mode;
        }
        EXPECT_TRUE(pair.run(1, 0));
        EXPECT_EQ(pair.run(1, 1), numeric || copying);
        // Of the text pairs, a default number has a text, and empty text is no
        // number, except that text to bool never fails.
        EXPECT_EQ(pair.run(1, 2), numeric || copying || toText || (fromText && pair.to == kBool));
        for (const std::uint32_t mode : {3u, 0x80000000u, 0xFFFFFFFFu}) {
            EXPECT_FALSE(pair.run(1, mode)) << "mode " << mode;
        }
    }
}

}  // namespace
