#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <random>

#include "types/conversion/ElementCast.hpp"

namespace {

using Marlowen::Lum::Complex;
using Marlowen::Lum::Internal::cast;
using Marlowen::Lum::Internal::losslessIsCast;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kTwo63 = 9223372036854775808.0;
constexpr double kTwo64 = 18446744073709551616.0;

TEST(ElementCastIntegers, WidenNarrowAndChangeSignByTwosComplement)
{
    EXPECT_EQ(cast<std::int32_t>(std::int8_t{-1}), -1);
    EXPECT_EQ(cast<std::uint32_t>(std::int8_t{-1}), 0xFFFFFFFFu);
    EXPECT_EQ(cast<std::int64_t>(std::uint8_t{200}), 200);
    EXPECT_EQ(cast<std::uint64_t>(std::int32_t{-2}), 0xFFFFFFFFFFFFFFFEull);
    EXPECT_EQ(cast<std::int8_t>(std::int32_t{300}), 44);
    EXPECT_EQ(cast<std::uint8_t>(std::int64_t{-1}), 255);
    EXPECT_EQ(cast<std::int16_t>(std::uint64_t{0x12345678ABCDull}), static_cast<std::int16_t>(0xABCD));
    EXPECT_EQ(cast<std::int8_t>(std::uint8_t{200}), -56);
    EXPECT_EQ(cast<std::int64_t>(std::uint64_t{1} << 63), std::numeric_limits<std::int64_t>::min());
}

TEST(ElementCastBool, AnythingNonZeroIsTrueAndNaNToo)
{
    EXPECT_TRUE(cast<bool>(std::int8_t{2}));
    EXPECT_TRUE(cast<bool>(std::int64_t{1} << 40));  // not the low bit
    EXPECT_FALSE(cast<bool>(std::uint16_t{0}));
    EXPECT_TRUE(cast<bool>(kNaN));
    EXPECT_TRUE(cast<bool>(0.25f));
    EXPECT_FALSE(cast<bool>(-0.0));
    EXPECT_EQ(cast<double>(true), 1.0);
    EXPECT_EQ(cast<std::int64_t>(true), 1);
    EXPECT_EQ(cast<std::uint8_t>(false), 0);
}

// One row per source value; each column is what a target of that width
// and sign gets. Out of range and NaN go through the 0x80000000 or
// 0x8000000000000000 of the intermediate.
struct FloatToIntegerRow {
    double x;
    std::int8_t i8;
    std::uint8_t u8;
    std::int16_t i16;
    std::uint16_t u16;
    std::int32_t i32;
    std::uint32_t u32;
    std::int64_t i64;
    std::uint64_t u64;
};

constexpr std::int32_t kMin32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kMin64 = std::numeric_limits<std::int64_t>::min();
constexpr std::uint64_t kTop64 = std::uint64_t{1} << 63;

const FloatToIntegerRow kFloatToIntegerRows[] = {
    {2.9, 2, 2, 2, 2, 2, 2, 2, 2},
    {-2.9, -2, 254, -2, 65534, -2, 0xFFFFFFFEu, -2, 0xFFFFFFFFFFFFFFFEull},
    {-0.0, 0, 0, 0, 0, 0, 0, 0, 0},
    {300.0, 44, 44, 300, 300, 300, 300, 300, 300},
    {-1.0, -1, 255, -1, 65535, -1, 0xFFFFFFFFu, -1, 0xFFFFFFFFFFFFFFFFull},
    {70000.0, 112, 112, 4464, 4464, 70000, 70000, 70000, 70000},
    {3e9, 0, 0, 0, 0, kMin32, 3000000000u, 3000000000, 3000000000},
    {-3e9, 0, 0, 0, 0, kMin32, 0x4D2FA200u, -3000000000, static_cast<std::uint64_t>(-3000000000ll)},
    {2147483648.0, 0, 0, 0, 0, kMin32, 0x80000000u, 2147483648, 2147483648},
    {-2147483648.0, 0, 0, 0, 0, kMin32, 0x80000000u, -2147483648ll, static_cast<std::uint64_t>(-2147483648ll)},
    {kTwo63, 0, 0, 0, 0, kMin32, 0, kMin64, kTop64},
    {kTwo64 - 4096.0, 0, 0, 0, 0, kMin32, 0, kMin64, 0xFFFFFFFFFFFFF000ull},
    {kTwo64, 0, 0, 0, 0, kMin32, 0, kMin64, kTop64},
    {1e300, 0, 0, 0, 0, kMin32, 0, kMin64, kTop64},
    {-1e300, 0, 0, 0, 0, kMin32, 0, kMin64, kTop64},
    {kInf, 0, 0, 0, 0, kMin32, 0, kMin64, kTop64},
    {-kInf, 0, 0, 0, 0, kMin32, 0, kMin64, kTop64},
    {kNaN, 0, 0, 0, 0, kMin32, 0, kMin64, kTop64},
};

TEST(ElementCastFloatToInteger, TruncatesAndFixesOutOfRangePerTargetWidth)
{
    for (const FloatToIntegerRow& row : kFloatToIntegerRows) {
        SCOPED_TRACE(row.x);
        const double x = row.x;
        EXPECT_EQ(cast<std::int8_t>(x), row.i8);
        EXPECT_EQ(cast<std::uint8_t>(x), row.u8);
        EXPECT_EQ(cast<std::int16_t>(x), row.i16);
        EXPECT_EQ(cast<std::uint16_t>(x), row.u16);
        EXPECT_EQ(cast<std::int32_t>(x), row.i32);
        EXPECT_EQ(cast<std::uint32_t>(x), row.u32);
        EXPECT_EQ(cast<std::int64_t>(x), row.i64);
        EXPECT_EQ(cast<std::uint64_t>(x), row.u64);
        // The float source takes the same roads wherever it holds the value.
        const auto f = static_cast<float>(x);
        if (std::isnan(x) || static_cast<double>(f) == x) {
            EXPECT_EQ(cast<std::int8_t>(f), row.i8);
            EXPECT_EQ(cast<std::uint16_t>(f), row.u16);
            EXPECT_EQ(cast<std::int32_t>(f), row.i32);
            EXPECT_EQ(cast<std::uint32_t>(f), row.u32);
            EXPECT_EQ(cast<std::int64_t>(f), row.i64);
            EXPECT_EQ(cast<std::uint64_t>(f), row.u64);
        }
    }
}

TEST(ElementCastToFloating, UnsignedInt64RoundsByValueToNearestEven)
{
    // Ties and near-ties just above 2^63, where halving the value would lose
    // the bit that decides the rounding.
    EXPECT_EQ(cast<double>(kTop64 + 1024), kTwo63);                     // tie, to even
    EXPECT_EQ(cast<double>(kTop64 + 1025), kTwo63 + 2048.0);            // just above the tie
    EXPECT_EQ(cast<double>(kTop64 + 3 * 1024), kTwo63 + 4096.0);        // tie, to even
    EXPECT_EQ(cast<double>(~std::uint64_t{0}), kTwo64);
    EXPECT_EQ(cast<float>(kTop64 + (std::uint64_t{1} << 39) + 1), static_cast<float>(kTwo63 + 1099511627776.0));
    EXPECT_EQ(cast<double>(std::int64_t{9007199254740993}), 9007199254740992.0);
    EXPECT_EQ(cast<float>(std::int32_t{16777217}), 16777216.0f);

    // The compiler's own conversion rounds correctly on this target; compare
    // over values spread across all magnitudes.
    std::mt19937_64 random(20240607);
    for (int i = 0; i < 20000; ++i) {
        const std::uint64_t x = random() >> (i % 64);
        ASSERT_EQ(cast<double>(x), static_cast<double>(x)) << x;
        ASSERT_EQ(cast<float>(x), static_cast<float>(x)) << x;
    }
}

TEST(ElementCastFloating, DoubleToFloatRoundsOverflowsAndKeepsNaN)
{
    EXPECT_EQ(cast<float>(0.1), 0.1f);
    EXPECT_EQ(cast<float>(1e300), std::numeric_limits<float>::infinity());
    EXPECT_EQ(cast<float>(-1e300), -std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isnan(cast<float>(kNaN)));
    EXPECT_EQ(cast<double>(0.1f), static_cast<double>(0.1f));
}

TEST(ElementCastComplex, PartsConvertOnTheirOwnAndImaginaryIsDroppedOrZero)
{
    const std::complex<double> z(1.5, 2.5);
    EXPECT_EQ(cast<std::int32_t>(z), 1);
    EXPECT_EQ((cast<Complex<std::int32_t>>(z)), (Complex<std::int32_t>(1, 2)));
    EXPECT_EQ((cast<Complex<bool>>(z)), (Complex<bool>(true, true)));
    EXPECT_EQ((cast<Complex<bool>>(std::complex<float>(0.0f, NAN))), (Complex<bool>(false, true)));
    EXPECT_EQ((cast<std::complex<float>>(std::int16_t{-7})), (std::complex<float>(-7.0f, 0.0f)));
    EXPECT_EQ((cast<Complex<std::uint8_t>>(Complex<std::int16_t>(300, -1))), (Complex<std::uint8_t>(44, 255)));
    EXPECT_EQ((cast<Complex<std::int64_t>>(std::complex<double>(kNaN, 3e9))), (Complex<std::int64_t>(kMin64, 3000000000)));
    EXPECT_EQ((cast<double>(Complex<bool>(true, false))), 1.0);
}

// Which pairs Lossless checks at all is decided by the range of the part
// classes, not by precision, and never for complex sources going to reals.
static_assert(losslessIsCast<std::int64_t, float>);
static_assert(losslessIsCast<std::uint64_t, std::complex<float>>);
static_assert(losslessIsCast<float, double> && !losslessIsCast<double, float>);
static_assert(!losslessIsCast<std::int8_t, std::uint16_t> && !losslessIsCast<std::uint8_t, std::int8_t>);
static_assert(losslessIsCast<std::uint8_t, std::int16_t> && losslessIsCast<std::uint32_t, std::int64_t>);
static_assert(losslessIsCast<bool, std::int8_t> && !losslessIsCast<std::uint8_t, bool>);
static_assert(losslessIsCast<Complex<bool>, Complex<std::int8_t>> && !losslessIsCast<Complex<bool>, bool>);
static_assert(!losslessIsCast<Complex<std::int8_t>, double> && losslessIsCast<Complex<bool>, Complex<bool>>);

}  // namespace
