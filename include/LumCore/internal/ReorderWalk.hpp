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
#include <type_traits>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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

#if defined(__SSE2__)
// Large matrices of 8-byte elements go another way. Tiles of 32 source rows
// by 128 columns are read row by row (runs of 16 cache lines), transposed
// in pairs of rows with 16-byte shuffles into a buffer that stays in L1, and
// each destination row's 32 elements are written with streaming stores: the
// destination is not read first, as cached stores would read it. That ran at
// about half of memcpy's speed on 4096 x 4096 doubles, against a third for
// the cached tiles above. Only the bits move, so any 8-byte class will do.
inline constexpr std::size_t kStreamTileRows = 32;
inline constexpr std::size_t kStreamTileColumns = 128;
inline constexpr std::size_t kStreamMinimumBytes = std::size_t{4} << 20;

template <class T>
inline constexpr bool kStreamsTranspose = sizeof(T) == 8 && std::is_trivially_copyable_v<T>;

// Whether the streaming route can write the destination: 16-byte stores
// need 16-byte aligned rows.
template <class T>
bool canStreamTranspose(const T* out, std::size_t outStride, std::size_t rows, std::size_t columns) noexcept
{
    return kStreamsTranspose<T> && rows >= kStreamTileRows && columns >= kStreamTileColumns &&
           rows * columns * sizeof(T) >= kStreamMinimumBytes && reinterpret_cast<std::uintptr_t>(out) % 16 == 0 &&
           outStride % 2 == 0;
}

// out[j * outStride + i] = in[i * inStride + j] over the whole tiles; the
// caller transposes the edges.
template <class T>
void transposeTilesStreaming(const T* in, std::size_t inStride, T* out, std::size_t outStride, std::size_t rows,
                             std::size_t columns)
{
    constexpr std::size_t kRows = kStreamTileRows;
    constexpr std::size_t kPadded = kRows + 8;  // rows of the buffer apart in the cache's sets
    alignas(64) std::uint64_t buffer[kStreamTileColumns][kPadded];
    for (std::size_t i0 = 0; i0 < rows; i0 += kRows) {
        for (std::size_t j0 = 0; j0 < columns; j0 += kStreamTileColumns) {
            for (std::size_t i = 0; i < kRows; i += 2) {
                const T* upper = in + (i0 + i) * inStride + j0;
                const T* lower = upper + inStride;
                for (std::size_t j = 0; j < kStreamTileColumns; j += 2) {
                    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(upper + j));
                    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(lower + j));
                    _mm_store_si128(reinterpret_cast<__m128i*>(&buffer[j][i]), _mm_unpacklo_epi64(a, b));
                    _mm_store_si128(reinterpret_cast<__m128i*>(&buffer[j + 1][i]), _mm_unpackhi_epi64(a, b));
                }
            }
            for (std::size_t j = 0; j < kStreamTileColumns; ++j) {
                auto* row = reinterpret_cast<__m128i*>(out + (j0 + j) * outStride + i0);
                const auto* from = reinterpret_cast<const __m128i*>(buffer[j]);
                for (std::size_t k = 0; k < kRows / 2; ++k) {
                    _mm_stream_si128(row + k, _mm_load_si128(from + k));
                }
            }
        }
    }
    _mm_sfence();  // the streamed lines are in memory before anyone reads them
}
#endif

// The transpose of a whole matrix: whole streaming tiles where they pay,
// the cached tiles for the rest.
template <class T>
void transposeWholeMatrix(const T* in, std::size_t inStride, T* out, std::size_t outStride, std::size_t rows,
                          std::size_t columns)
{
#if defined(__SSE2__)
    if constexpr (kStreamsTranspose<T>) {
        if (canStreamTranspose(out, outStride, rows, columns)) {
            const std::size_t tiledRows = rows / kStreamTileRows * kStreamTileRows;
            const std::size_t tiledColumns = columns / kStreamTileColumns * kStreamTileColumns;
            transposeTilesStreaming(in, inStride, out, outStride, tiledRows, tiledColumns);
            // The columns right of the tiles, all rows; then the rows below them.
            transposeMatrix(in + tiledColumns, inStride, out + tiledColumns * outStride, outStride, rows,
                            columns - tiledColumns);
            transposeMatrix(in + tiledRows * inStride, inStride, out + tiledRows, outStride, rows - tiledRows,
                            tiledColumns);
            return;
        }
    }
#endif
    transposeMatrix(in, inStride, out, outStride, rows, columns);
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

// Whether reorderElements writes every element of the destination: the
// source is in one of the two orderings and holds all its shape describes.
[[nodiscard]] inline bool reorderWritesEvery(std::uint64_t available, ArrayDimensionsView dims,
                                             DataOrdering sourceOrdering) noexcept
{
    return (sourceOrdering == DataOrdering::RowMajor || sourceOrdering == DataOrdering::ColumnMajor) &&
           available >= elementCount(dims);
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
            transposeWholeMatrix(source + srcOffset, srcStride[0], destination + dstOffset, dstStride[rank - 1],
                                 dims[0], dims[rank - 1]);
        } else {
            transposeWholeMatrix(source + srcOffset, srcStride[rank - 1], destination + dstOffset, dstStride[0],
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
