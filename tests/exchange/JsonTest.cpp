// JSON: trees both ways with the arrays rule, the exact text written, and
// the refusals with their line and column.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "LumCore/Json.hpp"
#include "support/ThrownText.hpp"

namespace {

using namespace Marlowen::Lum;
using LumTest::thrownText;

std::string roundTrip(const std::string& text) { return writeJson(readJsonTree(text)); }

TEST(Json, WritesTreesCompactOrIndented)
{
    const double grid[] = {1, 2, 3, 4, 5, 6};
    ZVariant columns(grid, 6, {2, 3});
    columns.reorderData(DataOrdering::ColumnMajor);  // nested row by row all the same
    const ZString texts[] = {ZString("a\"b\\c\n"), ZString("\x01\xc3\xa9")};
    const PropertyNode tree(PropertyMap{{"n", PropertyNode()},
                                        {"v", ZVariant()},
                                        {"i", std::int64_t{-5}},
                                        {"u", std::uint64_t{18446744073709551615u}},
                                        {"d", 2.0},
                                        {"f", 0.1f},
                                        {"b", true},
                                        {"grid", columns},
                                        {"texts", ZVariant(texts, 2)},
                                        {"list", PropertyList{PropertyMap{}, PropertyList{}}}});
    const std::string compact = writeJson(tree);
    EXPECT_EQ(compact,
              "{\"n\":null,\"v\":null,\"i\":-5,\"u\":18446744073709551615,\"d\":2.0,\"f\":0.1,\"b\":true,"
              "\"grid\":[[1.0,2.0,3.0],[4.0,5.0,6.0]],\"texts\":[\"a\\\"b\\\\c\\n\",\"\\u0001\xc3\xa9\"],"
              "\"list\":[{},[]]}");
    EXPECT_EQ(writeJson(FPropertyNode(tree)), compact);
    EXPECT_EQ(writeJson(PropertyNode(PropertyMap{{"a", PropertyList{1, 2}}, {"g", ZVariant(grid, 2)}}), {true}),
              "{\n  \"a\": [\n    1,\n    2\n  ],\n  \"g\": [1.0, 2.0]\n}");
}

// Objects keep their order and their first key; integers stay int64 (uint64
// above), other numbers double; rectangular arrays of one kind become
// arrays, anything else a list.
TEST(Json, ReadsTreesByTheArraysRule)
{
    const FPropertyNode tree = readJsonTree(R"( {"z": 1, "a": [[1, 2], [3, 4]], "z": 2,
        "mixed": [[1, 2.5], [3, 4]], "texts": ["x", "y"], "flags": [[true], [false]],
        "ragged": [[1, 2], [3]], "kinds": [1, "x"], "empty": [], "holes": [1, null],
        "big": 18446744073709551615, "huge": -1e400, "escaped": "\u00e9\ud83d\ude00\/" } )");
    EXPECT_EQ(tree.map().begin()->first, InternedString("z"));
    EXPECT_EQ(tree.map().at("z").value().as<int>(), 1);
    const ZVariant& ints = tree.map().at("a").value();
    EXPECT_TRUE(ints.holds<std::int64_t>());
    EXPECT_TRUE(sameExtents(ints.dimensions(), {2, 2}));
    EXPECT_TRUE(tree.map().at("mixed").value().holds<double>());
    EXPECT_TRUE(tree.map().at("texts").value().holds<ZString>());
    EXPECT_TRUE(sameExtents(tree.map().at("flags").value().dimensions(), {2, 1}));
    const FPropertyList& ragged = tree.map().at("ragged").list();
    EXPECT_TRUE(sameExtents(ragged[1].value().dimensions(), {1}));
    EXPECT_TRUE(tree.at({"kinds", 0}).value().holds<std::int64_t>());
    EXPECT_TRUE(tree.at({"kinds", 1}).value().holds<ZString>());
    EXPECT_TRUE(tree.map().at("empty").isList());
    EXPECT_TRUE(tree.at({"holes", 1}).isNull());
    EXPECT_TRUE(tree.map().at("big").value().holds<std::uint64_t>());
    EXPECT_EQ(tree.map().at("huge").value().as<double>(), -std::numeric_limits<double>::infinity());
    EXPECT_EQ(tree.map().at("escaped").value().as<ZString>(), ZString("\xc3\xa9\xf0\x9f\x98\x80/"));
    EXPECT_TRUE(sameExtents(readJsonPropertyNode("[[1, 2], [3]]").list()[1].value().dimensions(), {1}));
    // Every escape, and every control character written back as one.
    const std::string escapes = R"(["\"\\\/\b\f\n\r\t\u0041\u00E9\u20ac\u0007"])";
    EXPECT_EQ(readJsonTree(escapes).value().elementAt<ZString>(0), ZString("\"\\/\b\f\n\r\tA\xc3\xa9\xe2\x82\xac\x07"));
    EXPECT_EQ(roundTrip(escapes), "[\"\\\"\\\\/\\b\\f\\n\\r\\tA\xc3\xa9\xe2\x82\xac\\u0007\"]");
    // What was written reads back as it was.
    const std::string text = R"({"a":[[1,2],[3,4]],"b":{"c":[1.5,-0.0,1e+300]},"s":["q"],"t":[],"n":null})";
    EXPECT_EQ(roundTrip(text), text);
}

