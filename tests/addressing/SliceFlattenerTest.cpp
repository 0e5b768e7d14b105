#include <gtest/gtest.h>

#include <random>
#include <set>
#include <stdexcept>
#include <vector>

#include "LumCore/ArrayIndexing.hpp"
#include "LumCore/SliceFlattener.hpp"
#include "support/ThrownText.hpp"

namespace {

using namespace Marlowen::Lum;
using LumTest::thrownText;
using Offsets = std::vector<std::uint64_t>;
using Dims = std::vector<std::size_t>;

constexpr DataOrdering kRow = DataOrdering::RowMajor;
constexpr DataOrdering kColumn = DataOrdering::ColumnMajor;

std::vector<IndexSet> allOf(std::size_t dimensions)
{
    return std::vector<IndexSet>(dimensions, IndexSet(IndexRange::all));
}

TEST(SliceFlattener, TwoByThreeInEveryEnumeration)
{
    const Dims dims{2, 3};
    const SliceFlattener rows(allOf(2), dims, kRow, UseDataOrdering::RowMajor);
    EXPECT_EQ(rows.offsets(), (Offsets{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(rows.sliceDimensions(), (Offsets{2, 3}));
    EXPECT_EQ(rows.enumerationOrdering(), kRow);

    const SliceFlattener columns(allOf(2), dims, kRow, UseDataOrdering::ColumnMajor);
    EXPECT_EQ(columns.offsets(), (Offsets{0, 3, 1, 4, 2, 5}));
    EXPECT_EQ(columns.sliceDimensions(), (Offsets{2, 3}));
    EXPECT_EQ(columns.enumerationOrdering(), kColumn);

    EXPECT_EQ(SliceFlattener(allOf(2), dims, kColumn, UseDataOrdering::AsArray).offsets(), (Offsets{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(SliceFlattener(allOf(2), dims, kColumn, UseDataOrdering::RowMajor).offsets(),
              (Offsets{0, 2, 4, 1, 3, 5}));
    // Any ordering other than RowMajor counts as ColumnMajor.
    EXPECT_EQ(SliceFlattener(allOf(2), dims, DataOrdering(7), UseDataOrdering::AsArray).enumerationOrdering(), kColumn);
}

TEST(SliceFlattener, SelectionsResolveToDistinctAscendingPositions)
{
    const Dims dims{2, 3};
    const SliceFlattener row({IndexSet(IndexValue(1)), IndexSet(IndexRange::all)}, dims, kRow,
                             UseDataOrdering::RowMajor);
    EXPECT_EQ(row.sliceDimensions(), (Offsets{1, 3}));
    EXPECT_EQ(row.offsets(), (Offsets{3, 4, 5}));

    // Overlapping items, given in any order, select each position once.
    const IndexSet overlapping(IndexRange(IndexValue(0), IndexValue(2)), IndexValue(1), IndexValue(0, true));
    const SliceFlattener once({IndexSet(IndexValue(0)), overlapping}, dims, kRow, UseDataOrdering::RowMajor);
    EXPECT_EQ(once.sliceDimensions(), (Offsets{1, 3}));
    EXPECT_EQ(once.offsets(), (Offsets{0, 1, 2}));

    const SliceFlattener gaps({IndexSet(IndexValue(1), IndexValue(0)), IndexSet(IndexValue(2), IndexValue(0))}, dims,
                              kColumn, UseDataOrdering::AsArray);
    EXPECT_EQ(gaps.offsets(), (Offsets{0, 1, 4, 5}));

    // An empty set: a zero in the shape and no offsets.
    const SliceFlattener none({IndexSet(IndexRange::all), IndexSet()}, dims, kRow, UseDataOrdering::RowMajor);
    EXPECT_EQ(none.sliceDimensions(), (Offsets{2, 0}));
    EXPECT_TRUE(none.offsets().empty());
}

TEST(SliceFlattener, OneDimensionAndNoDimension)
{
    // One dimension: the positions themselves; `use` is not looked at.
    // (A braced list of one set would pick the linear form.)
    const SliceFlattener vector(std::vector<IndexSet>{IndexSet(IndexRange(IndexValue(1), IndexValue(0, true), 2))},
                                ArrayDimensionsView{6}, kColumn, UseDataOrdering(3));
    EXPECT_EQ(vector.offsets(), (Offsets{1, 3, 5}));
    EXPECT_EQ(vector.sliceDimensions(), Offsets{3});

    const SliceFlattener nothing(std::vector<IndexSet>{}, ArrayDimensionsView{}, kRow, UseDataOrdering::AsArray);
    EXPECT_TRUE(nothing.offsets().empty());
    EXPECT_TRUE(nothing.sliceDimensions().empty());
    EXPECT_EQ(thrownText<std::invalid_argument>(
                  [] { (void)SliceFlattener(std::vector<IndexSet>{}, ArrayDimensionsView{}, kRow, UseDataOrdering(3)); }),
              "invalid UseDataOrdering");
}

TEST(SliceFlattener, FailuresOfThePerDimensionForm)
{
    EXPECT_EQ(thrownText<std::invalid_argument>([] {
                  (void)SliceFlattener(allOf(1), ArrayDimensionsView{2, 3}, kRow, UseDataOrdering::RowMajor);
              }),
              "slice dimensions don't match ZVariant dimensions");
    // Range checks come first: an item out of range is reported as such,
    // not by the item's own failure.
    EXPECT_EQ(thrownText<std::invalid_argument>([] {
                  (void)SliceFlattener({IndexSet(IndexRange::all), IndexSet(IndexValue(3))}, ArrayDimensionsView{2, 3}, kRow,
                                       UseDataOrdering(3));
              }),
              "slice dimensions are out of bounds");
    EXPECT_EQ(thrownText<std::invalid_argument>([] {
                  (void)SliceFlattener(allOf(2), ArrayDimensionsView{2, 0}, kRow, UseDataOrdering::RowMajor);
              }),
              "slice dimensions are out of bounds");
    EXPECT_EQ(thrownText<std::invalid_argument>([] {
                  (void)SliceFlattener(allOf(2), ArrayDimensionsView{2, 3}, kRow, UseDataOrdering(3));
              }),
              "invalid UseDataOrdering");
    // A backward range is in range, and fails at resolving; one step back
    // wraps to a count of 0 and selects nothing.
    EXPECT_EQ(thrownText<std::length_error>([] {
                  (void)SliceFlattener({IndexSet(IndexValue(0)), IndexSet(IndexRange(IndexValue(2), IndexValue(0)))},
                                       ArrayDimensionsView{2, 3}, kRow, UseDataOrdering::RowMajor);
              }),
              "vector too long");
    EXPECT_TRUE(SliceFlattener({IndexSet(IndexValue(0)), IndexSet(IndexRange(IndexValue(1), IndexValue(0)))},
                               ArrayDimensionsView{2, 3}, kRow, UseDataOrdering::RowMajor)
                    .offsets()
                    .empty());
}

TEST(SliceFlattener, LinearPositionsAreMappedToStorage)
{
    const Dims dims{2, 3};
    const IndexSet all(IndexRange(IndexValue(0), IndexValue(5)));
    EXPECT_EQ(SliceFlattener(all, dims, kRow, UseDataOrdering::ColumnMajor).offsets(), (Offsets{0, 3, 1, 4, 2, 5}));
    EXPECT_EQ(SliceFlattener(all, dims, kRow, UseDataOrdering::RowMajor).offsets(), (Offsets{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(SliceFlattener(all, dims, kColumn, UseDataOrdering::RowMajor).offsets(), (Offsets{0, 2, 4, 1, 3, 5}));
    EXPECT_EQ(SliceFlattener(all, dims, kRow, UseDataOrdering::ColumnMajor).sliceDimensions(), Offsets{6});

    // Only one dimension longer than 1: a vector in fact, taken as it is.
    EXPECT_EQ(SliceFlattener(all, ArrayDimensionsView{1, 6}, kRow, UseDataOrdering::ColumnMajor).offsets(),
              (Offsets{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(SliceFlattener(IndexSet(IndexValue(4), IndexValue(1)), ArrayDimensionsView{3, 1, 2}, kColumn, UseDataOrdering::RowMajor)
                  .offsets(),
              (Offsets{3, 2}));

    // The two forms report the same position past the end differently.
    EXPECT_EQ(thrownText<std::out_of_range>(
                  [&] { (void)SliceFlattener(IndexSet(IndexValue(6)), dims, kRow, UseDataOrdering::RowMajor); }),
              "Index value out-of-range");
    EXPECT_EQ(thrownText<std::invalid_argument>([] {
                  (void)SliceFlattener({IndexSet(IndexValue(0)), IndexSet(IndexValue(3))}, ArrayDimensionsView{2, 3}, kRow,
                                       UseDataOrdering::RowMajor);
              }),
              "slice dimensions are out of bounds");
    EXPECT_EQ(thrownText<std::invalid_argument>([&] { (void)SliceFlattener(all, dims, kRow, UseDataOrdering(5)); }),
              "invalid UseDataOrdering");
}

// ---- Against the plain arithmetic: one index calculation per element ----

std::vector<std::uint64_t> positionsOf(const IndexSet& set, std::uint64_t length)
{
    std::set<std::uint64_t> positions;
    for (std::size_t i = 0; i < set.size(); ++i) {
        for (std::uint64_t p : set[i].indices(length)) {
            positions.insert(p);
        }
    }
    return {positions.begin(), positions.end()};
}

Offsets referencePerDimension(const std::vector<IndexSet>& slices, const Dims& dims, DataOrdering ordering,
                              DataOrdering enumeration)
{
    std::vector<std::vector<std::uint64_t>> positions;
    Dims shape;
    for (std::size_t d = 0; d < dims.size(); ++d) {
        positions.push_back(positionsOf(slices[d], dims[d]));
        shape.push_back(positions.back().size());
    }
    Offsets offsets;
    std::vector<std::uint64_t> indices;
    for (std::uint64_t k = 0; k < elementCount(shape); ++k) {
        if (enumeration == kColumn) {
            ArrayIndexing::CalculateIndicesColumnMajor(indices, k, shape, false);
        } else {
            ArrayIndexing::CalculateIndicesRowMajor(indices, k, shape, false);
        }
        for (std::size_t d = 0; d < dims.size(); ++d) {
            indices[d] = positions[d][indices[d]];
        }
        offsets.push_back(ordering == kColumn ? ArrayIndexing::calculateOffsetColumnMajor(indices, dims, false)
                                              : ArrayIndexing::calculateOffsetRowMajor(indices, dims, false));
    }
    return offsets;
}

Offsets referenceLinear(const IndexSet& slice, const Dims& dims, DataOrdering ordering, DataOrdering enumeration)
{
    Offsets offsets;
    std::vector<std::uint64_t> indices;
    for (std::uint64_t p : positionsOf(slice, elementCount(dims))) {
        if (enumeration == kColumn) {
            ArrayIndexing::CalculateIndicesColumnMajor(indices, p, dims, false);
        } else {
            ArrayIndexing::CalculateIndicesRowMajor(indices, p, dims, false);
        }
        offsets.push_back(ordering == kColumn ? ArrayIndexing::calculateOffsetColumnMajor(indices, dims, false)
                                              : ArrayIndexing::calculateOffsetRowMajor(indices, dims, false));
    }
    return offsets;
}

// A random union of values and ranges within a dimension of `length` > 0.
IndexSet randomSet(std::mt19937& random, std::uint64_t length)
{
    IndexSet set;
    const int items = std::uniform_int_distribution<int>(0, 3)(random);
    std::uniform_int_distribution<std::uint64_t> position(0, length - 1);
    for (int i = 0; i < items; ++i) {
        const bool fromEnd = random() % 2 == 0;
        if (random() % 3 == 0) {
            set.add(IndexValue(position(random), fromEnd));
        } else {
            std::uint64_t a = position(random), b = position(random);
            if (a > b) {
                std::swap(a, b);
            }
            // Counted from the end, the larger distance is the earlier position.
            const IndexValue start = fromEnd ? IndexValue(b, true) : IndexValue(a);
            const IndexValue stop = fromEnd ? IndexValue(a, true) : IndexValue(b);
            set.add(IndexRange(start, stop, 1 + random() % 3));
        }
    }
    return set;
}

// The reported run length divides the table into runs of consecutive offsets.
void expectRuns(const SliceFlattener& flattener)
{
    const std::uint64_t run = flattener.runLength();
    const Offsets& offsets = flattener.offsets();
    ASSERT_GE(run, 1u);
    ASSERT_EQ(offsets.size() % run, 0u);
    for (std::size_t i = 0; i < offsets.size(); ++i) {
        ASSERT_EQ(offsets[i], offsets[i - i % run] + i % run) << i;
    }
}

TEST(SliceFlattener, RunsFollowTheSelections)
{
    const Dims dims{4, 4};
    const IndexSet middle(IndexRange(IndexValue(1), IndexValue(2)));
    EXPECT_EQ(SliceFlattener(allOf(2), dims, kRow, UseDataOrdering::RowMajor).runLength(), 16u);
    EXPECT_EQ(SliceFlattener(allOf(2), dims, kRow, UseDataOrdering::ColumnMajor).runLength(), 1u);
    EXPECT_EQ(SliceFlattener({middle, middle}, dims, kColumn, UseDataOrdering::AsArray).runLength(), 2u);
    // Whole rows, several of them in a row: one run.
    EXPECT_EQ(SliceFlattener({middle, IndexSet(IndexRange::all)}, dims, kRow, UseDataOrdering::RowMajor).runLength(),
              8u);
    // A dimension of one position does not break a run.
    EXPECT_EQ(SliceFlattener({middle, IndexSet(IndexValue(0))}, ArrayDimensionsView{4, 1}, kRow, UseDataOrdering::AsArray).runLength(),
              2u);
    EXPECT_EQ(SliceFlattener({IndexSet(IndexValue(2)), middle}, dims, kColumn, UseDataOrdering::AsArray).runLength(),
              1u);
    EXPECT_EQ(SliceFlattener(IndexSet(IndexValue(3), IndexValue(5)), dims, kRow, UseDataOrdering::RowMajor).runLength(),
              1u);
    EXPECT_EQ(SliceFlattener(IndexSet(IndexRange(IndexValue(3), IndexValue(5))), dims, kRow, UseDataOrdering::RowMajor)
                  .runLength(),
              3u);
}

TEST(SliceFlattener, TablesMatchThePlainArithmeticOnRandomSlices)
{
    std::mt19937 random(20261123);
    const DataOrdering orderings[] = {kRow, kColumn};
    const UseDataOrdering uses[] = {UseDataOrdering::RowMajor, UseDataOrdering::ColumnMajor, UseDataOrdering::AsArray};
    for (int trial = 0; trial < 300; ++trial) {
        Dims dims(1 + random() % 4);
        for (std::size_t& extent : dims) {
            extent = 1 + random() % 5;
        }
        std::vector<IndexSet> slices;
        for (std::size_t extent : dims) {
            slices.push_back(randomSet(random, extent));
        }
        const DataOrdering ordering = orderings[random() % 2];
        const UseDataOrdering use = uses[random() % 3];
        const DataOrdering enumeration = use == UseDataOrdering::RowMajor      ? kRow
                                         : use == UseDataOrdering::ColumnMajor ? kColumn
                                                                               : ordering;
        SCOPED_TRACE(testing::Message() << "trial " << trial);

        const SliceFlattener flattener(slices, dims, ordering, use);
        EXPECT_EQ(flattener.offsets(), referencePerDimension(slices, dims, ordering, enumeration));
        expectRuns(flattener);
        ASSERT_EQ(flattener.sliceDimensions().size(), dims.size());
        if (dims.size() > 1) {
            EXPECT_EQ(flattener.enumerationOrdering(), enumeration);
        }

        const IndexSet linear = randomSet(random, elementCount(dims));
        const SliceFlattener flat(linear, dims, ordering, use);
        EXPECT_EQ(flat.offsets(), referenceLinear(linear, dims, ordering, enumeration));
        EXPECT_EQ(flat.sliceDimensions(), Offsets{flat.offsets().size()});
        expectRuns(flat);
    }
}

}  // namespace
