// The flat slice, whose ranges may run backward; NumPy's side of the same
// slices is checked on random shapes by the Python module's tests.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LumCore/c/LumCoreFlat.h"

namespace {

struct Slice {
    ErrorRecord error{};
    ZVariantData* source = nullptr;
    ~Slice() { ZVariantData_C_API_destruct(&error, source); }

    std::vector<int> take(std::vector<ZSliceRange> ranges, std::vector<size_t>* shape = nullptr)
    {
        ZVariantData* part = ZVariantData_C_API_copySlice(&error, source, ranges.data(), ranges.size());
        if (part == nullptr) {
            return {};
        }
        const ZArrayDimensions dims = ZVariantData_C_API_dimensions(&error, part);
        const auto* elements = static_cast<const int*>(ZVariantData_C_API_constStoredData(&error, part));
        std::vector<int> taken(elements, elements + ZVariantData_C_API_numberAllocatedElements(&error, part));
        if (shape != nullptr) {
            shape->assign(dims.data, dims.data + dims.size);
        }
        EXPECT_EQ(ZVariantData_C_API_dataOrdering(&error, part), ZVariantData_C_API_dataOrdering(&error, source));
        ZVariantData_C_API_destruct(&error, part);
        return taken;
    }
};

// A 2 x 3 array of 0..5 in row-major order, stored in `ordering`.
Slice grid(ZDataOrdering ordering)
{
    const int rowMajor[6] = {0, 1, 2, 3, 4, 5}, columnMajor[6] = {0, 3, 1, 4, 2, 5};
    const size_t dims[2] = {2, 3};
    Slice slice;
    slice.source = ZVariantData_C_API_constructArray(&slice.error, ordering ? columnMajor : rowMajor,
                                                     ZWellKnownType_int32, 6, ZArrayDimensions{dims, 2}, ordering);
    return slice;
}

TEST(CopySliceCApi, RangesRunForwardAndBackwardInEitherOrdering)
{
    Slice rows = grid(ZDataOrdering_RowMajor);
    std::vector<size_t> shape;
    EXPECT_EQ(rows.take({{1, 2, -1}, {2, 2, -2}}, &shape), (std::vector<int>{5, 3, 2, 0}));
    EXPECT_EQ(shape, (std::vector<size_t>{2, 2}));
    EXPECT_EQ(rows.take({{0, 2, 1}, {1, 0, 1}}, &shape), std::vector<int>{});
    EXPECT_EQ(shape, (std::vector<size_t>{2, 0}));

    Slice columns = grid(ZDataOrdering_ColumnMajor);  // storage: column by column
    EXPECT_EQ(columns.take({{1, 2, -1}, {0, 3, 1}}), (std::vector<int>{3, 0, 4, 1, 5, 2}));
    EXPECT_EQ(columns.take({{0, 1, 1}, {2, 3, -1}}), (std::vector<int>{2, 1, 0}));
    EXPECT_EQ(columns.error.typeName, nullptr);
}

TEST(CopySliceCApi, RangesOutsideTheArrayAreRefused)
{
    Slice rows = grid(ZDataOrdering_RowMajor);
    const auto refused = [&](std::vector<ZSliceRange> ranges, const char* words) {
        EXPECT_TRUE(rows.take(std::move(ranges)).empty());
        ASSERT_NE(rows.error.typeName, nullptr);
        EXPECT_STREQ(rows.error.typeName, "invalid_argument");
        EXPECT_STREQ(rows.error.message, words);
    };
    refused({{0, 2, 1}}, "slice dimensions don't match ZVariant dimensions");
    refused({{0, 2, 1}, {0, 4, 1}}, "slice dimensions are out of bounds");      // past the end
    refused({{1, 2, -2}, {0, 1, 1}}, "slice dimensions are out of bounds");     // before the start
    refused({{0, 2, 0}, {0, 1, 1}}, "slice dimensions are out of bounds");      // a step of 0
    refused({{1, 3, INT64_MIN}, {0, 1, 1}}, "slice dimensions are out of bounds");  // a span that wraps
}

}  // namespace
