// The flat slice: one range per dimension, each walked forward or backward,
// as Python's and NumPy's slices are. The positions go through the index
// selections and the slice flattener, which only ever run forward; a
// backward range selects the same positions, and a second pass then turns
// its dimension around.
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <vector>

#include "LumCore/CopySlice.hpp"
#include "LumCore/c/LumCoreFlat.h"
#include "boundary/GuardedCall.hpp"
#include "variant/CountedShare.hpp"

namespace {

using namespace Marlowen::Lum;
using namespace Marlowen::Lum::Internal;

[[noreturn]] void throwOutOfBounds() { throw std::invalid_argument("slice dimensions are out of bounds"); }

// The positions of `range`, in ascending order. A span that wraps cannot
// lie within any dimension, so it is out of bounds like a step of 0.
IndexSet ascendingSelection(const ZSliceRange& range)
{
    if (range.count == 0) {
        return IndexSet();
    }
    if (range.count == 1) {
        return IndexSet(IndexValue(range.first));
    }
    if (range.step == 0) {
        throwOutOfBounds();
    }
    const std::uint64_t stride =
        range.step > 0 ? static_cast<std::uint64_t>(range.step) : 0 - static_cast<std::uint64_t>(range.step);
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
    if (range.count - 1 > kMost / stride) {
        throwOutOfBounds();
    }
    const std::uint64_t span = (range.count - 1) * stride;
    if (range.step > 0 ? span > kMost - range.first : span > range.first) {
        throwOutOfBounds();
    }
    const std::uint64_t low = range.step > 0 ? range.first : range.first - span;
    return IndexSet(IndexRange(IndexValue(low), IndexValue(low + span), stride));
}

// `dense` with each dimension marked in `backward` walked from its end:
// for every element of the result, in storage order, where it lies in
// `dense`.
std::vector<std::uint64_t> reversedOffsets(ArrayDimensionsView dims, DataOrdering ordering,
                                           const std::vector<bool>& backward)
{
    const std::size_t rank = dims.size();
    std::vector<std::size_t> fastestFirst(rank);
    std::vector<std::uint64_t> stride(rank);
    std::uint64_t step = 1;
    for (std::size_t k = 0; k < rank; ++k) {
        const std::size_t d = ordering == DataOrdering::RowMajor ? rank - 1 - k : k;
        fastestFirst[k] = d;
        stride[d] = step;
        step *= dims[d];
    }
    std::vector<std::uint64_t> offsets(step);
    std::vector<std::uint64_t> index(rank, 0);
    for (std::uint64_t& offset : offsets) {
        offset = 0;
        for (std::size_t d = 0; d < rank; ++d) {
            offset += (backward[d] ? dims[d] - 1 - index[d] : index[d]) * stride[d];
        }
        for (std::size_t k = 0; k < rank && ++index[fastestFirst[k]] == dims[fastestFirst[k]]; ++k) {
            index[fastestFirst[k]] = 0;
        }
    }
    return offsets;
}

ZVariant reversed(const ZVariant& dense, const std::vector<bool>& backward)
{
    const WellKnownType type = dense.wellKnownDataType();
    if (type == WellKnownType(WellKnownTypeValue::customType)) {
        throw std::invalid_argument("A backward slice of custom elements is not supported.");
    }
    const std::vector<std::uint64_t> from = reversedOffsets(dense.dimensions(), dense.dataOrdering(), backward);
    return dispatchElementType(type, [&](auto tag) {
        using T = typename decltype(tag)::type;
        ZVariant result = ZVariant::allocate<T>(dense.dimensions(), dense.dataOrdering());
        const T* source = static_cast<const T*>(dense.constStoredData());
        T* target = static_cast<T*>(result.mutableStoredData());
        for (std::size_t i = 0; i < from.size(); ++i) {
            target[i] = source[from[i]];
        }
        return result;
    });
}

}  // namespace

extern "C" {

LUM_API ZVariantData* ZVariantData_C_API_copySlice(ErrorRecord* error, const ZVariantData* handle,
                                                   const ZSliceRange* ranges, size_t rangeCount)
{
    return guardedCall(error, [&] {
        const auto* data = reinterpret_cast<const IVariantData*>(handle);
        const ZVariant source = ZVariant::adoptFlatHandle(reinterpret_cast<ZVariantData*>(countedShare(*data)));
        std::vector<IndexSet> selections;
        std::vector<bool> backward;
        selections.reserve(rangeCount);
        for (std::size_t d = 0; d < rangeCount; ++d) {
            selections.push_back(ascendingSelection(ranges[d]));
            backward.push_back(ranges[d].step < 0 && ranges[d].count > 1);
        }
        const SliceFlattener slice(selections, source.dimensions(), source.dataOrdering(), UseDataOrdering::AsArray);
        ZVariant result = copySlice(source, slice);
        if (std::find(backward.begin(), backward.end(), true) != backward.end()) {
            result = reversed(result, backward);
        }
        return reinterpret_cast<ZVariantData*>(countedShare(*result.storage().data()));
    });
}

}  // extern "C"
