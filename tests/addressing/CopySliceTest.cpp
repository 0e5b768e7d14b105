// copySlice against a plain loop over the offsets, on random shapes,
// selections and orderings, for elements of several sizes and of text, and
// for custom classes in both variant forms.
#include <gtest/gtest.h>

#include <complex>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "LumCore/CopySlice.hpp"
#include "support/ThrownText.hpp"

namespace {

using namespace Marlowen::Lum;
using LumTest::thrownText;
using Dims = std::vector<std::size_t>;

template <class T>
T elementFor(std::size_t i)
{
    if constexpr (std::is_same_v<T, ZString>) {
        const std::string text = "e" + std::to_string(i);
        return ZString(text.c_str());
    } else if constexpr (std::is_same_v<T, bool>) {
        return i % 3 == 0;
    } else if constexpr (std::is_same_v<T, std::complex<double>>) {
        return {static_cast<double>(i), -static_cast<double>(i)};
    } else {
        return static_cast<T>(i);
    }
}

// Mostly runs of whole or partial extents, sometimes gaps and steps, so
// that both the block copies and the single elements are reached.
IndexSet randomSet(std::mt19937& random, std::size_t extent)
{
    switch (random() % 4) {
        case 0: return IndexSet(IndexRange::all);
        case 1: {
            const std::uint64_t first = random() % extent;
            return IndexSet(IndexRange(IndexValue(first), IndexValue(first + random() % (extent - first))));
        }
        case 2: return IndexSet(IndexRange(IndexValue(random() % extent), IndexValue(0, true), 1 + random() % 3));
        default: return IndexSet(IndexValue(random() % extent), IndexValue(random() % extent, true));
    }
}

template <class Variant, class T>
void checkRandomSlices(std::uint32_t seed)
{
    std::mt19937 random(seed);
    for (int trial = 0; trial < 60; ++trial) {
        Dims dims(1 + random() % 3);
        for (std::size_t& extent : dims) {
            extent = 1 + random() % 7;
        }
        const DataOrdering ordering = random() % 2 ? DataOrdering::RowMajor : DataOrdering::ColumnMajor;
        const std::size_t count = elementCount(dims);
        const std::unique_ptr<T[]> elements(new T[count]);  // no std::vector<bool>
        for (std::size_t i = 0; i < count; ++i) {
            elements[i] = elementFor<T>(i);
        }
        const Variant source(elements.get(), count, dims, ordering);

        std::vector<IndexSet> slices;
        for (std::size_t extent : dims) {
            slices.push_back(randomSet(random, extent));
        }
        const auto use = static_cast<UseDataOrdering>(random() % 3);
        const SliceFlattener slice(slices, dims, ordering, use);
        SCOPED_TRACE(testing::Message() << "trial " << trial);

        const Variant copy = copySlice(source, slice);
        ASSERT_TRUE(copy.template holds<T>());
        EXPECT_TRUE(sameExtents(copy.dimensions(), ArrayDimensionsView(slice.sliceDimensions())));
        EXPECT_EQ(copy.dataOrdering(), slice.enumerationOrdering());
        ASSERT_EQ(elementCount(copy.dimensions()), slice.offsets().size());
        for (std::size_t k = 0; k < slice.offsets().size(); ++k) {
            ASSERT_EQ(copy.template elementAt<T>(k), elements[slice.offsets()[k]]) << k;
        }
    }
}

TEST(CopySlice, MatchesTheOffsetsForElementsOfEverySize)
{
    checkRandomSlices<ZVariant, std::int8_t>(1);
    checkRandomSlices<ZVariant, bool>(2);
    checkRandomSlices<ZVariant, float>(3);
    checkRandomSlices<ZVariant, double>(4);
    checkRandomSlices<ZVariant, std::complex<double>>(5);
    checkRandomSlices<ZVariant, ZString>(6);
    checkRandomSlices<ZVariantAbi, std::uint16_t>(7);
    checkRandomSlices<ZVariantAbi, double>(8);
    checkRandomSlices<ZVariantAbi, ZString>(9);
}

TEST(CopySlice, LinearSlicesAndTheMiddleBlock)
{
    const Dims dims{4, 4};
    std::vector<double> values(16);
    for (std::size_t i = 0; i < 16; ++i) {
        values[i] = static_cast<double>(i);
    }
    const ZVariant grid(values.data(), 16, dims);
    const IndexSet middle(IndexRange(IndexValue(1), IndexValue(2)));
    const ZVariant block = copySlice(
        grid, SliceFlattener({middle, middle}, grid.dimensions(), DataOrdering::RowMajor, UseDataOrdering::AsArray));
    const std::vector<double> expected{5, 6, 9, 10};
    EXPECT_TRUE(block.isIdenticalTo(ZVariant(expected.data(), 4, ArrayDimensionsView{2, 2})));

    // The linear form gives a vector of the selected positions; enumerated
    // column-major, position 1 is row 1 of column 0.
    const ZVariant column =
        copySlice(grid, SliceFlattener(IndexSet(IndexRange(IndexValue(0), IndexValue(3))), grid.dimensions(),
                                       DataOrdering::RowMajor, UseDataOrdering::ColumnMajor));
    const std::vector<double> firstColumn{0, 4, 8, 12};
    EXPECT_TRUE(column.isIdenticalTo(ZVariant(firstColumn.data(), 4, ArrayDimensionsView{4}, DataOrdering::ColumnMajor)));
}

TEST(CopySlice, EmptySlicesNullAndScalars)
{
    const std::vector<std::int32_t> values{1, 2, 3, 4, 5, 6};
    const ZVariantAbi grid(values.data(), 6, ArrayDimensionsView{2, 3});
    const ZVariantAbi none = copySlice(grid, SliceFlattener({IndexSet(), IndexSet(IndexRange::all)}, grid.dimensions(),
                                                            DataOrdering::RowMajor, UseDataOrdering::RowMajor));
    EXPECT_TRUE(none.holds<std::int32_t>());
    EXPECT_TRUE(sameExtents(none.dimensions(), ArrayDimensionsView{0, 3}));

    const SliceFlattener nothing(std::vector<IndexSet>{}, ArrayDimensionsView{}, DataOrdering::RowMajor, UseDataOrdering::RowMajor);
    EXPECT_TRUE(copySlice(ZVariant(), nothing).isNull());

    const ZVariant scalar = 2.5;
    const ZVariant one = copySlice(scalar, SliceFlattener(IndexSet(IndexValue(0)), scalar.dimensions(),
                                                          DataOrdering::RowMajor, UseDataOrdering::RowMajor));
    EXPECT_FALSE(one.isScalarStorage());
    EXPECT_EQ(one.elementAt<double>(0), 2.5);
}

TEST(CopySlice, OffsetsPastTheVariantAreRefused)
{
    const std::vector<double> values{1, 2, 3, 4, 5, 6};
    const ZVariant small(values.data(), 6, ArrayDimensionsView{2, 3});
    const SliceFlattener forLarger(std::vector<IndexSet>(2, IndexSet(IndexRange::all)), ArrayDimensionsView{3, 3},
                                   DataOrdering::RowMajor, UseDataOrdering::RowMajor);
    EXPECT_EQ(thrownText<std::out_of_range>([&] { (void)copySlice(small, forLarger); }), "Indices out of bounds.");
    const SliceFlattener lastOnly(IndexSet(IndexValue(6)), ArrayDimensionsView{7}, DataOrdering::RowMajor, UseDataOrdering::RowMajor);
    EXPECT_EQ(thrownText<std::out_of_range>([&] { (void)copySlice(ZVariantAbi(values.data(), 6), lastOnly); }),
              "Indices out of bounds.");
    EXPECT_THROW((void)copySlice(ZVariant(), lastOnly), std::out_of_range);
}

struct Point {
    int x = 0;
    std::string label;
    friend bool operator==(const Point& a, const Point& b) { return a.x == b.x && a.label == b.label; }
};

TEST(CopySlice, CustomClassesAreCopiedWhenNamed)
{
    std::vector<Point> points;
    for (int i = 0; i < 6; ++i) {
        points.push_back(Point{i, "p" + std::to_string(i)});
    }
    const ZVariant grid(std::vector<Point>(points), ArrayDimensionsView{3, 2});
    const SliceFlattener lastRows({IndexSet(IndexRange(IndexValue(1), IndexValue(2))), IndexSet(IndexValue(0))},
                                  grid.dimensions(), DataOrdering::RowMajor, UseDataOrdering::RowMajor);
    const ZVariant copy = copySlice<Point>(grid, lastRows);
    ASSERT_TRUE(copy.holds<Point>());
    EXPECT_TRUE(sameExtents(copy.dimensions(), ArrayDimensionsView{2, 1}));
    EXPECT_EQ(copy.elementAt<Point>(0), points[2]);
    EXPECT_EQ(copy.elementAt<Point>(1), points[4]);

    EXPECT_EQ(thrownText<std::invalid_argument>([&] { (void)copySlice(grid, lastRows); }),
              "copySlice: the variant holds custom data of a class that was not named as a template argument");

    // Paths are known without being named.
    const ZVariant paths(std::vector<PropertyPath>{PropertyPath{"a"}, PropertyPath{"b", 1}, PropertyPath{}}, ArrayDimensionsView{3});
    const ZVariant tail =
        copySlice(paths, SliceFlattener(IndexSet(IndexRange(IndexValue(1), IndexValue(0, true))), paths.dimensions(),
                                        DataOrdering::RowMajor, UseDataOrdering::RowMajor));
    ASSERT_TRUE(tail.holds<PropertyPath>());
    EXPECT_EQ(tail.elementAt<PropertyPath>(0), (PropertyPath{"b", 1}));
    EXPECT_EQ(tail.elementAt<PropertyPath>(1), PropertyPath{});
}

}  // namespace
