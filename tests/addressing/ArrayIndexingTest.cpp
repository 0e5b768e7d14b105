#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "LumCore/ArrayIndexing.hpp"

namespace {

using Marlowen::Lum::ArrayIndexing;
using Indices = std::vector<std::uint64_t>;
using Dims = std::vector<std::size_t>;

TEST(ArrayIndexing, StridesOfBothOrderings)
{
    const Dims dims{2, 3, 4};
    EXPECT_EQ(ArrayIndexing::CalculateDimStrideColumnMajor(0, dims), 1u);
    EXPECT_EQ(ArrayIndexing::CalculateDimStrideColumnMajor(1, dims), 2u);
    EXPECT_EQ(ArrayIndexing::CalculateDimStrideColumnMajor(2, dims), 6u);
    EXPECT_EQ(ArrayIndexing::CalculateDimStrideColumnMajor(3, dims), 0u);
    EXPECT_EQ(ArrayIndexing::CalculateDimStrideRowMajor(0, dims), 12u);
    EXPECT_EQ(ArrayIndexing::CalculateDimStrideRowMajor(1, dims), 4u);
    EXPECT_EQ(ArrayIndexing::CalculateDimStrideRowMajor(2, dims), 1u);
    EXPECT_EQ(ArrayIndexing::CalculateDimStrideRowMajor(3, dims), 0u);
    // Dimension 0 has stride 1 even when its own extent is 0.
    EXPECT_EQ(ArrayIndexing::CalculateDimStrideColumnMajor(0, Dims{0}), 1u);
}

TEST(ArrayIndexing, OffsetsOfBothOrderings)
{
    const Dims dims{2, 3};
    EXPECT_EQ(ArrayIndexing::calculateOffsetColumnMajor({1, 2}, dims, true), 5u);
    EXPECT_EQ(ArrayIndexing::calculateOffsetRowMajor({1, 2}, dims, true), 5u);
    EXPECT_EQ(ArrayIndexing::calculateOffsetColumnMajor({1, 0}, dims, true), 1u);
    EXPECT_EQ(ArrayIndexing::calculateOffsetRowMajor({1, 0}, dims, true), 3u);
    // Unchecked, an index past its dimension is multiplied in as it is.
    EXPECT_EQ(ArrayIndexing::calculateOffsetRowMajor({0, 4}, dims, false), 4u);
    EXPECT_EQ(ArrayIndexing::calculateOffsetColumnMajor({}, Dims{}, true), 0u);
    EXPECT_EQ(ArrayIndexing::calculateOffsetRowMajor({}, Dims{}, false), 0u);
}

TEST(ArrayIndexing, OffsetFailures)
{
    const Dims dims{2, 3};
    try {
        (void)ArrayIndexing::calculateOffsetColumnMajor({0, 0, 0}, dims, false);
        FAIL();
    } catch (const std::invalid_argument& e) {
        EXPECT_STREQ(e.what(), "Wrong number of indices.");
    }
    try {
        (void)ArrayIndexing::calculateOffsetRowMajor({2, 0}, dims, true);
        FAIL();
    } catch (const std::out_of_range& e) {
        EXPECT_STREQ(e.what(), "Indices out of bounds.");
    }
    // A zero extent makes every index out of bounds when checked only.
    EXPECT_THROW((void)ArrayIndexing::calculateOffsetRowMajor({0, 0}, Dims{0, 3}, true), std::out_of_range);
    EXPECT_EQ(ArrayIndexing::calculateOffsetRowMajor({0, 0}, Dims{0, 3}, false), 0u);
}

TEST(ArrayIndexing, IndicesOfBothOrderings)
{
    Indices out;
    ArrayIndexing::CalculateIndicesColumnMajor(out, 4, Dims{2, 3}, true);
    EXPECT_EQ(out, (Indices{0, 2}));
    ArrayIndexing::CalculateIndicesRowMajor(out, 4, Dims{2, 3}, true);
    EXPECT_EQ(out, (Indices{1, 1}));
    ArrayIndexing::CalculateIndicesColumnMajor(out, 3, Dims{1, 5}, true);
    EXPECT_EQ(out, (Indices{0, 3}));
    // One below the element count gives the largest index of every dimension.
    ArrayIndexing::CalculateIndicesRowMajor(out, 23, Dims{2, 3, 4}, true);
    EXPECT_EQ(out, (Indices{1, 2, 3}));
    ArrayIndexing::CalculateIndicesColumnMajor(out, 23, Dims{2, 3, 4}, true);
    EXPECT_EQ(out, (Indices{1, 2, 3}));
}

TEST(ArrayIndexing, IndicesRoundTripThroughOffsets)
{
    const Dims dims{3, 1, 4, 2};
    Indices out;
    for (std::uint64_t offset = 0; offset < 24; ++offset) {
        ArrayIndexing::CalculateIndicesRowMajor(out, offset, dims, true);
        EXPECT_EQ(ArrayIndexing::calculateOffsetRowMajor(out, dims, true), offset);
        ArrayIndexing::CalculateIndicesColumnMajor(out, offset, dims, true);
        EXPECT_EQ(ArrayIndexing::calculateOffsetColumnMajor(out, dims, true), offset);
    }
}

TEST(ArrayIndexing, IndexFailuresAndUncheckedOverflow)
{
    Indices out{9, 9};
    for (auto calculate : {&ArrayIndexing::CalculateIndicesColumnMajor, &ArrayIndexing::CalculateIndicesRowMajor}) {
        try {
            calculate(out, 6, Dims{2, 3}, true);
            FAIL();
        } catch (const std::invalid_argument& e) {
            EXPECT_STREQ(e.what(), "Too few indices.");
            EXPECT_TRUE(out.empty());
        }
        EXPECT_THROW(calculate(out, 0, Dims{}, true), std::invalid_argument);
        calculate(out, 0, Dims{}, false);
        EXPECT_TRUE(out.empty());
    }
    // Unchecked, an offset past the end stays in the dimension walked first.
    ArrayIndexing::CalculateIndicesColumnMajor(out, 7, Dims{2, 3}, false);
    EXPECT_EQ(out, (Indices{1, 3}));
    ArrayIndexing::CalculateIndicesRowMajor(out, 7, Dims{2, 3}, false);
    EXPECT_EQ(out, (Indices{2, 1}));
}

}  // namespace
