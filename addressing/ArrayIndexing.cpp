#include "LumCore/ArrayIndexing.hpp"

#include <stdexcept>

namespace Marlowen::Lum {

namespace {

// Product of the extents in [first, last).
std::uint64_t productOf(ArrayDimensionsView dims, std::uint64_t first, std::uint64_t last) noexcept
{
    std::uint64_t product = 1;
    for (std::uint64_t i = first; i < last; ++i) {
        product *= dims[i];
    }
    return product;
}

template <class Stride>
std::uint64_t offsetOf(const std::vector<std::uint64_t>& indices, ArrayDimensionsView dims, bool check, Stride stride)
{
    if (indices.size() != dims.size()) {
        throw std::invalid_argument("Wrong number of indices.");
    }
    if (check) {
        for (std::size_t i = 0; i < indices.size(); ++i) {
            if (indices[i] >= dims[i]) {
                throw std::out_of_range("Indices out of bounds.");
            }
        }
    }
    std::uint64_t offset = 0;
    for (std::size_t i = 0; i < indices.size(); ++i) {
        offset += indices[i] * stride(i, dims);
    }
    return offset;
}

// Steps shared by both index calculations: empty `out`, check, strides.
template <class Stride>
std::vector<std::uint64_t> prepareIndices(std::vector<std::uint64_t>& out, std::uint64_t offset,
                                          ArrayDimensionsView dims, bool check, Stride stride)
{
    out.clear();
    if (check && (dims.empty() || offset >= elementCount(dims))) {
        throw std::invalid_argument("Too few indices.");
    }
    std::vector<std::uint64_t> strides(dims.size());
    for (std::size_t i = 0; i < dims.size(); ++i) {
        strides[i] = stride(i, dims);
    }
    out.resize(dims.size(), 0);
    return strides;
}

}  // namespace

ArrayIndexing& ArrayIndexing::operator=(const ArrayIndexing&) { return *this; }

ArrayIndexing& ArrayIndexing::operator=(ArrayIndexing&&) { return *this; }

std::uint64_t ArrayIndexing::CalculateDimStrideColumnMajor(std::uint64_t dimension, ArrayDimensionsView dims)
{
    if (dimension >= dims.size()) {
        return 0;
    }
    return productOf(dims, 0, dimension);
}

std::uint64_t ArrayIndexing::CalculateDimStrideRowMajor(std::uint64_t dimension, ArrayDimensionsView dims)
{
    if (dimension >= dims.size()) {
        return 0;
    }
    return productOf(dims, dimension + 1, dims.size());
}

std::uint64_t ArrayIndexing::calculateOffsetColumnMajor(const std::vector<std::uint64_t>& indices,
                                                        ArrayDimensionsView dims, bool check)
{
    return offsetOf(indices, dims, check, &CalculateDimStrideColumnMajor);
}

std::uint64_t ArrayIndexing::calculateOffsetRowMajor(const std::vector<std::uint64_t>& indices,
                                                     ArrayDimensionsView dims, bool check)
{
    return offsetOf(indices, dims, check, &CalculateDimStrideRowMajor);
}

void ArrayIndexing::CalculateIndicesColumnMajor(std::vector<std::uint64_t>& out, std::uint64_t offset,
                                                ArrayDimensionsView dims, bool check)
{
    const std::vector<std::uint64_t> strides = prepareIndices(out, offset, dims, check, &CalculateDimStrideColumnMajor);
    // Dimensions of length 0 or 1 keep index 0 and are not divided by.
    for (std::size_t k = dims.size(); k-- > 0;) {
        if (dims[k] > 1) {
            out[k] = offset / strides[k];
            offset %= strides[k];
        }
    }
}

void ArrayIndexing::CalculateIndicesRowMajor(std::vector<std::uint64_t>& out, std::uint64_t offset,
                                             ArrayDimensionsView dims, bool check)
{
    const std::vector<std::uint64_t> strides = prepareIndices(out, offset, dims, check, &CalculateDimStrideRowMajor);
    for (std::size_t k = 0; k < dims.size(); ++k) {
        out[k] = offset / strides[k];
        offset %= strides[k];
    }
}

}  // namespace Marlowen::Lum
