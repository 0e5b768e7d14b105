#include "variant/NullVariantData.hpp"

#include <stdexcept>

#include "LumCore/VariantFactories.hpp"
#include "LumCore/internal/ElementTypeDispatch.hpp"
#include "variant/StorageInstances.hpp"

namespace Marlowen::Lum::Internal {

void NullVariantData::reshapeNoRealloc(ArrayDimensionsView dimensions)
{
    if (!dimensions.empty()) {
        throw std::invalid_argument(
            "Cannot reshape an empty ZVariant to one containing more than zero elements without reallocating.");
    }
}

IVariantData* NullVariantData::convertDataTo(WellKnownType target, ConversionMode) const
{
    if (target == WellKnownType()) {
        return self();
    }
    return dispatchElementType(target, [](auto tag) -> IVariantData* {
        using T = typename decltype(tag)::type;
        return VectorVariantData<T>::create(ArrayDimensionsView(), DataOrdering::RowMajor);
    });
}

IVariantData* constructVariantNull()
{
    static NullVariantData s_null;
    return &s_null;
}

IVariantData* flatNullVariant()
{
    static NullVariantData s_flatNull;
    return &s_flatNull;
}

}  // namespace Marlowen::Lum::Internal
