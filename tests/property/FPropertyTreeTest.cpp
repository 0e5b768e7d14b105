// The frozen tree: conversion from the mutable form, one allocation per
// shared object, copies that allocate nothing, null references that read as
// empty, and the one-line text of all six tree classes.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "LumCore/FPropertyTree.hpp"
#include "LumCore/FPropertyTreeAbi.hpp"
#include "support/CountingNew.hpp"
#include "support/Printed.hpp"
#include "support/ThrownText.hpp"

namespace {

using namespace Marlowen::Lum;
using LumTest::AllocationCounter;
using LumTest::printed;
using LumTest::thrownText;

TEST(FPropertyTree, NullNodesAndReferencesReadAsEmpty)
{
    const AllocationCounter counter;
    const FPropertyNode fromNull{PropertyNode()};
    const FPropertyNode byDefault;
    const FPropertyList list;
    const FPropertyMap map;
    EXPECT_EQ(counter.count(), 0u);

    for (const FPropertyNode* node : {&fromNull, &byDefault}) {
        EXPECT_TRUE(node->isNull());
        EXPECT_EQ(printed(*node), "<NULL>");
        EXPECT_EQ(thrownText<std::out_of_range>([&] { (void)node->value(); }), "FPropertyNode is not a value");
        EXPECT_EQ(thrownText<std::out_of_range>([&] { (void)node->list(); }), "FPropertyNode is not a list");
        EXPECT_EQ(thrownText<std::out_of_range>([&] { (void)node->map(); }), "FPropertyNode is not a map");
    }
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(list.begin(), list.end());
    EXPECT_EQ(printed(list), "{}");
    EXPECT_EQ(map.size(), 0u);
    EXPECT_EQ(map.find("anything"), nullptr);
    EXPECT_EQ(thrownText<std::out_of_range>([&] { (void)map.at("anything"); }), "Key not found: anything");
    EXPECT_EQ(printed(map), "{}");

    // An empty mutable list freezes to a real, empty data object.
    const FPropertyList frozenEmpty{PropertyList()};
    EXPECT_TRUE(frozenEmpty.empty());
    EXPECT_EQ(printed(frozenEmpty), "{}");
    EXPECT_EQ(printed(PropertyNode()), "<NULL>");
    EXPECT_EQ(printed(PropertyList()), "{}");
    EXPECT_EQ(printed(PropertyMap()), "{}");
}

TEST(FPropertyTree, FreezingMakesOneAllocationPerSharedObject)
{
    const auto allocationsToFreeze = [](const PropertyNode& node) {
        const AllocationCounter counter;
        const FPropertyNode frozen(node);
        return counter.count();
    };
    EXPECT_EQ(allocationsToFreeze(PropertyNode()), 0u);
    EXPECT_EQ(allocationsToFreeze(PropertyNode(1.5)), 1u);             // the node, counts included
    EXPECT_EQ(allocationsToFreeze(PropertyNode(PropertyList())), 2u);  // node, list data
    EXPECT_EQ(allocationsToFreeze(PropertyNode(PropertyMap())), 2u);   // node, map data
    // Node, list data, its vector; null elements cost nothing.
    EXPECT_EQ(allocationsToFreeze(PropertyNode(PropertyList{PropertyNode(), PropertyNode(), PropertyNode()})), 3u);
    // Node, map data, its vector, the value's node.
    EXPECT_EQ(allocationsToFreeze(PropertyNode(PropertyMap{{"a", 1}})), 4u);
}

TEST(FPropertyTree, CopiesShareEverythingAndAllocateNothing)
{
    PropertyNode tree(PropertyMap{{"list", PropertyList{1, 2, 3}}, {"map", PropertyMap{{"x", "y"}}}});
    FPropertyNode frozen(tree);
    const AllocationCounter counter;
    FPropertyNode copy = frozen;
    const FPropertyList list = copy.map().at("list").list();
    const FPropertyMap inner = copy.map().at("map").map();
    EXPECT_EQ(counter.count(), 0u);
    EXPECT_EQ(&copy.map().at("list").list()[0].value(), &frozen.map().at("list").list()[0].value());

    // Dropping the first reference leaves the copy intact; a subtree outlives
    // the tree it was taken from.
    frozen = FPropertyNode();
    copy = FPropertyNode();
    EXPECT_EQ(list[2].value().as<int>(), 3);
    EXPECT_EQ(inner.at("x").value().as<ZString>(), ZString("y"));
}

// A module built apart gets a share (one small block, the handle) and gives
// it back: no node, list, map or leaf array is copied on the way.
TEST(FPropertyTree, HandingATreeToAModuleAndBackCopiesNothing)
{
    const std::vector<double> samples(1 << 16, 0.5);
    const FPropertyNode tree(PropertyMap{{"samples", ZVariant(samples)}, {"rig", PropertyList{1, 2}}});
    const AllocationCounter counter;
    const std::uint64_t bytesBefore = LumTest::allocatedBytes();
    FPropertyNodeAbi module = FPropertyNodeAbi::adopt(tree.flatHandle());
    const auto* data = static_cast<const double*>(module.at("samples").value().constStoredData());
    const FPropertyNode back = FPropertyNode::adoptFlatHandle(module.release());
    EXPECT_EQ(counter.count(), 1u);
    EXPECT_EQ(LumTest::allocatedBytes() - bytesBefore, sizeof(FPropertyNode));
    EXPECT_EQ(data, tree.map().at("samples").value().constStoredData());
    EXPECT_EQ(&back.map(), &tree.map());
}

TEST(FPropertyTree, LeafValuesShareHeapStorageWithTheMutableTree)
{
    const double values[] = {1, 2, 3, 4};
    const PropertyNode tree(PropertyList{ZVariant(values, 4)});
    const FPropertyNode frozen(tree);
    EXPECT_EQ(frozen.list()[0].value().constStoredData(), tree.list()[0].value().constStoredData());
}

TEST(FPropertyTree, MapsKeepOrderAndTheFirstEntryOfAKey)
{
    PropertyMap map;
    map.insert("z", 1);
    map.insert("a", 2);
    const FPropertyMap frozen(map);
    ASSERT_EQ(frozen.size(), 2u);
    EXPECT_EQ(std::string_view(frozen.begin()->first), "z");
    EXPECT_EQ(printed(frozen), "{{'z', 1}, {'a', 2}}");
    EXPECT_EQ(frozen.find("a"), &frozen.at("a"));

    // Map data under construction: an existing key gives its position and false.
    Internal::FPropertyMapData data;
    EXPECT_EQ(data.insert("k", PropertyNode(1)), (std::pair<std::size_t, bool>(0, true)));
    EXPECT_EQ(data.insert("j", PropertyNode(2)), (std::pair<std::size_t, bool>(1, true)));
    EXPECT_EQ(data.insert("k", PropertyNode(3)), (std::pair<std::size_t, bool>(0, false)));
    EXPECT_EQ(data.entries[0].second.value().as<int>(), 1);
}

TEST(FPropertyTree, OneLineFormsOfAllSixClasses)
{
    const PropertyList two{1, 2};
    const PropertyList one{PropertyNode("x")};
    const PropertyMap pair{{"a", 1}, {"b", 2}};
    const PropertyNode nested(
        PropertyMap{{"l", two}, {"m", PropertyMap{{"c", PropertyNode()}}}, {"e", PropertyList()}});

    EXPECT_EQ(printed(two), "{1, 2}");
    EXPECT_EQ(printed(FPropertyList(two)), "{1, 2}");
    EXPECT_EQ(printed(one), "{'x'}");
    EXPECT_EQ(printed(pair), "{{'a', 1}, {'b', 2}}");
    EXPECT_EQ(printed(FPropertyMap(pair)), "{{'a', 1}, {'b', 2}}");
    EXPECT_EQ(printed(PropertyMap{{"a", 1}}), "{{'a', 1}}");
    EXPECT_EQ(printed(nested), "{{'l', {1, 2}}, {'m', {{'c', <NULL>}}}, {'e', {}}}");
    EXPECT_EQ(printed(FPropertyNode(nested)), printed(nested));
    EXPECT_EQ(printed(PropertyNode(2.5)), "2.5");
}

TEST(FPropertyTree, PathsNavigateTheFrozenForm)
{
    const FPropertyNode root(PropertyNode(PropertyMap{{"a", PropertyList{PropertyMap{{"b", 7}}}}}));
    EXPECT_EQ(root.at(PropertyPath{"a", 0, "b"}).value().as<int>(), 7);
    EXPECT_EQ(thrownText<std::out_of_range>([&] {
                  (void)root.at(PropertyPath{"a", "b"});
              }),
              "FPropertyNode is not a map");
    EXPECT_EQ(thrownText<std::out_of_range>([&] {
                  (void)root.at(PropertyPath{"a", 1});
              }),
              "FPropertyList index 1 is past the end (size 1)");
}

}  // namespace
