#include <gtest/gtest.h>

#include <cmath>
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

// Parses one text; `ok` says whether the kernel accepted it.
template <class To>
To parse(std::string_view text, bool& ok)
{
    const ZString in[1] = {ZString(text)};
    To out[1] = {};
    ok = convertElements<ZString, To>(in, out, 1, ConversionMode::CastOrParse);
    return out[0];
}

template <class To>
To parseOk(std::string_view text)
{
    bool ok = false;
    const To value = parse<To>(text, ok);
    EXPECT_TRUE(ok) << text;
    return value;
}

template <class To>
bool parses(std::string_view text)
{
    bool ok = false;
    (void)parse<To>(text, ok);
    return ok;
}

TEST(TextFormOfNumbers, IntegersInDecimalExceptEightBitsWhichAreOneCharacter)
{
    EXPECT_EQ(textOf(std::int16_t{-5}), "-5");
    EXPECT_EQ(textOf(std::int32_t{-2147483647 - 1}), "-2147483648");
    EXPECT_EQ(textOf(std::int64_t{std::numeric_limits<std::int64_t>::min()}), "-9223372036854775808");
    EXPECT_EQ(textOf(std::uint64_t{~std::uint64_t{0}}), "18446744073709551615");
    EXPECT_EQ(textOf(std::uint32_t{1234567890}), "1234567890");  // precision has no effect
    EXPECT_EQ(textOf(std::int8_t{97}), "a");
    EXPECT_EQ(textOf(std::int8_t{65}), "A");
    EXPECT_EQ(textOf(std::uint8_t{255}), "\xFF"sv);
    EXPECT_EQ(textOf(std::int8_t{0}), std::string(1, '\0'));
    EXPECT_EQ(textOf(true), "true");
    EXPECT_EQ(textOf(false), "false");
}

TEST(TextFormOfNumbers, FloatingTextsAlwaysReadAsFloating)
{
    const std::pair<double, const char*> doubles[] = {
        {2.5, "2.5"},          {3.0, "3.0"},    {-2.0, "-2.0"},       {1.0 / 3.0, "0.333333333333333"},
        {1e20, "1e+20"},       {0.0, "0.0"},    {123456789012345.0, "123456789012345.0"},
        {1e15, "1e+15"},       {-1e-7, "-1e-07"},
    };
    for (const auto& [value, text] : doubles) {
        EXPECT_EQ(textOf(value), text);
    }
    const std::pair<float, const char*> floats[] = {
        {0.1f, "0.1"}, {1e10f, "1e+10"}, {1234567.0f, "1.23457e+06"}, {100000.0f, "100000.0"}, {7.0f, "7.0"},
    };
    for (const auto& [value, text] : floats) {
        EXPECT_EQ(textOf(value), text);
    }
    EXPECT_EQ(textOf(std::numeric_limits<double>::infinity()), "inf.0");
    EXPECT_EQ(textOf(-std::numeric_limits<float>::infinity()), "-inf.0");
    const std::string nan = textOf(std::numeric_limits<double>::quiet_NaN());
    EXPECT_TRUE(nan == "nan.0" || nan == "-nan.0") << nan;
}

TEST(TextFormParsing, ReadsWhatStrtodReadsAndCastsFromDouble)
{
    EXPECT_EQ(parseOk<std::int32_t>("12abc"), 12);
    EXPECT_EQ(parseOk<std::int32_t>("  7"), 7);
    EXPECT_EQ(parseOk<std::int32_t>("0x10"), 16);
    EXPECT_EQ(parseOk<std::int32_t>("1e3"), 1000);
    EXPECT_EQ(parseOk<std::int32_t>("3.9"), 3);
    EXPECT_EQ(parseOk<std::int32_t>("1e400"), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(parseOk<double>("1e400"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(parseOk<float>("3.5 V"), 3.5f);
    EXPECT_EQ(parseOk<std::uint32_t>("-1"), 0xFFFFFFFFu);
    EXPECT_EQ(parseOk<std::uint8_t>("300"), 44);
    EXPECT_EQ(parseOk<std::int8_t>("nan"), 0);
    EXPECT_EQ(parseOk<std::int64_t>("9007199254740993"), 9007199254740992);
    EXPECT_EQ(parseOk<std::int32_t>(std::string_view("12\0" "34", 5)), 12);  // a NUL ends the text
    EXPECT_FALSE(parses<std::int32_t>("abc"));
    EXPECT_FALSE(parses<std::int32_t>(""));
    EXPECT_FALSE(parses<double>(" "));
    EXPECT_FALSE(parses<std::uint64_t>("-"));
}

TEST(TextFormParsing, TextToBoolIsTrueForExactlyTrueOrANonZeroNumber)
{
    for (const std::string_view text : {"true"sv, "1"sv, "2"sv, "-1"sv, "0.5"sv, "nan"sv, "inf"sv, " 3x"sv}) {
        EXPECT_TRUE(parseOk<bool>(text)) << text;
    }
    for (const std::string_view text :
         {"True"sv, "TRUE"sv, "true "sv, "false"sv, ""sv, "no"sv, "0"sv, "0.0"sv, "-0"sv, "x1"sv}) {
        EXPECT_FALSE(parseOk<bool>(text)) << text;  // and never a failure
    }
}

TEST(TextFormParsing, AnArrayFailsAtItsFirstTextWithoutANumber)
{
    const ZString in[3] = {ZString("1"), ZString("x"), ZString("3")};
    std::int32_t out[3] = {};
    EXPECT_FALSE((convertElements<ZString, std::int32_t>(in, out, 3, ConversionMode::CastOrParse)));
    EXPECT_EQ(out[0], 1);
    EXPECT_EQ(out[2], 0);
    // Cast alone does not parse.
    EXPECT_FALSE((convertElements<ZString, std::int32_t>(in, out, 1, ConversionMode::Cast)));
}

TEST(TextFormRoundTrip, EightBitIntegersDoNotComeBackThroughText)
{
    EXPECT_EQ(parseOk<std::int16_t>(textOf(std::int16_t{-300})), -300);
    EXPECT_EQ(parseOk<double>(textOf(0.1)), 0.1);
    bool ok = true;
    (void)parse<std::int8_t>(textOf(std::int8_t{65}), ok);  // "A" holds no number
    EXPECT_FALSE(ok);
    EXPECT_EQ(parseOk<std::int8_t>(textOf(std::int8_t{'7'})), 7);  // the character '7' reads as 7, not 55
}

}  // namespace
