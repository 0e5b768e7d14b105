// ArrayIndexing: between a multi-dimensional index and a linear offset.
//
// Offsets count elements. Column-major: dimension 0 varies fastest; row-major:
// the last one does. Arithmetic is unsigned 64-bit and wraps silently. These
// are for single lookups; each call computes its strides afresh.
//
//     std::vector<size_t> dims{2, 3};
//     ArrayIndexing::calculateOffsetRowMajor({1, 2}, dims, true);      // 5
//     std::vector<uint64_t> idx;
//     ArrayIndexing::CalculateIndicesColumnMajor(idx, 4, dims, true);  // {0, 2}
#pragma once

#include <cstdint>
#include <vector>

#include "LumCore/ArrayDimensionsView.hpp"
#include "LumCore/c/Export.h"

namespace Marlowen::Lum {

class LUM_API ArrayIndexing {
public:
    ArrayIndexing() = default;
    ArrayIndexing(const ArrayIndexing&) = default;
    ArrayIndexing(ArrayIndexing&&) = default;
    ArrayIndexing& operator=(const ArrayIndexing&);
    ArrayIndexing& operator=(ArrayIndexing&&);

    // The stride of `dimension`; 0 for a dimension beyond the list.
    static std::uint64_t CalculateDimStrideColumnMajor(std::uint64_t dimension, ArrayDimensionsView dims);
    static std::uint64_t CalculateDimStrideRowMajor(std::uint64_t dimension, ArrayDimensionsView dims);

    // Fills `out` with the indices of `offset`. With `check`, an empty list or
    // an offset past the element count throws std::invalid_argument.
    static void CalculateIndicesColumnMajor(std::vector<std::uint64_t>& out, std::uint64_t offset,
                                            ArrayDimensionsView dims, bool check);
    static void CalculateIndicesRowMajor(std::vector<std::uint64_t>& out, std::uint64_t offset,
                                         ArrayDimensionsView dims, bool check);

    // The offset of `indices`. A count of indices other than the number of
    // dimensions throws std::invalid_argument; with `check`, an index past
    // its dimension throws std::out_of_range.
    static std::uint64_t calculateOffsetColumnMajor(const std::vector<std::uint64_t>& indices, ArrayDimensionsView dims,
                                                    bool check);
    static std::uint64_t calculateOffsetRowMajor(const std::vector<std::uint64_t>& indices, ArrayDimensionsView dims,
                                                 bool check);
};

}  // namespace Marlowen::Lum
