// The ways the library copies elements it does not own into a plain array
// of its own: as they are stored, into the other ordering, into another
// shape, or converted to another type. Views, lent memory and imported
// tensors all copy out through these, each picking the element class from
// the type it reports.
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
        const std::uint64_t count = elementCount(dimensions);
        OwnedStorage<VectorVariantData<T>> result(VectorVariantData<T>::createWritingFirst(
            reorderWritesEvery(count, dimensions, sourceOrdering) ? count : 0, dimensions, ordering));
        reorderElements(static_cast<const T*>(data), result->elements(), dimensions, sourceOrdering);
        return result.release();
    });
}

// A new array of `type`, `dimensions` and `ordering`, its first elements
// copied from `source` in storage order; `source` must be of `type`.
[[nodiscard]] inline IVariantData* newReshapedArray(WellKnownType type, const IVariantData& source,
                                                    ArrayDimensionsView dimensions, DataOrdering ordering)
{
    return dispatchElementType(type, [&](auto tag) {
        using T = typename decltype(tag)::type;
        return reshapeIntoNewArray<T>(source, dimensions, ordering);
    });
}

// The elements of `source`, read through its own operations, converted to
// `target` in `mode`; null when the mode refuses.
[[nodiscard]] inline IVariantData* newConvertedArray(const IVariantData& source, WellKnownType target,
                                                     ConversionMode mode)
{
    return dispatchElementType(source.wellKnownDataType(), [&](auto tag) {
        using From = typename decltype(tag)::type;
        return convertArrayData<From>(source, target, mode);
    });
}

}  // namespace Marlowen::Lum::Internal
