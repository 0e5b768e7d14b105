// The promises of ZVariant about allocation, counted with the test binary's
// own global operator new.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "LumCore/ZVariant.hpp"
#include "support/CountingNew.hpp"

namespace {

using namespace Marlowen::Lum;
using LumTest::AllocationCounter;

TEST(ZVariantCounting, ScalarsLiveInTheValueWithoutAllocation)
{
    const ZString text("owned text");  // its record is made before counting starts
    const AllocationCounter counter;
    {
        ZVariant a = 1.5;
        ZVariant b = std::complex<double>(1, 2);
        ZVariant c = text;
        ZVariant d = Duration{1, 2};
        ZVariant copy = c;
        ZVariant moved = std::move(a);
        ZVariant null;
        moved = std::move(b);
        EXPECT_TRUE(copy.storage().isInPlace());
        EXPECT_TRUE(moved.template holds<std::complex<double>>());
        EXPECT_EQ(a.storage().data(), nullptr);  // the moved-from value holds nothing
        EXPECT_TRUE(null.isNull());
        (void)d;
    }
    EXPECT_EQ(counter.count(), 0u);
}

TEST(ZVariantCounting, MatchingIterableSharesWithoutAllocation)
{
    std::vector<double> values{1, 2, 3, 4};
    const double* block = values.data();
    const ZVariant array(std::move(values));  // adopts the vector's block
    EXPECT_EQ(array.constStoredData(), block);
    const AllocationCounter counter;
    {
        const auto range = array.iterable<double>();
        EXPECT_EQ(range.begin(), block);
        EXPECT_EQ(range.size(), 4u);
    }
    EXPECT_EQ(counter.count(), 0u);
}

TEST(ZVariantCounting, AConvertedScalarIsACountedHeapObject)
{
    const ZVariant x = 7;
    const AllocationCounter counter;
    const ZVariant converted = x.convertTo<double>();
    EXPECT_EQ(counter.count(), 1u);
    EXPECT_FALSE(converted.storage().isInPlace());
    const ZVariant share = converted;  // a share, not a copy
    EXPECT_EQ(share.constStoredData(), converted.constStoredData());
    EXPECT_EQ(counter.count(), 1u);
}

TEST(ZVariantCounting, CopyingAnArraySharesItsStorage)
{
    const double values[] = {1, 2, 3};
    const ZVariant array(values, 3);
    const AllocationCounter counter;
    const ZVariant copy = array;
    const ZVariant converted = array.convertTo<double>();  // same type: a share
    EXPECT_EQ(copy.constStoredData(), array.constStoredData());
    EXPECT_EQ(converted.constStoredData(), array.constStoredData());
    EXPECT_EQ(counter.count(), 0u);
}

}  // namespace
