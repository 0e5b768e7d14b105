#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "LumCore/ArrayIndexing.hpp"
#include "support/ThrownText.hpp"

namespace {

using LumTest::thrownText;
using Marlowen::Lum::ArrayDimensionsView;
using Marlowen::Lum::ArrayIndexing;
using Indices = std::vector<std::uint64_t>;
using Dims = std::vector<std::size_t>;

TEST(ArrayIndexing, StridesAndOffsetsOfBothOrderings)
{
    const Dims dims{2, 3, 4};
    const std::size_t column[] = {1, 2, 6, 0}, row[] = {12, 4, 1, 0};
    for (std::size_t d = 0; d < 4; ++d) {
        EXPECT_EQ(ArrayIndexing::CalculateDimStrideColumnMajor(d, dims), column[d]) << d;
        EXPECT_EQ(ArrayIndexing::CalculateDimStrideRowMajor(d, dims), row[d]) << d;
    }
    // Dimension 0 has stride 1 even when its own extent is 0.
    EXPECT_EQ(ArrayIndexing::CalculateDimStrideColumnMajor(0, ArrayDimensionsView{0}), 1u);

    EXPECT_EQ(ArrayIndexing::calculateOffsetColumnMajor({1, 0}, ArrayDimensionsView{2, 3}, true), 1u);
    EXPECT_EQ(ArrayIndexing::calculateOffsetRowMajor({1, 0}, ArrayDimensionsView{2, 3}, true), 3u);
    // Unchecked, an index past its dimension is multiplied in as it is.
    EXPECT_EQ(ArrayIndexing::calculateOffsetRowMajor({0, 4}, ArrayDimensionsView{2, 3}, false), 4u);
    EXPECT_EQ(ArrayIndexing::calculateOffsetColumnMajor({}, ArrayDimensionsView{}, true), 0u);

    EXPECT_EQ(thrownText<std::invalid_argument>([] {
                  (void)ArrayIndexing::calculateOffsetColumnMajor({0, 0, 0}, ArrayDimensionsView{2, 3}, false);
              }),
              "Wrong number of indices.");
    EXPECT_EQ(thrownText<std::out_of_range>([] {
                  (void)ArrayIndexing::calculateOffsetRowMajor({2, 0}, ArrayDimensionsView{2, 3}, true);
              }),
              "Indices out of bounds.");
    // A zero extent makes every index out of bounds when checked only.
    EXPECT_THROW((void)ArrayIndexing::calculateOffsetRowMajor({0, 0}, ArrayDimensionsView{0, 3}, true), std::out_of_range);
    EXPECT_EQ(ArrayIndexing::calculateOffsetRowMajor({0, 0}, ArrayDimensionsView{0, 3}, false), 0u);
}

TEST(ArrayIndexing, IndicesOfBothOrderingsRoundTripThroughOffsets)
{
    Indices out;
    ArrayIndexing::CalculateIndicesColumnMajor(out, 4, ArrayDimensionsView{2, 3}, true);
    EXPECT_EQ(out, (Indices{0, 2}));
    // One below the element count gives the largest index of every dimension.
    ArrayIndexing::CalculateIndicesRowMajor(out, 23, ArrayDimensionsView{2, 3, 4}, true);
    EXPECT_EQ(out, (Indices{1, 2, 3}));
    ArrayIndexing::CalculateIndicesColumnMajor(out, 23, ArrayDimensionsView{2, 3, 4}, true);
    EXPECT_EQ(out, (Indices{1, 2, 3}));

    const Dims dims{3, 1, 4, 2};
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
        EXPECT_EQ(thrownText<std::invalid_argument>([&] { calculate(out, 6, ArrayDimensionsView{2, 3}, true); }), "Too few indices.");
        EXPECT_TRUE(out.empty());
        EXPECT_THROW(calculate(out, 0, ArrayDimensionsView{}, true), std::invalid_argument);
        calculate(out, 0, ArrayDimensionsView{}, false);
        EXPECT_TRUE(out.empty());
        out = {9, 9};
    }
    // Unchecked, an offset past the end stays in the dimension walked first.
    ArrayIndexing::CalculateIndicesColumnMajor(out, 7, ArrayDimensionsView{2, 3}, false);
    EXPECT_EQ(out, (Indices{1, 3}));
    ArrayIndexing::CalculateIndicesRowMajor(out, 7, ArrayDimensionsView{2, 3}, false);
    EXPECT_EQ(out, (Indices{2, 1}));
}

}  // namespace
