// Values of an application's own classes in a ZVariant: stored by templates
// compiled here, compared by the class's operator==, converted only from
// default values.
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

#include "LumCore/ZVariant.hpp"
#include "support/CountingNew.hpp"
#include "support/ThrownText.hpp"

namespace {

using namespace Marlowen::Lum;
using LumTest::AllocationCounter;
using LumTest::thrownText;

struct Point {
    int x = 0;
    int y = 0;
    friend bool operator==(const Point& a, const Point& b) { return a.x == b.x && a.y == b.y; }
};

// Counts its copies, so a test can tell adoption from copying.
struct Tracked {
    static inline int s_copies = 0;
    int id = 0;
    Tracked() = default;
    explicit Tracked(int value) : id(value) {}
    Tracked(const Tracked& other) : id(other.id) { ++s_copies; }
    Tracked(Tracked&&) noexcept = default;
    Tracked& operator=(const Tracked& other)
    {
        id = other.id;
        ++s_copies;
        return *this;
    }
    Tracked& operator=(Tracked&&) noexcept = default;
    friend bool operator==(const Tracked& a, const Tracked& b) { return a.id == b.id; }
};

static_assert(std::is_constructible_v<ZVariant, Point>);
static_assert(!std::is_convertible_v<Point, ZVariant>, "custom data is never made by accident");
static_assert(!std::is_constructible_v<ZVariantAbi, Point>, "no custom data through the flat interface");
static_assert(!std::is_constructible_v<ZVariant, std::string>, "text is not custom data");

TEST(CustomElement, ScalarIsOneCountedObjectThatCopiesShare)
{
    const AllocationCounter counter;
    const ZVariant point(Point{3, 4});
    EXPECT_EQ(counter.count(), 1u);
    EXPECT_FALSE(point.storage().isInPlace());
    const ZVariant share = point;
    EXPECT_EQ(counter.count(), 1u);
    EXPECT_EQ(share.constStoredData(), point.constStoredData());

    EXPECT_EQ(point.wellKnownDataType(), WellKnownType(Internal::WellKnownTypeValue::customType));
    EXPECT_TRUE(point.isScalarStorage());
    EXPECT_TRUE(point.holds<Point>());
    EXPECT_FALSE(point.holds<Tracked>());
    EXPECT_FALSE(point.holds<double>());
    EXPECT_FALSE(point.isNull());
    EXPECT_EQ(point.elementAt<Point>(0).y, 4);
    EXPECT_EQ(thrownText<std::out_of_range>([&] { (void)point.elementAt<Point>(1); }), "Indices out of bounds.");
    EXPECT_EQ(thrownText<std::invalid_argument>([&] { (void)point.elementAt<Tracked>(0); }), "Wrong data type.");
    EXPECT_EQ(point.getIf<Tracked>(), nullptr);
    EXPECT_EQ(point.as<Point>().x, 3);

    // Another custom class is refused by identity, not read through.
    Tracked other(7);
    EXPECT_FALSE(point.tryGet(other));
    EXPECT_EQ(other.id, 7);
}

TEST(CustomElement, ComparisonUsesTheClassEquality)
{
    const ZVariant a(Point{1, 2});
    EXPECT_TRUE(a.isIdenticalTo(ZVariant(Point{1, 2})));
    EXPECT_TRUE(a.isEquivalentTo(ZVariant(Point{1, 2})));
    EXPECT_FALSE(a.isIdenticalTo(ZVariant(Point{1, 3})));
    EXPECT_FALSE(a.isEquivalentTo(ZVariant(Point{1, 3})));
    EXPECT_FALSE(a.isEquivalentTo(ZVariant(1.0)));

    std::vector<Point> left{{1, 1}, {2, 2}};
    std::vector<Point> right{{1, 1}, {2, 2}};
    std::vector<Point> different{{1, 1}, {2, 3}};
    const ZVariant array(std::move(left));
    EXPECT_TRUE(array.isEquivalentTo(ZVariant(std::move(right))));
    EXPECT_FALSE(array.isEquivalentTo(ZVariant(std::move(different))));
}

TEST(CustomElement, ConvertsOnlyFromDefaultValuesInLosslessMode)
{
    const ZVariant zero{Point{}};
    const ZVariant scalar = zero.convertTo<double>(ConversionMode::Lossless);
    EXPECT_TRUE(scalar.isScalarStorage());
    EXPECT_EQ(scalar.as<double>(), 0.0);
    EXPECT_EQ(zero.convertTo<ZString>(ConversionMode::Lossless).as<ZString>(), ZString());

    // Asked for its own code, custom data is shared, whatever the mode.
    EXPECT_EQ(zero.convertTo(Internal::WellKnownTypeValue::customType, ConversionMode::Cast).constStoredData(),
              zero.constStoredData());

    // A refusal surfaces with the words for a source that has no name.
    const ZVariant point(Point{1, 0});
    EXPECT_EQ(thrownText<std::runtime_error>([&] { (void)point.convertTo<double>(ConversionMode::Lossless); }),
              "unknown type");
    EXPECT_EQ(thrownText<std::runtime_error>([&] { (void)zero.convertTo<double>(ConversionMode::Cast); }),
              "unknown type");
    EXPECT_EQ(thrownText<std::runtime_error>([&] { (void)zero.convertTo(WellKnownType(), ConversionMode::Lossless); }),
              "unknown type");

    // An all-default array keeps its shape and ordering; numbers are zero.
    std::vector<std::size_t> dims{2, 3};
    const ZVariant grid(std::vector<Point>(6), ArrayDimensionsView(dims), DataOrdering::ColumnMajor);
    const ZVariant numbers = grid.convertTo<std::int32_t>(ConversionMode::Lossless);
    EXPECT_TRUE(sameExtents(numbers.dimensions(), ArrayDimensionsView(dims)));
    EXPECT_EQ(numbers.dataOrdering(), DataOrdering::ColumnMajor);
    for (std::int32_t value : numbers.iterable<std::int32_t>()) {
        EXPECT_EQ(value, 0);
    }
    // No elements, nothing to convert: refused like every default-only pair.
    const ZVariant empty(std::vector<Point>{});
    EXPECT_TRUE(empty.iterable<Point>().empty());
    EXPECT_THROW((void)empty.convertTo<double>(ConversionMode::Lossless), std::runtime_error);
}

TEST(CustomElement, MovedVectorIsAdoptedReorderedAndCopiedOnWrite)
{
    std::vector<Tracked> values;
    for (int i = 0; i < 6; ++i) {
        values.emplace_back(i);
    }
    const Tracked* block = values.data();
    std::vector<std::size_t> dims{2, 3};
    Tracked::s_copies = 0;
    ZVariant grid(std::move(values), ArrayDimensionsView(dims));
    EXPECT_EQ(grid.constStoredData(), block);
    EXPECT_EQ(Tracked::s_copies, 0);

    const ZVariant before = grid;
    grid.reorderData(DataOrdering::ColumnMajor);
    std::vector<int> order;
    for (const Tracked& t : grid.iterable<Tracked>()) {
        order.push_back(t.id);
    }
    EXPECT_EQ(order, (std::vector<int>{0, 3, 1, 4, 2, 5}));
    EXPECT_EQ(before.elementAt<Tracked>(1).id, 1);  // the other holder keeps its storage

    ZVariant shared = before;
    static_cast<Tracked*>(shared.mutableStoredData())[0].id = 42;
    EXPECT_EQ(shared.elementAt<Tracked>(0).id, 42);
    EXPECT_EQ(before.elementAt<Tracked>(0).id, 0);

    std::vector<std::size_t> wrong{4};
    EXPECT_EQ(thrownText<std::length_error>([&] { ZVariant bad(std::vector<Tracked>(3), ArrayDimensionsView(wrong)); }),
              "dimensions do not match data length");
}

}  // namespace
