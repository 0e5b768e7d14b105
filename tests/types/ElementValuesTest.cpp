#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "LumCore/Complex.hpp"
#include "LumCore/Duration.hpp"
#include "LumCore/TimePoint.hpp"

namespace {

using Marlowen::Lum::Complex;

template <class T>
class ComplexParts : public ::testing::Test {};
using PartClasses = ::testing::Types<bool, std::int8_t, std::int16_t, std::int32_t, std::int64_t, std::uint8_t,
                                     std::uint16_t, std::uint32_t, std::uint64_t>;
TYPED_TEST_SUITE(ComplexParts, PartClasses);

// Zero by default, and an array of n values reads elsewhere as 2n parts, real first.
TYPED_TEST(ComplexParts, DefaultIsZeroAndArraysReadAsRealImaginaryPairs)
{
    using T = TypeParam;
    EXPECT_EQ(Complex<T>(), Complex<T>(T(0), T(0)));
    EXPECT_EQ(Complex<T>().real(), T(0));
    const Complex<T> values[2] = {{T(1), T(0)}, {T(0), T(1)}};
    T parts[4];
    std::memcpy(parts, values, sizeof values);
    EXPECT_EQ(parts[0], T(1));
    EXPECT_EQ(parts[1], T(0));
    EXPECT_EQ(parts[2], T(0));
    EXPECT_EQ(parts[3], T(1));
    EXPECT_NE(values[0], values[1]);
    EXPECT_NE(values[0], Complex<T>(T(1), T(1)));
    EXPECT_FALSE(values[1] != Complex<T>(T(0), T(1)));
}

template <class T>
class TimeFields : public ::testing::Test {};
using TimeClasses = ::testing::Types<Marlowen::Lum::Duration, Marlowen::Lum::TimePoint>;
TYPED_TEST_SUITE(TimeFields, TimeClasses);

TYPED_TEST(TimeFields, DefaultIsZeroAndEveryFieldCounts)
{
    const TypeParam zero{};
    EXPECT_EQ(zero.s, 0);
    EXPECT_EQ(zero.f, 0u);
    EXPECT_NE((TypeParam{0, 1}), zero);
    EXPECT_NE((TypeParam{1, 0}), zero);
    EXPECT_EQ((TypeParam{5, 250}), (TypeParam{5, 250}));
    EXPECT_FALSE((TypeParam{5, 250}) != (TypeParam{5, 250}));
}

}  // namespace
