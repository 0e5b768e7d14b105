#include "LumCore/IndexSet.hpp"

namespace Marlowen::Lum {

// Built when the library loads; it depends on nothing else.
const IndexRange IndexRange::all(IndexValue(0, false), IndexValue(0, true), 1);

std::vector<IndexSet> ArraySliceFromIndices(const std::vector<std::uint64_t>& indices)
{
    std::vector<IndexSet> slice;
    slice.reserve(indices.size());
    for (std::uint64_t index : indices) {
        slice.emplace_back(IndexValue(index, false));
    }
    return slice;
}

}  // namespace Marlowen::Lum
