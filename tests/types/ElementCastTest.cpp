#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>

#include "types/conversion/ElementCast.hpp"

namespace {

using Marlowen::Lum::Complex;
using Marlowen::Lum::Internal::cast;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kTwo63 = 9223372036854775808.0;
constexpr double kTwo64 = 18446744073709551616.0;
constexpr std::int32_t kMin32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kMin64 = std::numeric_limits<std::int64_t>::min();
constexpr std::uint64_t kTop64 = std::uint64_t{1} << 63;

TEST(ElementCast, IntegersByTwosComplementNonZeroToBoolAndComplexPartByPart)
{
    EXPECT_EQ(cast<std::uint32_t>(std::int8_t{-1}), 0xFFFFFFFFu);
    EXPECT_EQ(cast<std::int8_t>(std::int32_t{300}), 44);
    EXPECT_EQ(cast<std::int16_t>(std::uint64_t{0x12345678ABCDull}), static_cast<std::int16_t>(0xABCD));
    EXPECT_TRUE(cast<bool>(std::int64_t{1} << 40));  // not the low bit
    EXPECT_TRUE(cast<bool>(kNaN));
    EXPECT_FALSE(cast<bool>(-0.0));
    EXPECT_EQ(cast<double>(true), 1.0);
    EXPECT_EQ(cast<float>(-1e300), -std::numeric_limits<float>::infinity());
    EXPECT_EQ(cast<std::int32_t>(std::complex<double>(1.5, 2.5)), 1);
    EXPECT_EQ((cast<Complex<bool>>(std::complex<float>(0.0f, NAN))), (Complex<bool>(false, true)));
    EXPECT_EQ((cast<Complex<std::uint8_t>>(Complex<std::int16_t>(300, -1))), (Complex<std::uint8_t>(44, 255)));
    EXPECT_EQ((cast<Complex<std::int64_t>>(std::complex<double>(kNaN, 3e9))),
              (Complex<std::int64_t>(kMin64, 3000000000)));
    EXPECT_EQ((cast<std::complex<float>>(std::int8_t{-7})), (std::complex<float>(-7.0f, 0.0f)));
}

// What each target width and sign gets from one source value. Out of range
// and NaN go through the 0x80000000 or 0x8000000000000000 of the intermediate.
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

const FloatToIntegerRow kFloatToIntegerRows[] = {
    {-2.9, -2, 254, -2, 65534, -2, 0xFFFFFFFEu, -2, 0xFFFFFFFFFFFFFFFEull},
    {70000.0, 112, 112, 4464, 4464, 70000, 70000, 70000, 70000},
    {3e9, 0, 0, 0, 0, kMin32, 3000000000u, 3000000000, 3000000000},
    {-3e9, 0, 0, 0, 0, kMin32, 0x4D2FA200u, -3000000000, static_cast<std::uint64_t>(-3000000000ll)},
    {2147483648.0, 0, 0, 0, 0, kMin32, 0x80000000u, 2147483648, 2147483648},
    {-2147483648.0, 0, 0, 0, 0, kMin32, 0x80000000u, -2147483648ll, 0xFFFFFFFF80000000ull},
    {kTwo63, 0, 0, 0, 0, kMin32, 0, kMin64, kTop64},
    {kTwo64 - 4096.0, 0, 0, 0, 0, kMin32, 0, kMin64, 0xFFFFFFFFFFFFF000ull},
    {kTwo64, 0, 0, 0, 0, kMin32, 0, kMin64, kTop64},
    {-1e300, 0, 0, 0, 0, kMin32, 0, kMin64, kTop64},
    {kInf, 0, 0, 0, 0, kMin32, 0, kMin64, kTop64},
    {kNaN, 0, 0, 0, 0, kMin32, 0, kMin64, kTop64},
};

TEST(ElementCast, FloatToIntegerTruncatesAndFixesOutOfRangePerTargetWidth)
{
    for (const FloatToIntegerRow& row : kFloatToIntegerRows) {
        SCOPED_TRACE(row.x);
        EXPECT_EQ(cast<std::int8_t>(row.x), row.i8);
        EXPECT_EQ(cast<std::uint8_t>(row.x), row.u8);
        EXPECT_EQ(cast<std::int16_t>(row.x), row.i16);
        EXPECT_EQ(cast<std::uint16_t>(row.x), row.u16);
        EXPECT_EQ(cast<std::int32_t>(row.x), row.i32);
        EXPECT_EQ(cast<std::uint32_t>(row.x), row.u32);
        EXPECT_EQ(cast<std::int64_t>(row.x), row.i64);
        EXPECT_EQ(cast<std::uint64_t>(row.x), row.u64);
    }
}

TEST(ElementCast, UnsignedInt64ToFloatingRoundsByValueToNearestEven)
{
    // Just above 2^63 halving the value would lose the bit that decides.
    EXPECT_EQ(cast<double>(kTop64 + 1024), kTwo63);           // tie, to even
    EXPECT_EQ(cast<double>(kTop64 + 1025), kTwo63 + 2048.0);  // above the tie
    EXPECT_EQ(cast<double>(kTop64 + 3 * 1024), kTwo63 + 4096.0);
    EXPECT_EQ(cast<double>(~std::uint64_t{0}), kTwo64);
    EXPECT_EQ(cast<float>(kTop64 + (std::uint64_t{1} << 39) + 1), static_cast<float>(kTwo63 + 1099511627776.0));
    // The compiler's own conversion rounds correctly on this target.
    std::mt19937_64 random(20240607);
    for (int i = 0; i < 20000; ++i) {
        const std::uint64_t x = random() >> (i % 64);
        ASSERT_EQ(cast<double>(x), static_cast<double>(x)) << x;
        ASSERT_EQ(cast<float>(x), static_cast<float>(x)) << x;
    }
}

// An array of n complex values reads elsewhere as 2n parts, real first, and
// both parts count in a comparison.
TEST(ComplexParts, ArraysReadAsRealImaginaryPairsAndBothPartsCompare)
{
    const auto check = [](auto zero) {
        using T = decltype(zero);
        const Complex<T> values[2] = {{T(1), T(0)}, {T(0), T(1)}};
        T parts[4];
        std::memcpy(parts, values, sizeof values);
        EXPECT_TRUE(parts[0] == T(1) && parts[1] == T(0) && parts[2] == T(0) && parts[3] == T(1));
        EXPECT_NE(values[0], Complex<T>(T(1), T(1)));
        EXPECT_EQ(Complex<T>(), Complex<T>(T(0), T(0)));
    };
    check(false);
    check(std::int8_t{});
    check(std::uint64_t{});
}

}  // namespace
