#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "types/conversion/ConvertElements.hpp"

namespace {

using namespace std::string_view_literals;
using Marlowen::Lum::ConversionMode;
using Marlowen::Lum::ZString;
using Marlowen::Lum::Internal::convertElements;

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
    EXPECT_EQ(textOf(std::int16_t{-5}), "-5");
    EXPECT_EQ(textOf(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(textOf(~std::uint64_t{0}), "18446744073709551615");
    EXPECT_EQ(textOf(std::uint32_t{1234567890}), "1234567890");  // precision has no effect
    EXPECT_EQ(textOf(std::int8_t{97}), "a");
    EXPECT_EQ(textOf(std::uint8_t{255}), "\xFF"sv);
    EXPECT_EQ(textOf(std::int8_t{0}), std::string(1, '\0'));
    EXPECT_EQ(textOf(true), "true");
    EXPECT_EQ(textOf(false), "false");
    for (const auto& [value, text] : {std::pair{2.5, "2.5"}, {3.0, "3.0"}, {-2.0, "-2.0"}, {1.0 / 3, "0.333333333333333"},
                                      {1e20, "1e+20"}, {123456789012345.0, "123456789012345.0"}, {-1e-7, "-1e-07"}}) {
        EXPECT_EQ(textOf(value), text);
    }
    for (const auto& [value, text] :
         {std::pair{0.1f, "0.1"}, {1e10f, "1e+10"}, {1234567.0f, "1.23457e+06"}, {100000.0f, "100000.0"}}) {
        EXPECT_EQ(textOf(value), text);
    }
    EXPECT_EQ(textOf(std::numeric_limits<double>::infinity()), "inf.0");
    EXPECT_EQ(textOf(-std::numeric_limits<float>::infinity()), "-inf.0");
    const std::string nan = textOf(std::numeric_limits<double>::quiet_NaN());
    EXPECT_TRUE(nan == "nan.0" || nan == "-nan.0") << nan;
}

TEST(TextFormParsing, ReadsWhatStrtodReadsThenCastsFromDouble)
{
    EXPECT_EQ(parseOk<std::int32_t>("12abc"), 12);
    EXPECT_EQ(parseOk<std::int32_t>("  7"), 7);
    EXPECT_EQ(parseOk<std::int32_t>("0x10"), 16);
    EXPECT_EQ(parseOk<std::int32_t>("3.9"), 3);
    EXPECT_EQ(parseOk<std::int32_t>("1e400"), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(parseOk<double>("1e400"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(parseOk<float>("3.5 V"), 3.5f);
    EXPECT_EQ(parseOk<std::uint32_t>("-1"), 0xFFFFFFFFu);
    EXPECT_EQ(parseOk<std::uint8_t>("300"), 44);
    EXPECT_EQ(parseOk<std::int64_t>("9007199254740993"), 9007199254740992);
    EXPECT_EQ(parseOk<std::int32_t>(std::string_view("12\0" "34", 5)), 12);  // a NUL ends the text
    EXPECT_EQ(parseOk<std::int8_t>(textOf(std::int8_t{'7'})), 7);  // not 55: eight bits do not come back
    for (const std::string_view text : {"abc"sv, ""sv, " "sv, "-"sv, "A"sv}) {
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
    for (const std::string_view text : {"true"sv, "1"sv, "-1"sv, "0.5"sv, "nan"sv, "inf"sv, " 3x"sv}) {
        EXPECT_TRUE(parseOk<bool>(text)) << text;
    }
    for (const std::string_view text : {"True"sv, "true "sv, "false"sv, ""sv, "0"sv, "-0"sv, "x1"sv}) {
        EXPECT_FALSE(parseOk<bool>(text)) << text;
    }
}

}  // namespace
