// Editing trees, lookups that report absence, equality within and across the
// two forms, the walk with paths, merge patches and the stream operators.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "LumCore/FPropertyTree.hpp"
#include "LumCore/Json.hpp"
#include "LumCore/MergePatch.hpp"
#include "LumCore/PropertyTreeWalk.hpp"
#include "LumCore/ZVariantAbi.hpp"
#include "support/ThrownText.hpp"

namespace {

using namespace Marlowen::Lum;
using LumTest::thrownText;

template <class T>
std::string streamed(const T& value)
{
    std::ostringstream out;
    out << value;
    return out.str();
}

TEST(PropertyTreeEditing, MapsAndListsAreEditedInPlaceKeepingOrder)
{
    PropertyNode root;
    root["site"] = "lab 2";                       // a null node becomes a map
    root["rate"] = 50;
    root["sensors"] = PropertyList{1, 2, 3};
    PropertyMap& map = root.map();
    EXPECT_TRUE(map["spare"].isNull());           // a new key gets a null node, at the end
    EXPECT_FALSE(map.insert_or_assign("site", "lab 3").second);
    EXPECT_TRUE(map.insert_or_assign("owner", "ana").second);
    EXPECT_TRUE(map.erase("rate"));
    EXPECT_FALSE(map.erase("rate"));
    EXPECT_TRUE(map.contains("owner") && !map.contains("rate"));
    root.map().at("sensors").list().erase(std::size_t{0});
    EXPECT_EQ(streamed(root), "{{'site', 'lab 3'}, {'sensors', {2, 3}}, {'spare', <NULL>}, {'owner', 'ana'}}");
    EXPECT_EQ(root["sensors"][1].value().as<int>(), 3);
    EXPECT_EQ(thrownText<std::out_of_range>([&] { root.map().at("sensors").list().erase(std::size_t{2}); }),
              "PropertyList index 2 is past the end (size 2)");
    EXPECT_EQ(thrownText<std::out_of_range>([&] { (void)root["site"]["x"]; }), "PropertyNode is not a map");
}

// Absence in any form (key, position, kind, a value with more path after it)
// is a null result and the fallback, in both tree forms.
template <class Tree>
void looksUpWithoutThrowing(const Tree& tree, const char* notAValue)
{
    EXPECT_EQ(tree.find({"sensors", 0, "rate"})->value().template as<double>(), 50.0);
    for (const PropertyPath& nowhere : {PropertyPath{"absent"}, PropertyPath{"sensors", 2}, PropertyPath{"sensors", "x"},
                                        PropertyPath{0}, PropertyPath{"sensors", 0, "rate", "x"}}) {
        EXPECT_EQ(tree.find(nowhere), nullptr) << nowhere;
        EXPECT_EQ(tree.valueOr(nowhere, 7.5), 7.5);
    }
    EXPECT_EQ(tree.valueOr({"spare"}, 1), 1);      // a null node takes the fallback too
    EXPECT_EQ(tree.valueOr({"sensors", 0, "rate"}, 0.0), 50.0);
    EXPECT_EQ(tree.valueOr({"unit"}, "Hz"), ZString("Hz"));
    EXPECT_EQ(thrownText<std::out_of_range>([&] { (void)tree.valueOr({"sensors"}, 0.0); }), notAValue);
}

TEST(PropertyTreeEditing, PathLookupsReportAbsenceInBothForms)
{
    const PropertyNode tree(PropertyMap{{"sensors", PropertyList{PropertyMap{{"rate", 50.0}}}}, {"spare", PropertyNode()}});
    looksUpWithoutThrowing(tree, "PropertyNode is not a value");
    looksUpWithoutThrowing(FPropertyNode(tree), "FPropertyNode is not a value");
}

TEST(PropertyTreeEditing, EqualityComparesKindsKeysInOrderAndIdenticalValues)
{
    const PropertyNode tree(PropertyMap{{"a", 1}, {"b", PropertyList{2.5, PropertyNode()}}});
    const FPropertyNode frozen(tree);
    EXPECT_TRUE(tree == PropertyNode(tree) && tree == frozen && frozen == tree && frozen == FPropertyNode(tree));
    EXPECT_TRUE(tree.map() == PropertyNode(tree).map() && frozen.map().at("b").list() == FPropertyNode(tree).map().at("b").list());
    const std::vector<PropertyNode> others{
        PropertyNode(PropertyMap{{"b", PropertyList{2.5, PropertyNode()}}, {"a", 1}}),   // order
        PropertyNode(PropertyMap{{"a", std::int64_t{1}}, {"b", PropertyList{2.5, PropertyNode()}}}),  // type
        PropertyNode(PropertyMap{{"a", 1}, {"b", PropertyList{2.5}}}),                  // length
        PropertyNode(PropertyMap{{"a", 1}, {"b", PropertyList{2.5, PropertyMap()}}}),   // null vs empty map
        PropertyNode(PropertyMap{{"a", 1}, {"c", PropertyList{2.5, PropertyNode()}}}),  // key
    };
    for (const PropertyNode& other : others) {
        EXPECT_TRUE(tree != other && frozen != other && FPropertyNode(other) != frozen) << other;
    }
    EXPECT_TRUE(PropertyNode() == FPropertyNode() && PropertyNode() != PropertyNode(PropertyList()));
}

TEST(PropertyTreeEditing, TheWalkVisitsParentsFirstWithTheirPaths)
{
    const PropertyNode tree(PropertyMap{{"a", PropertyList{1, PropertyMap{{"b", 2}}}}, {"c", PropertyNode()}});
    for (const bool frozen : {false, true}) {
        std::string visits;
        const auto visit = [&](const PropertyPath& path, const auto& node) {
            visits += streamed(path) + (node.isValue() ? "=" + streamed(node) : "") + " ";
        };
        if (frozen) {
            forEachNode(FPropertyNode(tree), visit);
        } else {
            forEachNode(tree, visit);
        }
        EXPECT_EQ(visits, "{} {a} {a, 0}=1 {a, 1} {a, 1, b}=2 {c} ");
    }
}

// The examples of RFC 7396, appendix A.
TEST(PropertyTreeEditing, MergePatchFollowsJsonMergePatch)
{
    const std::vector<std::vector<const char*>> cases{
        {R"({"a":"b"})", R"({"a":"c"})", R"({"a":"c"})"},
        {R"({"a":"b"})", R"({"b":"c"})", R"({"a":"b","b":"c"})"},
        {R"({"a":"b"})", R"({"a":null})", R"({})"},
        {R"({"a":"b","b":"c"})", R"({"a":null})", R"({"b":"c"})"},
        {R"({"a":["b"]})", R"({"a":"c"})", R"({"a":"c"})"},
        {R"({"a":"c"})", R"({"a":["b"]})", R"({"a":["b"]})"},
        {R"({"a":{"b":"c"}})", R"({"a":{"b":"d","c":null}})", R"({"a":{"b":"d"}})"},
        {R"({"a":[{"b":"c"}]})", R"({"a":[1]})", R"({"a":[1]})"},
        {R"(["a","b"])", R"(["c","d"])", R"(["c","d"])"},
        {R"({"a":"b"})", R"(["c"])", R"(["c"])"},
        {R"({"a":"foo"})", R"(null)", R"(null)"},
        {R"({"a":"foo"})", R"("bar")", R"("bar")"},
        {R"({"e":null})", R"({"a":1})", R"({"e":null,"a":1})"},
        {R"([1,2])", R"({"a":"b","c":null})", R"({"a":"b"})"},
        {R"({})", R"({"a":{"bb":{"ccc":null}}})", R"({"a":{"bb":{}}})"},
    };
    for (const auto& c : cases) {
        PropertyNode target = readJsonPropertyNode(c[0]);
        mergePatch(target, readJsonPropertyNode(c[1]));
        EXPECT_EQ(writeJson(target), c[2]) << c[0] << " + " << c[1];
    }
    // A patch taken from the target itself.
    PropertyNode target = readJsonPropertyNode(R"({"a":{"a":{"b":1}}})");
    mergePatch(target, target.map().at("a"));
    EXPECT_EQ(writeJson(target), R"({"a":{"a":{"b":1},"b":1}})");
}

TEST(PropertyTreeEditing, StreamsWriteTheOneLineText)
{
    const double pair[] = {1.5, 2};
    const PropertyNode tree(PropertyMap{{"x", ZVariant(pair, 2)}});
    EXPECT_EQ(streamed(ZVariant(pair, 2)), "[1.5, 2]");
    EXPECT_EQ(streamed(ZVariantAbi(pair, 2)), "[1.5, 2]");
    EXPECT_EQ(streamed(tree) + streamed(tree.map()), "{{'x', [1.5, 2]}}{{'x', [1.5, 2]}}");
    const FPropertyNode frozen(tree);
    EXPECT_EQ(streamed(frozen) + streamed(frozen.map()) + streamed(FPropertyList()), "{{'x', [1.5, 2]}}{{'x', [1.5, 2]}}{}");
}

}  // namespace
