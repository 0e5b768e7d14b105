// Paths: segments of two kinds, equality by kind and one word, the text form,
// and paths carried as custom data in a ZVariant.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "LumCore/PropertyPath.hpp"
#include "LumCore/ZVariant.hpp"
#include "support/CountingNew.hpp"
#include "support/Printed.hpp"
#include "support/ThrownText.hpp"

namespace {

using namespace Marlowen::Lum;
using LumTest::printed;
using LumTest::thrownText;

TEST(PropertyPath, EqualityComparesKindsThenOneWord)
{
    EXPECT_EQ(PropertyPath(), PropertyPath());
    EXPECT_EQ((PropertyPath{"a", 0}), (PropertyPath().append("a").append(0)));
    // Built apart from text in different buffers: interning makes them equal.
    const std::string name = "sensor";
    EXPECT_EQ(PropertyPath{std::string_view(name)}, PropertyPath{"sensor"});
    EXPECT_NE((PropertyPath{"a"}), (PropertyPath{"a", 0}));
    EXPECT_NE((PropertyPath{"a", 1}), (PropertyPath{"a", 2}));
    EXPECT_NE(PropertyPath{"a"}, PropertyPath{"b"});

    // A name whose text pointer has the numeric value of an index still
    // differs from it: the kind is compared first.
    const InternedString text("pointer-valued");
    const auto asNumber = reinterpret_cast<std::uintptr_t>(text.data());
    EXPECT_NE(PropertyPath{text}, PropertyPath{static_cast<std::uint64_t>(asNumber)});
}

TEST(PropertyPath, SegmentsReadTheirOwnKindAndRefuseTheOther)
{
    const PropertyPath path{"a", 7};
    ASSERT_EQ(path.size(), 2u);
    EXPECT_TRUE(path[0].isName());
    EXPECT_FALSE(path[0].isIndex());
    EXPECT_EQ(std::string_view(path[0].name()), "a");
    EXPECT_EQ(path[1].index(), 7u);
    EXPECT_EQ(thrownText<std::out_of_range>([&] { (void)path[1].name(); }),
              "Property Path segment is an index, not a name.");
    EXPECT_EQ(thrownText<std::out_of_range>([&] { (void)path[0].index(); }),
              "Property Path segment is a name, not an index.");
}

TEST(PropertyPath, PrintsSegmentsBetweenBraces)
{
    EXPECT_EQ(printed(PropertyPath()), "{}");
    EXPECT_EQ(printed(PropertyPath{"a", 0}), "{a, 0}");
    EXPECT_EQ(printed(PropertyPath{"x", "", 18446744073709551615u}), "{x, , 18446744073709551615}");
    EXPECT_EQ(printed(PropertyPath{std::string_view("n\0l", 3)}), std::string("{n\0l}", 5));
    std::ostringstream viaOperator;
    viaOperator << PropertyPath{"q"};
    EXPECT_EQ(viaOperator.str(), "{q}");
}

TEST(PropertyPath, CopyIsOneAllocationOfTheSegments)
{
    const PropertyPath path{"a", 1, "b", 2};
    const LumTest::AllocationCounter counter;
    const PropertyPath copy = path;
    EXPECT_EQ(counter.count(), 1u);
    EXPECT_EQ(copy, path);
    PropertyPath moved = PropertyPath(copy);
    PropertyPath target = std::move(moved);
    EXPECT_TRUE(moved.empty());  // NOLINT(bugprone-use-after-move): a moved-from path is empty
    EXPECT_EQ(target, path);
}

TEST(PropertyPath, RidesInAZVariantAsCustomData)
{
    const ZVariant scalar(PropertyPath{"a", 3});
    EXPECT_EQ(scalar.wellKnownDataType(), WellKnownType(Internal::WellKnownTypeValue::customType));
    EXPECT_TRUE(scalar.isScalarStorage());
    EXPECT_TRUE(scalar.holds<PropertyPath>());
    EXPECT_EQ(scalar.as<PropertyPath>(), (PropertyPath{"a", 3}));
    EXPECT_TRUE(scalar.isIdenticalTo(ZVariant(PropertyPath{"a", 3})));
    EXPECT_FALSE(scalar.isIdenticalTo(ZVariant(PropertyPath{"a", 4})));

    std::vector<PropertyPath> paths{PropertyPath{"x"}, PropertyPath{1}, PropertyPath()};
    const std::size_t dims[] = {3};
    const ZVariant array(std::move(paths), ArrayDimensionsView(dims, 1));
    EXPECT_FALSE(array.isScalarStorage());
    EXPECT_EQ(array.elementAt<PropertyPath>(1), PropertyPath{1});
    // Asking for its own code shares the storage.
    EXPECT_EQ(array.convertTo(WellKnownType(Internal::WellKnownTypeValue::customType)).constStoredData(),
              array.constStoredData());

    // Conversions to other types: only the empty path, the default, converts.
    double value = 5;
    EXPECT_TRUE(ZVariant(PropertyPath()).tryGet(value, ConversionMode::Lossless));
    EXPECT_EQ(value, 0.0);
    EXPECT_FALSE(scalar.tryGet(value, ConversionMode::Lossless));
    EXPECT_FALSE(scalar.tryGet(value, ConversionMode::Cast));
}

}  // namespace
