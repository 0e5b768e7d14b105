// Codecs: an application's class and PropertyPath through encode and decode,
// as scalars and arrays; registration conflicts; every failure's words.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <typeinfo>
#include <vector>

#include "LumCore/CustomTypeCodec.hpp"
#include "LumCore/FPropertyTree.hpp"
#include "support/Printed.hpp"
#include "support/ThrownText.hpp"

namespace {

using namespace Marlowen::Lum;
using LumTest::printed;
using LumTest::thrownText;

struct Point {
    int x = 0;
    int y = 0;
    friend bool operator==(const Point& a, const Point& b) { return a.x == b.x && a.y == b.y; }
};
struct Unregistered {
    friend bool operator==(const Unregistered&, const Unregistered&) { return true; }
};

CustomTypeCodec pointCodec(const char* name = "Point")
{
    return makeCustomTypeCodec<Point>(
        ZString(name),
        [](const Point& p) {
            return PropertyMap{{"x", p.x}, {"y", p.y}};
        },
        [](const PropertyMap& m) {
            return Point{m.at("x").value().as<int>(), m.at("y").value().as<int>()};
        });
}

// Registers the Point codec for the life of a test.
class CustomTypeCodecTest : public ::testing::Test {
protected:
    void SetUp() override { registerCustomTypeCodec(pointCodec()); }
    void TearDown() override { EXPECT_TRUE(unregisterCustomTypeCodec(typeid(Point))); }
};

TEST_F(CustomTypeCodecTest, ScalarEncodesToAMapAndComesBackAScalar)
{
    const EncodedCustomTypeValues encoded = encodeCustomType(ZVariant(Point{1, 2}));
    EXPECT_EQ(encoded.typeName, ZString("Point"));
    EXPECT_EQ(printed(encoded.values), "{{'x', 1}, {'y', 2}}");

    const ZVariant decoded = decodeCustomType(encoded);
    EXPECT_TRUE(decoded.holds<Point>());
    EXPECT_TRUE(decoded.isScalarStorage());
    EXPECT_FALSE(decoded.storage().isInPlace());  // a custom scalar lives on the heap
    EXPECT_EQ(decoded.as<Point>(), (Point{1, 2}));
}

TEST_F(CustomTypeCodecTest, ArraysOfAnyShapeComeBackFlat)
{
    std::vector<Point> points{{1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}, {6, 6}};
    const std::size_t dims[] = {2, 3};
    const ZVariant grid(std::move(points), ArrayDimensionsView(dims, 2), DataOrdering::ColumnMajor);
    const EncodedCustomTypeValues encoded = encodeCustomType(grid);
    ASSERT_TRUE(encoded.values.isList());
    EXPECT_EQ(encoded.values.list().size(), 6u);
    EXPECT_EQ(encoded.values.list()[5].map().at("y").value().as<int>(), 6);  // storage order

    const ZVariant decoded = decodeCustomType(encoded);
    ASSERT_EQ(decoded.dimensions().size(), 1u);
    EXPECT_EQ(decoded.dimensions()[0], 6u);
    EXPECT_EQ(decoded.dataOrdering(), DataOrdering::RowMajor);
    EXPECT_EQ(decoded.elementAt<Point>(4), (Point{5, 5}));

    // One element in an array is still an array.
    const ZVariant single(std::vector<Point>{{9, 9}});
    const EncodedCustomTypeValues one = encodeCustomType(single);
    ASSERT_TRUE(one.values.isList());
    EXPECT_EQ(one.values.list().size(), 1u);
    const ZVariant back = decodeCustomType(one);
    EXPECT_FALSE(back.isScalarStorage());
    EXPECT_EQ(back.elementAt<Point>(0), (Point{9, 9}));

    // An empty list decodes to an empty array.
    const ZVariant empty = decodeCustomType({ZString("Point"), PropertyNode(PropertyList())});
    EXPECT_TRUE(ZVariant::isEmpty(empty.dimensions()));
    EXPECT_EQ(empty.wellKnownDataType(), WellKnownType(Internal::WellKnownTypeValue::customType));
}

TEST_F(CustomTypeCodecTest, ConflictsAreRefusedAndLeaveTheTableAsItWas)
{
    const char* conflict = "The proposed addition conflicts with a previously registered codec.";
    EXPECT_EQ(thrownText<std::runtime_error>([] { registerCustomTypeCodec(pointCodec("Other")); }), conflict);
    EXPECT_EQ(thrownText<std::runtime_error>([] {
                  registerCustomTypeCodec(makeCustomTypeCodec<Unregistered>(
                      ZString("Point"), [](const Unregistered&) { return PropertyMap(); },
                      [](const PropertyMap&) { return Unregistered(); }));
              }),
              conflict);
    EXPECT_EQ(thrownText<std::runtime_error>([] {
                  registerCustomTypeCodec(makeCustomTypeCodec<PropertyPath>(
                      ZString("AnotherName"), [](const PropertyPath&) { return PropertyMap(); },
                      [](const PropertyMap&) { return PropertyPath(); }));
              }),
              conflict);
    // The table still encodes with the first Point codec, by its name.
    EXPECT_EQ(encodeCustomType(ZVariant(Point{})).typeName, ZString("Point"));
    EXPECT_FALSE(unregisterCustomTypeCodec(typeid(Unregistered)));
}

TEST_F(CustomTypeCodecTest, DecodingRefusesWhatIsNotAMap)
{
    const char* notAMap = "PropertyNode is not a map";
    EXPECT_EQ(thrownText<std::out_of_range>([] {
                  (void)decodeCustomType({ZString("Point"), PropertyNode()});
              }),
              notAMap);
    EXPECT_EQ(thrownText<std::out_of_range>([] {
                  (void)decodeCustomType({ZString("Point"), PropertyNode(1)});
              }),
              notAMap);
    EXPECT_EQ(
        thrownText<std::out_of_range>([] {
            (void)decodeCustomType({ZString("Point"), PropertyNode(PropertyList{PropertyMap{{"x", 1}, {"y", 2}}, 1})});
        }),
        notAMap);
    // The codec's own failure passes through.
    EXPECT_EQ(thrownText<std::out_of_range>([] {
                  (void)decodeCustomType({ZString("Point"), PropertyNode(PropertyMap{{"x", 1}})});
              }),
              "Key not found: y");
}

// The platform's name, then the readable one; the null variant and a
// malformed codec are refused up front instead of crashing.
TEST(CustomTypeCodec, MisuseGetsAClearErrorNamingTheClass)
{
    EXPECT_EQ(thrownText<std::runtime_error>([] { (void)encodeCustomType(ZVariant(Unregistered())); }),
              std::string("No codec found to encode type ") + typeid(Unregistered).name() +
                  " ((anonymous namespace)::Unregistered)");
    EXPECT_EQ(thrownText<std::runtime_error>([] { (void)encodeCustomType(ZVariant(2.5)); }),
              "No codec found to encode type d (double)");
    EXPECT_EQ(thrownText<std::runtime_error>([] {
                  (void)decodeCustomType({ZString("Nobody"), PropertyNode()});
              }),
              "No codec found to decode type Nobody");
    EXPECT_EQ(thrownText<std::invalid_argument>([] { (void)encodeCustomType(ZVariant()); }),
              "Cannot encode the null variant: it holds no value of any class.");

    const auto refused = [](CustomTypeCodec codec) {
        return thrownText<std::invalid_argument>([&] { registerCustomTypeCodec(std::move(codec)); });
    };
    CustomTypeCodec complete = makeCustomTypeCodec<Unregistered>(
        ZString("Unregistered"), [](const Unregistered&) { return PropertyMap(); },
        [](const PropertyMap&) { return Unregistered(); });
    CustomTypeCodec noType = complete;
    noType.type = nullptr;
    CustomTypeCodec noName = complete;
    noName.name = ZString();
    CustomTypeCodec noDecode = complete;
    noDecode.decode = nullptr;
    EXPECT_EQ(refused(noType), "A codec needs a type and a non-empty name.");
    EXPECT_EQ(refused(noName), "A codec needs a type and a non-empty name.");
    EXPECT_EQ(refused(noDecode), "A codec needs both an encode and a decode function.");
    EXPECT_FALSE(unregisterCustomTypeCodec(typeid(Unregistered)));
}

// A codec that calls the registry from inside gets an error, not a deadlock;
// the registry works afterwards.
TEST(CustomTypeCodec, ACodecCallingTheRegistryIsRefused)
{
    struct Outer {
        bool operator==(const Outer&) const { return true; }
    };
    registerCustomTypeCodec(makeCustomTypeCodec<Outer>(
        ZString("Outer"),
        [](const Outer&) {
            PropertyMap map;
            map.insert(InternedString("inner"), PropertyNode(ZVariant(PropertyPath{"a"})));
            (void)encodeCustomType(ZVariant(PropertyPath{"a"}));
            return map;
        },
        [](const PropertyMap&) { return Outer(); }));
    EXPECT_EQ(thrownText<std::runtime_error>([] { (void)encodeCustomType(ZVariant(Outer())); }),
              "A codec must not call the codec registry from its own encode or decode.");
    EXPECT_TRUE(unregisterCustomTypeCodec(typeid(Outer)));
    EXPECT_EQ(encodeCustomType(ZVariant(PropertyPath{"a"})).typeName, ZString("PropertyPath"));
}

TEST(CustomTypeCodec, PathsEncodeToTheirSegments)
{
    const PropertyPath path{"a", 3};
    const EncodedCustomTypeValues encoded = encodeCustomType(ZVariant(path));
    EXPECT_EQ(encoded.typeName, ZString("PropertyPath"));
    ASSERT_EQ(encoded.values.map().size(), 1u);
    const PropertyList& segments = encoded.values.map().at("path").list();
    ASSERT_EQ(segments.size(), 2u);
    EXPECT_TRUE(segments[0].value().holds<ZString>());
    EXPECT_TRUE(segments[1].value().holds<std::uint64_t>());
    EXPECT_EQ(printed(encoded.values), "{{'path', {'a', 3}}}");
    EXPECT_EQ(decodeCustomType(encoded).as<PropertyPath>(), path);

    const EncodedCustomTypeValues empty = encodeCustomType(ZVariant(PropertyPath()));
    EXPECT_EQ(printed(empty.values), "{{'path', {}}}");
    EXPECT_EQ(decodeCustomType(empty).as<PropertyPath>(), PropertyPath());

    std::vector<PropertyPath> six(6, PropertyPath{"p"});
    const std::size_t dims[] = {2, 3};
    const EncodedCustomTypeValues array = encodeCustomType(ZVariant(std::move(six), ArrayDimensionsView(dims, 2)));
    EXPECT_EQ(array.values.list().size(), 6u);
    EXPECT_EQ(elementCount(decodeCustomType(array).dimensions()), 6u);
}

TEST(CustomTypeCodec, PathDecodingReadsAnyIndexTypeAndNamesItsFailures)
{
    // An index in another numeric type, or a one-element array; extra keys ignored.
    const std::int16_t one[] = {4};
    const PropertyMap lenient{{"other", 1}, {"path", PropertyList{"n", std::int8_t{2}, ZVariant(one, 1)}}};
    EXPECT_EQ(decodeCustomType({ZString("PropertyPath"), PropertyNode(lenient)}).as<PropertyPath>(),
              (PropertyPath{"n", 2, 4}));

    const auto decodeFailure = [](PropertyNode values) {
        return thrownText<std::exception>([&] {
            (void)decodeCustomType({ZString("PropertyPath"), std::move(values)});
        });
    };
    EXPECT_EQ(decodeFailure(PropertyNode(PropertyMap{{"paths", PropertyList()}})), "Key not found: path");
    EXPECT_EQ(decodeFailure(PropertyNode(PropertyMap{{"path", 1}})), "PropertyNode is not a list");
    EXPECT_EQ(decodeFailure(PropertyNode(PropertyMap{{"path", PropertyList{PropertyNode(PropertyList())}}})),
              "PropertyNode is not a value");
    const double two[] = {1, 2};
    EXPECT_EQ(decodeFailure(PropertyNode(PropertyMap{{"path", PropertyList{ZVariant(two, 2)}}})),
              "Cannot convert Marlowen::Lum::ZVariant of type 'double' (size: 2) to 'uint64_t'");
    const ZString names[] = {ZString("a"), ZString("b")};
    EXPECT_EQ(decodeFailure(PropertyNode(PropertyMap{{"path", PropertyList{ZVariant(names, 2)}}})),
              "Cannot convert Marlowen::Lum::ZVariant of type 'Marlowen::Lum::ZString' (size: 2) to "
              "'Marlowen::Lum::ZString'");
}

TEST(CustomTypeCodec, ThePathCodecCanBeRemovedLikeAnyOther)
{
    ASSERT_TRUE(unregisterCustomTypeCodec(typeid(PropertyPath)));
    EXPECT_EQ(thrownText<std::runtime_error>([] { (void)encodeCustomType(ZVariant(PropertyPath{"a"})); }),
              std::string("No codec found to encode type ") + typeid(PropertyPath).name() +
                  " (Marlowen::Lum::PropertyPath)");
    EXPECT_FALSE(unregisterCustomTypeCodec(typeid(PropertyPath)));
    // Put back for the other tests, by the public route.
    registerCustomTypeCodec(makeCustomTypeCodec<PropertyPath>(
        ZString("PropertyPath"),
        [](const PropertyPath& p) {
            PropertyList segments;
            for (const PropertyPathSegment& s : p) {
                segments.push_back(s.isName() ? PropertyNode(ZString(s.name().view())) : PropertyNode(s.index()));
            }
            return PropertyMap{{"path", std::move(segments)}};
        },
        [](const PropertyMap& m) {
            PropertyPath p;
            for (const PropertyNode& s : m.at("path").list()) {
                if (s.value().holds<ZString>()) {
                    p.append(std::string_view(s.value().as<ZString>()));
                } else {
                    p.append(s.value().as<std::uint64_t>());
                }
            }
            return p;
        }));
    EXPECT_EQ(decodeCustomType(encodeCustomType(ZVariant(PropertyPath{"b", 1}))).as<PropertyPath>(),
              (PropertyPath{"b", 1}));
}

}  // namespace
