// The mutable tree: its four kinds, the accessors' words, the first-key-wins
// rule, copy and move, and navigation by path.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "LumCore/PropertyTree.hpp"
#include "support/Printed.hpp"
#include "support/ThrownText.hpp"

namespace {

using namespace Marlowen::Lum;
using LumTest::printed;
using LumTest::thrownText;

static_assert(std::is_nothrow_move_constructible_v<PropertyNode>);

// A value whose elements live on the heap, so that sharing can be seen.
ZVariant heapArray()
{
    const double values[] = {1, 2, 3};
    return ZVariant(values, 3);
}

TEST(PropertyTree, EachKindAnswersOnlyItsOwnAccessor)
{
    const PropertyNode null;
    EXPECT_TRUE(null.isNull());
    EXPECT_EQ(thrownText<std::out_of_range>([&] { (void)null.value(); }), "PropertyNode is not a value");
    EXPECT_EQ(thrownText<std::out_of_range>([&] { (void)null.list(); }), "PropertyNode is not a list");
    EXPECT_EQ(thrownText<std::out_of_range>([&] { (void)null.map(); }), "PropertyNode is not a map");

    const PropertyNode value(std::uint64_t{7});
    EXPECT_TRUE(value.isValue());
    EXPECT_TRUE(value.value().holds<std::uint64_t>());
    EXPECT_EQ(thrownText<std::out_of_range>([&] { (void)value.map(); }), "PropertyNode is not a map");
    const PropertyNode text(ZString("t"));
    EXPECT_EQ(text.value().as<ZString>(), ZString("t"));
    EXPECT_TRUE(PropertyNode("literal").value().holds<ZString>());

    // Empty lists and maps are lists and maps, not null.
    const PropertyNode list{PropertyList()};
    const PropertyNode map{PropertyMap()};
    EXPECT_TRUE(list.isList());
    EXPECT_FALSE(list.isNull());
    EXPECT_TRUE(map.isMap());
    EXPECT_EQ(thrownText<std::out_of_range>([&] { (void)list.value(); }), "PropertyNode is not a value");
    EXPECT_EQ(thrownText<std::out_of_range>([&] { (void)map.list(); }), "PropertyNode is not a list");
}

TEST(PropertyTree, FirstEntryOfAKeyWins)
{
    const PropertyMap map{{"a", 1}, {"b", 2}, {"a", 3}};
    ASSERT_EQ(map.size(), 2u);
    EXPECT_EQ(std::string_view(map.begin()->first), "a");
    EXPECT_EQ(map.at("a").value().as<int>(), 1);
    EXPECT_EQ((map.begin() + 1)->second.value().as<int>(), 2);

    PropertyMap built;
    const auto added = built.insert("k", 10);
    EXPECT_TRUE(added.second);
    const auto again = built.insert("k", 20);
    EXPECT_FALSE(again.second);
    EXPECT_EQ(again.first, added.first);
    EXPECT_EQ(built.at("k").value().as<int>(), 10);

    // From any range of entries, by the same rule.
    const std::vector<PropertyMap::value_type> entries{{"x", 1}, {"x", 2}, {"y", 3}};
    const PropertyMap fromRange(entries.begin(), entries.end());
    EXPECT_EQ(fromRange.size(), 2u);
    EXPECT_EQ(fromRange.at("x").value().as<int>(), 1);
}

TEST(PropertyTree, LookupByAbsentKeyGivesNullOrTheKeyInTheMessage)
{
    PropertyMap map{{"present", 1}};
    EXPECT_EQ(map.find("absent"), nullptr);
    EXPECT_EQ(map.find("present"), &map.at("present"));
    EXPECT_EQ(thrownText<std::out_of_range>([&] { (void)map.at("absent"); }), "Key not found: absent");
    EXPECT_EQ(thrownText<std::out_of_range>([&] { (void)map.at(""); }), "Key not found: ");
}

TEST(PropertyTree, CopyDuplicatesStructureAndSharesHeapValues)
{
    PropertyNode source(PropertyMap{{"array", heapArray()}, {"list", PropertyList{1, 2}}, {"scalar", 4.5}});
    PropertyNode copy = source;

    // Changing the copy's structure leaves the source's as it was.
    copy.map().at("list").list().push_back(PropertyNode(3));
    copy.map().insert("new", PropertyNode());
    EXPECT_EQ(source.map().at("list").list().size(), 2u);
    EXPECT_EQ(source.map().size(), 3u);
    EXPECT_EQ(copy.map().size(), 4u);

    // Heap-held elements are shared until a write separates them.
    const ZVariant& sourceArray = source.map().at("array").value();
    ZVariant& copyArray = copy.map().at("array").value();
    EXPECT_EQ(copyArray.constStoredData(), sourceArray.constStoredData());
    static_cast<double*>(copyArray.mutableStoredData())[0] = 9;
    EXPECT_NE(copyArray.constStoredData(), sourceArray.constStoredData());
    EXPECT_EQ(sourceArray.elementAt<double>(0), 1.0);

    // In-place scalars are copied, not shared.
    EXPECT_NE(copy.map().at("scalar").value().constStoredData(), source.map().at("scalar").value().constStoredData());
    // Order is kept by the copy.
    EXPECT_EQ(printed(copy), "{{'array', [9, 2, 3]}, {'list', {1, 2, 3}}, {'scalar', 4.5}, {'new', <NULL>}}");
}

TEST(PropertyTree, MovedFromNodesKeepTheirKindAndAreEmpty)
{
    PropertyNode list(PropertyList{1, 2, 3});
    const PropertyNode taken = std::move(list);
    EXPECT_TRUE(list.isList());  // NOLINT(bugprone-use-after-move)
    EXPECT_TRUE(list.list().empty());
    EXPECT_EQ(taken.list().size(), 3u);

    PropertyNode map(PropertyMap{{"a", 1}});
    const PropertyNode takenMap(std::move(map));
    EXPECT_TRUE(map.isMap());  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(map.map().size(), 0u);

    // Construction from a list takes its elements.
    PropertyList elements{1, 2};
    const PropertyNode node(std::move(elements));
    EXPECT_TRUE(elements.empty());  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(node.list().size(), 2u);
}

TEST(PropertyTree, PathsNavigateMapsAndLists)
{
    PropertyNode root(PropertyMap{{"sensors", PropertyList{PropertyMap{{"rate", 50.0}}, PropertyMap{{"rate", 60.0}}}},
                                  {"name", "rig"}});
    EXPECT_EQ(root.at(PropertyPath{"sensors", 1, "rate"}).value().as<double>(), 60.0);
    EXPECT_EQ(&root.at(PropertyPath()), &root);
    root.at(PropertyPath{"sensors", 0, "rate"}) = PropertyNode(55.0);
    EXPECT_EQ(root.map().at("sensors").list()[0].map().at("rate").value().as<double>(), 55.0);

    // A segment of the wrong kind fails with the accessor's words.
    EXPECT_EQ(thrownText<std::out_of_range>([&] { (void)root.at(PropertyPath{0}); }), "PropertyNode is not a list");
    EXPECT_EQ(thrownText<std::out_of_range>([&] {
                  (void)root.at(PropertyPath{"sensors", "x"});
              }),
              "PropertyNode is not a map");
    EXPECT_EQ(thrownText<std::out_of_range>([&] {
                  (void)root.at(PropertyPath{"name", "x"});
              }),
              "PropertyNode is not a map");
    EXPECT_EQ(thrownText<std::out_of_range>([&] { (void)root.at(PropertyPath{"nope"}); }), "Key not found: nope");
    EXPECT_EQ(thrownText<std::out_of_range>([&] {
                  (void)root.at(PropertyPath{"sensors", 2});
              }),
              "PropertyList index 2 is past the end (size 2)");
}

}  // namespace
