// The two ways the library copies elements it does not own into a plain
// array of its own: as they are stored, or into the other ordering. Views,
// lent memory and imported tensors all copy out through these.
#pragma once

#include "LumCore/internal/ElementTypeDispatch.hpp"
#include "LumCore/internal/OwnedStorage.hpp"
#include "LumCore/internal/ReorderWalk.hpp"
#include "variant/StorageInstances.hpp"

namespace Marlowen::Lum::Internal {

// A new array of `type` and shape `dimensions` holding the `count` elements
// at `data`; the caller has checked that the shape fits in `count`.
[[nodiscard]] inline IVariantData* newArrayCopy(WellKnownType type, const void* data, std::size_t count,
                                                ArrayDimensionsView dimensions, DataOrdering ordering)
{
    return dispatchElementType(type, [&](auto tag) -> IVariantData* {
        using T = typename decltype(tag)::type;
        return VectorVariantData<T>::createWithData(static_cast<const T*>(data), count, dimensions, ordering);
    });
}

// A new array of `type` in `ordering` holding the elements of `dimensions`
// stored at `data` in `sourceOrdering`; the caller has checked that they
// all lie at `data`.
[[nodiscard]] inline IVariantData* newReorderedArray(WellKnownType type, const void* data,
                                                     ArrayDimensionsView dimensions, DataOrdering sourceOrdering,
                                                     DataOrdering ordering)
{
    return dispatchElementType(type, [&](auto tag) -> IVariantData* {
        using T = typename decltype(tag)::type;
        OwnedStorage<VectorVariantData<T>> result(VectorVariantData<T>::createForOverwrite(dimensions, ordering));
        reorderElements(static_cast<const T*>(data), result->elements(), dimensions, sourceOrdering);
        return result.release();
    });
}

}  // namespace Marlowen::Lum::Internal
