#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "LumCore/WellKnownType.hpp"
#include "support/CountingNew.hpp"

namespace {

using Marlowen::Lum::WellKnownType;
using V = Marlowen::Lum::Internal::WellKnownTypeValue;

WellKnownType common(V a, V b) { return WellKnownType::getCommonWellKnownType(WellKnownType(a), WellKnownType(b)); }

V complexOf(V real) { return static_cast<V>(static_cast<std::uint16_t>(real) | 0x8000); }

// The numbers cross the flat interface, so they are checked with the words.
constexpr struct {
    V value;
    std::uint16_t bits;
    std::string_view word;
} kTypes[] = {
    {V::double_, 0x0001, "double"},
    {V::float_, 0x0002, "float"},
    {V::int8, 0x0004, "int8"},
    {V::int16, 0x0005, "int16"},
    {V::int32, 0x0006, "int32"},
    {V::int64, 0x0007, "int64"},
    {V::string, 0x0010, "string"},
    {V::customType, 0x0020, "customType"},
    {V::duration, 0x0030, "duration"},
    {V::timePoint, 0x0040, "timePoint"},
    {V::bool_, 0x4003, "bool"},
    {V::unsignedInt8, 0x4004, "unsignedInt8"},
    {V::unsignedInt16, 0x4005, "unsignedInt16"},
    {V::unsignedInt32, 0x4006, "unsignedInt32"},
    {V::unsignedInt64, 0x4007, "unsignedInt64"},
    {V::complexDouble, 0x8001, "complexDouble"},
    {V::complexFloat, 0x8002, "complexFloat"},
    {V::complexInt8, 0x8004, "complexInt8"},
    {V::complexInt16, 0x8005, "complexInt16"},
    {V::complexInt32, 0x8006, "complexInt32"},
    {V::complexInt64, 0x8007, "complexInt64"},
    {V::complexBool, 0xC003, "complexBool"},
    {V::complexUnsignedInt8, 0xC004, "complexUnsignedInt8"},
    {V::complexUnsignedInt16, 0xC005, "complexUnsignedInt16"},
    {V::complexUnsignedInt32, 0xC006, "complexUnsignedInt32"},
    {V::complexUnsignedInt64, 0xC007, "complexUnsignedInt64"},
};

// Words parse back in any case but only whole; values off the list print as
// unknown.
TEST(WellKnownTypeWords, EveryTypePrintsItsWordAndParsesBack)
{
    for (const auto& row : kTypes) {
        EXPECT_EQ(WellKnownType(row.value).bits(), row.bits) << row.word;
        EXPECT_EQ(WellKnownType(row.value).toString(), row.word);
        EXPECT_EQ(WellKnownType(row.word).value(), row.value) << row.word;
    }
    EXPECT_EQ(WellKnownType("cOMPLEXuNSIGNEDiNT64").value(), V::complexUnsignedInt64);
    EXPECT_EQ(WellKnownType("STRING8").toString(), "string");
    for (const std::string_view word : {"double ", " double", "doubl", "doublex", "int", "string16", "unknown", ""}) {
        EXPECT_EQ(WellKnownType(word).value(), V::unknown) << "'" << word << "'";
    }
    for (const std::uint16_t bits : {0x0000, 0x0003, 0x0050, 0x4001, 0x8010, 0xFFFF}) {
        EXPECT_EQ(WellKnownType::fromBits(bits).toString(), "unknown") << std::hex << bits;
    }
}

TEST(WellKnownTypeWords, PrintingAndPromotingAllocateNothingOnceBuilt)
{
    (void)WellKnownType(V::int8).toString();
    (void)common(V::int8, V::unsignedInt64);
    const LumTest::AllocationCounter counter;
    EXPECT_EQ(WellKnownType::fromBits(0x0050).toString(), "unknown");
    EXPECT_EQ(common(V::complexBool, V::int32).value(), V::complexInt32);
    EXPECT_EQ(counter.count(), 0u);
}

TEST(CommonWellKnownType, PairsFollowThePromotionTable)
{
    constexpr V b = V::bool_, i8 = V::int8, u8 = V::unsignedInt8, i16 = V::int16, u16 = V::unsignedInt16,
                i32 = V::int32, u32 = V::unsignedInt32, i64 = V::int64, u64 = V::unsignedInt64, f = V::float_,
                d = V::double_;
    // Rows and columns in promotion order.
    constexpr V order[11] = {b, i8, u8, i16, u16, i32, u32, i64, u64, f, d};
    constexpr V expected[11][11] = {
        {b, i8, u8, i16, u16, i32, u32, i64, u64, f, d},
        {i8, i8, i16, i16, i32, i32, i64, i64, d, f, d},
        {u8, i16, u8, i16, u16, i32, u32, i64, u64, f, d},
        {i16, i16, i16, i16, i32, i32, i64, i64, d, f, d},
        {u16, i32, u16, i32, u16, i32, u32, i64, u64, f, d},
        {i32, i32, i32, i32, i32, i32, i64, i64, d, f, d},
        {u32, i64, u32, i64, u32, i64, u32, i64, u64, f, d},
        {i64, i64, i64, i64, i64, i64, i64, i64, d, f, d},
        {u64, d, u64, d, u64, d, u64, d, u64, f, d},
        {f, f, f, f, f, f, f, f, f, f, d},
        {d, d, d, d, d, d, d, d, d, d, d},
    };
    for (int row = 0; row < 11; ++row) {
        for (int col = 0; col < 11; ++col) {
            const V x = order[row], y = order[col], want = expected[row][col];
            SCOPED_TRACE(std::string(WellKnownType(x).toString()) + " with " +
                         std::string(WellKnownType(y).toString()));
            EXPECT_EQ(common(x, y).value(), want);
            EXPECT_EQ(common(complexOf(x), y).value(), complexOf(want));
            EXPECT_EQ(common(x, complexOf(y)).value(), complexOf(want));
            EXPECT_EQ(common(complexOf(x), complexOf(y)).value(), complexOf(want));
        }
    }
    // Non-numeric types meet only themselves or unknown.
    EXPECT_EQ(common(V::unknown, V::unknown).value(), V::unknown);
    for (const auto& row : kTypes) {
        EXPECT_EQ(common(row.value, row.value).value(), row.value) << row.word;
        EXPECT_EQ(common(row.value, V::unknown).value(), row.value) << row.word;
        EXPECT_EQ(common(V::unknown, row.value).value(), row.value) << row.word;
        for (const V other : {V::string, V::customType, V::duration, V::timePoint}) {
            EXPECT_TRUE(other == row.value || (common(row.value, other).value() == V::unknown &&
                                               common(other, row.value).value() == V::unknown))
                << row.word;
        }
    }
}

}  // namespace
