// Definitions of the conversion dispatch, for the files that instantiate it.
#pragma once

#include <cstring>
#include <type_traits>
#include <utility>

#include "types/conversion/ConvertElements.hpp"
#include "LumCore/ConversionDispatch.hpp"
#include "LumCore/ElementTypeDispatch.hpp"
#include "LumCore/ScalarVariantData.hpp"
#include "LumCore/VectorVariantData.hpp"

namespace Marlowen::Lum::Internal {

template <class From>
IVariantData* convertArrayData(const IVariantData& source, WellKnownType target, ConversionMode mode)
{
    return dispatchElementType(target, [&](auto tag) -> IVariantData* {
        using To = typename decltype(tag)::type;
        const ArrayDimensionsView dims = source.dimensions();
        const std::uint64_t count = elementCount(dims);
        VectorVariantData<To>* result = VectorVariantData<To>::create(dims, source.dataOrdering());
        // The kernels expect default-valued destinations. New numbers are
        // uninitialised, and only the pairs from non-numeric sources may
        // leave them unwritten (a default-only pair that succeeds).
        constexpr auto fromBits = static_cast<std::uint16_t>(WellKnownTypeOf<From>::value);
        if constexpr (std::is_arithmetic_v<To> && (fromBits & kNumericKindMask) == 0) {
            std::memset(static_cast<void*>(result->elements()), 0, count * sizeof(To));
        }
        bool converted = false;
        try {
            converted = convertElements<From, To>(static_cast<const From*>(source.constStoredData()),
                                                  result->elements(), count, mode);
        } catch (...) {
            result->destruct();
            throw;
        }
        if (!converted) {
            result->destruct();
            return nullptr;
        }
        return result;
    });
}

template <class From>
IVariantData* convertScalarData(const From& value, WellKnownType target, ConversionMode mode)
{
    return dispatchElementType(target, [&](auto tag) -> IVariantData* {
        using To = typename decltype(tag)::type;
        To converted{};
        if (!convertElements<From, To>(&value, &converted, 1, mode)) {
            return nullptr;
        }
        return new ScalarVariantDataRefCounted<To>(std::move(converted));
    });
}

#define LUMCORE_INSTANTIATE_DISPATCH_FROM(From)                                                      \
    template IVariantData* convertArrayData<From>(const IVariantData&, WellKnownType, ConversionMode); \
    template IVariantData* convertScalarData<From>(const From&, WellKnownType, ConversionMode);

}  // namespace Marlowen::Lum::Internal
