// reorderElements: copies an array into the other element ordering.
//
// The result is that of walking a multi-index over the array with the last
// index fastest, reading the row-major side linearly and addressing the
// column-major side through ArrayIndexing's column-major offset. Computing
// that offset afresh for every element is slow and strides across memory
// on one side, so the walk is done as tiles instead: for each setting of the
// middle indices, the first and last dimensions form a matrix that is
// transposed tile by tile, so both sides stay in cache.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "LumCore/ArrayDimensionsView.hpp"
#include "LumCore/DataOrdering.hpp"

namespace Marlowen::Lum::Internal {

// Side of the square tiles; 32 x 32 doubles is 8 KiB per side.
inline constexpr std::size_t kReorderTile = 32;

// destination[a * dstA + b * dstB] = source[a * srcA + b * srcB] for a < rows,
// b < columns, tile by tile.
template <class T>
void copyStridedMatrix(const T* source, std::size_t srcA, std::size_t srcB, T* destination, std::size_t dstA,
                       std::size_t dstB, std::size_t rows, std::size_t columns)
{
    for (std::size_t a0 = 0; a0 < rows; a0 += kReorderTile) {
        const std::size_t aEnd = std::min(rows, a0 + kReorderTile);
        for (std::size_t b0 = 0; b0 < columns; b0 += kReorderTile) {
            const std::size_t bEnd = std::min(columns, b0 + kReorderTile);
            for (std::size_t a = a0; a < aEnd; ++a) {
                const T* in = source + a * srcA;
                T* out = destination + a * dstA;
                for (std::size_t b = b0; b < bEnd; ++b) {
                    out[b * dstB] = in[b * srcB];
                }
            }
        }
    }
}

// The walk itself, element by element, for a source that holds fewer
// elements than its shape describes (an adopted vector reshaped up to its
// capacity): only the `available` elements that exist are read, and the
// destination's other places keep what a new array has in them.
template <class T>
void reorderExistingElements(const T* source, std::uint64_t available, T* destination, ArrayDimensionsView dims,
                             bool fromRowMajor)
{
    const std::size_t rank = dims.size();
    std::vector<std::size_t> indices(rank, 0);
    std::vector<std::size_t> columnStride(rank);
    columnStride[0] = 1;
    for (std::size_t k = 1; k < rank; ++k) {
        columnStride[k] = columnStride[k - 1] * dims[k - 1];
    }
    std::uint64_t offset = 0;  // column-major offset of `indices`
    for (std::uint64_t i = 0; i < available; ++i) {
        if (fromRowMajor) {
            destination[offset] = source[i];
        } else if (offset < available) {
            destination[i] = source[offset];
        }
        for (std::size_t k = rank; k-- > 0;) {
            offset += columnStride[k];
            if (++indices[k] != dims[k]) {
                break;
            }
            offset -= dims[k] * columnStride[k];
            indices[k] = 0;
        }
    }
}

// Copies the elementCount(dims) elements of `source`, stored in
// `sourceOrdering`, into `destination` in the other ordering; `available` is
// how many elements the source holds. Orderings other than the two leave the
// destination as it is.
template <class T>
void reorderElements(const T* source, std::uint64_t available, T* destination, ArrayDimensionsView dims,
                     DataOrdering sourceOrdering)
{
    if (sourceOrdering != DataOrdering::RowMajor && sourceOrdering != DataOrdering::ColumnMajor) {
        return;
    }
    const std::size_t rank = dims.size();
    const std::uint64_t count = elementCount(dims);
    if (count == 0) {
        return;
    }
    if (available < count) {
        reorderExistingElements(source, available, destination, dims, sourceOrdering == DataOrdering::RowMajor);
        return;
    }
    if (rank == 1) {
        std::copy(source, source + count, destination);
        return;
    }
    // Strides of every dimension in both orderings.
    std::vector<std::size_t> rowStride(rank), columnStride(rank);
    rowStride[rank - 1] = 1;
    for (std::size_t k = rank - 1; k-- > 0;) {
        rowStride[k] = rowStride[k + 1] * dims[k + 1];
    }
    columnStride[0] = 1;
    for (std::size_t k = 1; k < rank; ++k) {
        columnStride[k] = columnStride[k - 1] * dims[k - 1];
    }
    const bool fromRowMajor = sourceOrdering == DataOrdering::RowMajor;
    const std::vector<std::size_t>& srcStride = fromRowMajor ? rowStride : columnStride;
    const std::vector<std::size_t>& dstStride = fromRowMajor ? columnStride : rowStride;

    // Walk the middle dimensions 1 .. rank-2 as an odometer; each position
    // is one matrix over the first and the last dimension.
    std::vector<std::size_t> middle(rank, 0);
    std::size_t srcOffset = 0;
    std::size_t dstOffset = 0;
    for (;;) {
        copyStridedMatrix(source + srcOffset, srcStride[0], srcStride[rank - 1], destination + dstOffset,
                          dstStride[0], dstStride[rank - 1], dims[0], dims[rank - 1]);
        std::size_t k = rank - 1;
        while (k-- > 1) {
            if (++middle[k] != dims[k]) {
                srcOffset += srcStride[k];
                dstOffset += dstStride[k];
                break;
            }
            middle[k] = 0;
            srcOffset -= (dims[k] - 1) * srcStride[k];
            dstOffset -= (dims[k] - 1) * dstStride[k];
        }
        if (k == 0) {
            return;
        }
    }
}

// The same for a source that holds every element its shape describes.
template <class T>
void reorderElements(const T* source, T* destination, ArrayDimensionsView dims, DataOrdering sourceOrdering)
{
    reorderElements(source, elementCount(dims), destination, dims, sourceOrdering);
}

}  // namespace Marlowen::Lum::Internal
