#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <vector>

#include "LumCore/IndexSet.hpp"
#include "support/ThrownText.hpp"

namespace {

using namespace Marlowen::Lum;
using LumTest::thrownText;
using Positions = std::vector<std::uint64_t>;

TEST(IndexItems, ValuesCountFromEitherEnd)
{
    EXPECT_EQ(IndexValue(0, true).indices(5), Positions{4});
    EXPECT_EQ(IndexValue(4, true).indices(5), Positions{0});
    EXPECT_EQ(IndexValue(2).indices(5), Positions{2});
    EXPECT_EQ(thrownText<std::out_of_range>([] { (void)IndexValue(5, false).indices(5); }), "Index value out-of-range");
    EXPECT_EQ(thrownText<std::out_of_range>([] { (void)IndexValue(5, true).indices(5); }), "Index value out-of-range");
    EXPECT_FALSE(IndexValue(5).isInRange(5));
    EXPECT_TRUE(IndexValue(4, true).isInRange(5));

    // isInRange ignores fromEnd and does not wrap; indices wraps the last
    // position of an empty dimension to the largest value and passes.
    EXPECT_FALSE(IndexValue(0).isInRange(0));
    EXPECT_EQ(IndexValue(7).indices(0), Positions{7});
    EXPECT_EQ(IndexValue(0, true).indices(0), Positions{~std::uint64_t{0}});
}

TEST(IndexItems, RangesStepFromStartToStopInclusive)
{
    EXPECT_EQ(IndexRange::all.indices(4), (Positions{0, 1, 2, 3}));
    EXPECT_EQ(IndexRange::all.indices(1), Positions{0});
    EXPECT_FALSE(IndexRange::all.isInRange(0));

    const IndexRange odd(IndexValue(1, false), IndexValue(0, true), 2);
    EXPECT_EQ(odd.indices(6), (Positions{1, 3, 5}));
    // The step past the final position 6 lands on 7: not selected, no failure.
    EXPECT_EQ(odd.indices(7), (Positions{1, 3, 5}));
    EXPECT_EQ(IndexRange(IndexValue(2), IndexValue(2)).indices(3), Positions{2});
    // A step so large that the next position wraps ends the run.
    EXPECT_EQ(IndexRange(IndexValue(3), IndexValue(5), ~std::uint64_t{0} - 1).indices(6), Positions{3});

    EXPECT_EQ(thrownText<std::out_of_range>([] { (void)IndexRange(IndexValue(6), IndexValue(0, true)).indices(6); }),
              "Index value out-of-range");
    EXPECT_EQ(thrownText<std::out_of_range>([] { (void)IndexRange(IndexValue(0), IndexValue(6, true)).indices(6); }),
              "Index value out-of-range");

    // Backward: the count wraps. A small step cannot be reserved at all, a
    // larger one is more than memory holds, and a huge one gives a count that
    // can be reserved, after which the loop finds nothing to do.
    EXPECT_EQ(thrownText<std::length_error>([] { (void)IndexRange(IndexValue(3), IndexValue(1)).indices(5); }),
              "vector too long");
    EXPECT_THROW((void)IndexRange(IndexValue(3), IndexValue(1), 9).indices(5), std::bad_alloc);
    EXPECT_TRUE(IndexRange(IndexValue(3), IndexValue(1), std::uint64_t{1} << 62).indices(5).empty());
    EXPECT_TRUE(IndexRange(IndexValue(3), IndexValue(1)).isInRange(5));

    // isInRange tests start, stop and then the step; a step of 0 is refused
    // by isInRange and by indices alike.
    EXPECT_FALSE(IndexRange(IndexValue(0), IndexValue(1), 0).isInRange(5));
    EXPECT_FALSE(IndexRange(IndexValue(0), IndexValue(5), 1).isInRange(5));
    EXPECT_FALSE(IndexRange(IndexValue(5, true), IndexValue(1), 1).isInRange(5));
    EXPECT_THROW((void)IndexRange(IndexValue(0), IndexValue(1), 0).indices(5), std::invalid_argument);
}

TEST(IndexItems, ClonesAreNewObjectsOfTheSameClass)
{
    const IndexRange range(IndexValue(1, true), IndexValue(0, true), 3);
    const std::unique_ptr<IndexItem> copy(range.clone());
    ASSERT_NE(dynamic_cast<IndexRange*>(copy.get()), nullptr);
    EXPECT_NE(copy.get(), &range);
    EXPECT_EQ(copy->indices(9), range.indices(9));
    const std::unique_ptr<IndexItem> value(IndexValue(3, true).clone());
    ASSERT_NE(dynamic_cast<IndexValue*>(value.get()), nullptr);
    EXPECT_TRUE(static_cast<IndexValue&>(*value).fromEnd);
}

TEST(IndexSets, HoldClonesThatOutliveTheirSources)
{
    auto source = std::make_unique<IndexSet>(IndexValue(1), IndexRange(IndexValue(0), IndexValue(2)));
    source->add(IndexValue(0, true));
    ASSERT_EQ(source->size(), 3u);

    IndexSet copy(*source);
    IndexSet assigned;
    assigned = *source;
    for (std::size_t i = 0; i < source->size(); ++i) {
        EXPECT_NE(&copy[i], &(*source)[i]);
        EXPECT_NE(&assigned[i], &(*source)[i]);
    }
    source.reset();
    EXPECT_EQ(copy[1].indices(4), (Positions{0, 1, 2}));
    EXPECT_EQ(assigned[2].indices(4), Positions{3});

    // The set clones what it is given: the item given may go.
    IndexSet fromTemporary;
    {
        const IndexValue temporary(2);
        fromTemporary.add(temporary);
    }
    EXPECT_EQ(fromTemporary[0].indices(3), Positions{2});
    EXPECT_TRUE(IndexSet().empty());
}

TEST(IndexSets, SliceFromIndicesSelectsOneElement)
{
    const std::vector<IndexSet> slice = ArraySliceFromIndices({2, 0, 7});
    ASSERT_EQ(slice.size(), 3u);
    const std::uint64_t expected[] = {2, 0, 7};
    for (std::size_t d = 0; d < 3; ++d) {
        ASSERT_EQ(slice[d].size(), 1u);
        const auto* value = dynamic_cast<const IndexValue*>(&slice[d][0]);
        ASSERT_NE(value, nullptr);
        EXPECT_EQ(value->value, expected[d]);
        EXPECT_FALSE(value->fromEnd);
    }
    EXPECT_TRUE(ArraySliceFromIndices({}).empty());
}

}  // namespace
