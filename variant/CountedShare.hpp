// countedShare: one reference to a storage object that its holder may keep
// for as long as it likes.
//
// A ZVariant keeps a scalar in its own buffer, with no count: its flat handle
// points into that buffer, and copy() on it does nothing. Handing that
// address out as a share would let the holder write into the variant, race
// with its other readers and outlive it. Such a scalar is copied to a counted
// object of its own instead; everything else is shared with one increment.
#pragma once

#include "LumCore/internal/ElementTypeDispatch.hpp"
#include "variant/StorageInstances.hpp"

namespace Marlowen::Lum::Internal {

// Whether `data` is a scalar living in somebody's buffer, with no count.
[[nodiscard]] inline bool isUncountedScalar(const IVariantData& data)
{
    return data.isScalarStorage() && dynamic_cast<const IVariantDataRefCounted*>(&data) == nullptr;
}

[[nodiscard]] inline IVariantData* countedShare(const IVariantData& data)
{
    if (isUncountedScalar(data)) {
        return dispatchElementType(data.wellKnownDataType(), [&](auto tag) -> IVariantData* {
            using T = typename decltype(tag)::type;
            return new ScalarVariantDataRefCounted<T>(*static_cast<const T*>(data.constStoredData()));
        });
    }
    data.copy();
    return const_cast<IVariantData*>(&data);
}

}  // namespace Marlowen::Lum::Internal
