// Internal: compiled into callers through the public headers; carries no promise of stability.
// reorderElements: copies an array into the other element ordering.
//
// The result is that of walking a multi-index over the array with the last
// index fastest, reading the row-major side linearly and addressing the
// column-major side through ArrayIndexing's column-major offset. Computing
// that offset afresh for every element is slow and strides across memory
// on one side, so the walk is done as tiles instead: for each setting of the
// middle indices, the first and last dimensions form a matrix that is
// transposed block by block, so both sides stay in cache.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "LumCore/ArrayDimensionsView.hpp"
#include "LumCore/DataOrdering.hpp"

namespace Marlowen::Lum::Internal {

// The transpose works on small square blocks of 32 bytes a row (4 doubles),
// copied with loops of fixed length, inside tiles of 256 source rows by 128
// bytes. A tile's destination side is then written in runs of 256 elements,
// and its source side read in runs of two cache lines, which keeps both
// streams long enough for the hardware to follow even when the row length is
// a power of two. Square 32 x 32 tiles wrote 32 short runs that all fell into
// one cache set and ran at a fifth of memcpy's speed on 4096 x 4096 doubles.
template <class T>
inline constexpr std::size_t kReorderBlock = sizeof(T) >= 32 ? 1 : 32 / sizeof(T);
inline constexpr std::size_t kReorderTileRows = 256;
template <class T>
inline constexpr std::size_t kReorderTileColumns = sizeof(T) >= 128 ? 1 : 128 / sizeof(T);

// out[j * outStride + i] = in[i * inStride + j] for i < rows, j < columns.
template <class T>
void transposeMatrix(const T* in, std::size_t inStride, T* out, std::size_t outStride, std::size_t rows,
                     std::size_t columns)
{
    constexpr std::size_t kBlock = kReorderBlock<T>;
    for (std::size_t i0 = 0; i0 < rows; i0 += kReorderTileRows) {
        const std::size_t iEnd = std::min(rows, i0 + kReorderTileRows);
        for (std::size_t j0 = 0; j0 < columns; j0 += kReorderTileColumns<T>) {
            const std::size_t jEnd = std::min(columns, j0 + kReorderTileColumns<T>);
            for (std::size_t i1 = i0; i1 < iEnd; i1 += kBlock) {
                for (std::size_t j1 = j0; j1 < jEnd; j1 += kBlock) {
                    const T* from = in + i1 * inStride + j1;
                    T* to = out + j1 * outStride + i1;
                    if (i1 + kBlock <= iEnd && j1 + kBlock <= jEnd) {
                        for (std::size_t j = 0; j < kBlock; ++j) {
                            for (std::size_t i = 0; i < kBlock; ++i) {
                                to[j * outStride + i] = from[i * inStride + j];
                            }
                        }
                    } else {
                        const std::size_t iCount = std::min(kBlock, iEnd - i1);
                        const std::size_t jCount = std::min(kBlock, jEnd - j1);
                        for (std::size_t j = 0; j < jCount; ++j) {
                            for (std::size_t i = 0; i < iCount; ++i) {
                                to[j * outStride + i] = from[i * inStride + j];
                            }
                        }
                    }
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
        // The source runs along its fastest dimension, the destination along
        // the other: the last for row-major, the first for column-major.
        if (fromRowMajor) {
            transposeMatrix(source + srcOffset, srcStride[0], destination + dstOffset, dstStride[rank - 1], dims[0],
                            dims[rank - 1]);
        } else {
            transposeMatrix(source + srcOffset, srcStride[rank - 1], destination + dstOffset, dstStride[0],
                            dims[rank - 1], dims[0]);
        }
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