TEST(Json, WhatJsonCannotCarryIsRefused)
{
    const auto refused = [](const ZVariant& value) {
        return thrownText<std::invalid_argument>([&] { (void)writeJson(PropertyNode(value)); });
    };
    EXPECT_EQ(refused(ZVariant(std::nan(""))), "JSON has no form of NaN.");
    EXPECT_EQ(refused(ZVariant(-std::numeric_limits<float>::infinity())), "JSON has no form of an infinity.");
    EXPECT_EQ(writeJson(PropertyNode(ZVariant(std::nan(""))), {false, true}), "null");
    EXPECT_EQ(refused(ZVariant(std::complex<double>(1, 2))), "JSON has no form of complexDouble values.");
    EXPECT_EQ(refused(ZVariant(Duration{1, 2})), "JSON has no form of duration values.");
    EXPECT_EQ(refused(ZVariant(PropertyPath{"a"})), "JSON has no form of customType values.");
    EXPECT_EQ(refused(ZVariant(ZString("\xff", 1))), "JSON has no form of text that is not valid UTF-8.");
    const double values[] = {1, 2};
    EXPECT_EQ(refused(ZVariant(values, 2, {1, 2}, static_cast<DataOrdering>(5))),
              "An array stored in an ordering other than row- or column-major has no JSON form.");
}

TEST(Json, MalformedTextIsRefusedWithLineAndColumn)
{
    const auto refusal = [](const char* text) {
        return thrownText<std::invalid_argument>([&] { (void)readJsonTree(text); });
    };
    EXPECT_EQ(refusal("{\"a\": 1,\n  \"b\" 2}"), "JSON at line 2, column 7: a missing ':' after a key");
    EXPECT_EQ(refusal("[1, 2"), "JSON at line 1, column 6: a missing ',' or ']' in an array");
    EXPECT_EQ(refusal("{1: 2}"), "JSON at line 1, column 2: a key that is not a string");
    EXPECT_EQ(refusal("[01]"), "JSON at line 1, column 2: a number with a leading zero");
    EXPECT_EQ(refusal("[1.]"), "JSON at line 1, column 4: a number with no digit after its point");
    EXPECT_EQ(refusal("\"\\ud800\""), "JSON at line 1, column 2: a lone surrogate in a \\u escape");
    EXPECT_EQ(refusal("\"\xc3\x28\""), "JSON at line 1, column 2: a string that is not valid UTF-8");
    EXPECT_EQ(refusal("\"a\tb\""), "JSON at line 1, column 3: a control character in a string");
    EXPECT_EQ(refusal("[1] 2"), "JSON at line 1, column 5: text after the value");
    EXPECT_EQ(refusal("{\"a\": 1 \"b\"}"), "JSON at line 1, column 9: a missing ',' or '}' in an object");
    EXPECT_EQ(refusal("[1e+]"), "JSON at line 1, column 5: a number with no digit in its exponent");
    EXPECT_EQ(refusal("[-]"), "JSON at line 1, column 2: an unexpected character");
    EXPECT_EQ(refusal("\"\\x\""), "JSON at line 1, column 2: an unknown escape");
    EXPECT_EQ(refusal("\"\\u12\""), "JSON at line 1, column 4: a \\u escape of fewer than four hex digits");
    EXPECT_EQ(refusal("\"\\udc00\""), "JSON at line 1, column 2: a lone surrogate in a \\u escape");
    EXPECT_EQ(refusal("\"\\ud800\\u0041\""), "JSON at line 1, column 2: a lone surrogate in a \\u escape");
    EXPECT_EQ(refusal("\"abc"), "JSON at line 1, column 1: a string with no closing quote");
    EXPECT_EQ(refusal("\"a\\"), "JSON at line 1, column 1: a string with no closing quote");
    EXPECT_EQ(refusal("nul"), "JSON at line 1, column 1: an unexpected character");
    EXPECT_EQ(refusal(""), "JSON at line 1, column 1: the text ends where a value was expected");
    EXPECT_EQ(thrownText<std::length_error>([] { (void)readJsonTree(std::string(600, '[')); }),
              "JSON at line 1, column 513: nesting deeper than the limit of 512");
    DecodeLimits few;
    few.maxNewNames = 0;
    EXPECT_EQ(thrownText<std::length_error>([&] { (void)readJsonTree("{\"json#new\": 1}", few); }),
              "JSON at line 1, column 2: more new names than the limit of 0");
}

}  // namespace
