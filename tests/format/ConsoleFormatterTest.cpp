// Console text: every row of the variant text in both value forms, the
// outline of a tree, and what the text leaves on the caller's stream.
#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "LumCore/ConsoleFormatter.hpp"
#include "format/VariantText.hpp"
#include "support/Printed.hpp"

namespace {

using namespace Marlowen::Lum;
using LumTest::printed;

template <class Value>
std::string serialized(const Value& value)
{
    std::ostringstream out;
    ConsoleFormatter::serialize(value, out);
    return out.str();
}

struct Opaque {
    friend bool operator==(const Opaque&, const Opaque&) { return true; }
};

// The text of an array of `count` elements in shape `dims`, through both
// forms (serialize and PrintTo), which must agree.
template <class T>
std::string textOf(const std::vector<T>& elements, std::vector<std::size_t> dims = {})
{
    const ArrayDimensionsView view(dims.data(), dims.size());
    const ZVariant direct(elements.data(), elements.size(), view);
    const ZVariantAbi abi(elements.data(), elements.size(), view);
    const std::string text = serialized(direct);
    EXPECT_EQ(serialized(abi), text);
    EXPECT_EQ(printed(direct), text);
    EXPECT_EQ(printed(abi), text);
    return text;
}
template <class T>
std::string textOf(const T& scalar)
{
    const std::string text = serialized(ZVariant(scalar));
    EXPECT_EQ(serialized(ZVariantAbi(scalar)), text);
    return text;
}

TEST(VariantText, NullAndEmptyValues)
{
    EXPECT_EQ(serialized(ZVariant()), "null");
    EXPECT_EQ(serialized(ZVariantAbi()), "null");
    EXPECT_EQ(textOf(std::vector<double>{}, {0}), "[]");
    EXPECT_EQ(textOf(std::vector<ZString>{}, {2, 0}), "[]");
    EXPECT_EQ(serialized(ZVariant(std::vector<Opaque>{})), "[]");
}

TEST(VariantText, SingleElementsHaveNoBrackets)
{
    EXPECT_EQ(textOf(std::int32_t{5}), "5");
    EXPECT_EQ(textOf(std::vector<std::int32_t>{5}, {1, 1}), "5");
    EXPECT_EQ(textOf(std::vector<std::int32_t>{1, 2}), "[1, 2]");
}

TEST(VariantText, ArraysAreOneFlatListInStorageOrder)
{
    EXPECT_EQ(textOf(std::vector<std::int32_t>{1, 2, 3, 4}, {2, 2}), "[1, 2, 3, 4]");
    const std::int32_t values[] = {1, 2, 3, 4};
    const std::size_t dims[] = {2, 2};
    ZVariant grid(values, 4, ArrayDimensionsView(dims, 2));
    grid.reorderData(DataOrdering::ColumnMajor);
    EXPECT_EQ(serialized(grid), "[1, 3, 2, 4]");
    // No truncation.
    std::vector<std::int32_t> many(1000, 7);
    EXPECT_EQ(textOf(many).size(), 2 + 1000 + 2 * 999);
}

TEST(VariantText, EachRowWritesItsOwnForm)
{
    EXPECT_EQ(textOf(ZString("x")), "'x'");
    EXPECT_EQ(textOf(std::vector<ZString>{ZString("x"), ZString("y")}), "['x', 'y']");
    EXPECT_EQ(textOf(TimePoint{3, 4}), "(s:3, f:4)");
    EXPECT_EQ(textOf(Duration{3, 4}), "(s:3, f:4)");
    EXPECT_EQ(textOf(std::vector<Duration>{{-1, 2}, {5, 6}}), "[(s:-1, f:2), (s:5, f:6)]");
    EXPECT_EQ(textOf(1.5f), "1.5");
    EXPECT_EQ(textOf(1.5), "1.5");
    EXPECT_EQ(textOf(std::vector<std::uint8_t>{65, 66}), "[65, 66]");
    EXPECT_EQ(textOf(std::vector<std::int8_t>{-1, 66}), "[-1, 66]");
    EXPECT_EQ(textOf(std::vector<std::int64_t>{INT64_MIN}), "-9223372036854775808");
    EXPECT_EQ(textOf(std::vector<std::uint64_t>{UINT64_MAX}), "18446744073709551615");
    EXPECT_EQ(textOf(std::vector<std::uint16_t>{1, 2}), "[1, 2]");
    EXPECT_EQ(textOf(Complex<std::int32_t>{1, 2}), "(1,2)");
    EXPECT_EQ(textOf(std::vector<Complex<bool>>{{true, false}, {false, true}}), "[(1,0), (0,1)]");
    EXPECT_EQ(textOf(std::complex<float>(0.5f, -1)), "(0.5,-1)");
    EXPECT_EQ(textOf(std::vector<Complex<std::uint64_t>>{{7, 8}}), "(7,8)");
    EXPECT_EQ(serialized(ZVariant(Opaque())), "ZVariant with custom type data");
    EXPECT_EQ(serialized(ZVariant(std::vector<Opaque>(3))), "[ZVariant with custom type data]");
    EXPECT_EQ(serialized(ZVariant(PropertyPath{"a"})), "ZVariant with custom type data");
}

TEST(VariantText, TheCallersStreamSettingsApplyAndBoolalphaStays)
{
    std::ostringstream out;
    out << std::setprecision(3);
    ConsoleFormatter::serialize(ZVariant(3.14159), out);
    EXPECT_EQ(out.str(), "3.14");

    std::ostringstream flags;
    ConsoleFormatter::serialize(ZVariant(std::vector<std::uint8_t>{1}), flags);  // not bool: flags untouched
    flags << ' ' << true << ' ';
    const bool values[] = {true, false};
    ConsoleFormatter::serialize(ZVariantAbi(values, 2), flags) << ' ' << true;
    EXPECT_EQ(flags.str(), "1 1 [true, false] true");
}

TEST(TreeOutline, NestedMapsIndentAndValuesEndTheirLine)
{
    const PropertyNode tree(PropertyMap{{"a", 1}, {"b", PropertyMap{{"c", 2}, {"d", 3}}}});
    const std::string expected =
        "|---> 'a': 1\n"
        "|---> 'b': \n"
        "|    `--> 'c': 2\n"
        "\n"
        "|    `--> 'd': 3\n";
    EXPECT_EQ(serialized(tree), expected);
    EXPECT_EQ(serialized(FPropertyNode(tree)), expected);

    const PropertyNode deeper(PropertyMap{{"x", PropertyMap{{"y", PropertyMap{{"z", "t"}}}}}});
    EXPECT_EQ(serialized(deeper),
              "|---> 'x': \n"
              "|    `--> 'y': \n"
              "|        `--> 'z': 't'\n");
}

TEST(TreeOutline, ListsWriteNothingOfTheirOwnAndStartAgainAtTheTop)
{
    EXPECT_EQ(serialized(PropertyNode()), "");
    EXPECT_EQ(serialized(FPropertyNode()), "");
    EXPECT_EQ(serialized(PropertyNode(PropertyList{1, 2})), "1\n2\n");
    EXPECT_EQ(serialized(PropertyNode(PropertyMap{{"l", PropertyList{1, PropertyMap{{"k", 2}}}}})),
              "|---> 'l': 1\n"
              "|---> 'k': 2\n");
    // An empty list, map or null under a key ends with the key's "': ".
    EXPECT_EQ(serialized(PropertyNode(PropertyMap{{"e", PropertyList()}, {"m", PropertyMap()}, {"n", PropertyNode()}})),
              "|---> 'e': |---> 'm': |---> 'n': ");
    const double values[] = {1, 2};
    EXPECT_EQ(serialized(PropertyNode(PropertyMap{{"v", ZVariant(values, 2)}})), "|---> 'v': [1, 2]\n");
}

}  // namespace
