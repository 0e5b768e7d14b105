// The conversion matrix: for one source class, the dispatch on the target
// type and the kernels it runs. Included by the files of this folder, each of
// which instantiates it for one family of source classes.
#pragma once

#include <cstdint>
#include <type_traits>
#include <utility>

#include "LumCore/internal/ConversionDispatch.hpp"
#include "LumCore/internal/ElementTypeDispatch.hpp"
#include "LumCore/internal/OwnedStorage.hpp"
#include "types/conversion/ConversionKernels.hpp"
#include "types/conversion/ConvertElements.hpp"
#include "variant/StorageInstances.hpp"

namespace Marlowen::Lum::Internal {

template <class From, class To>
bool runConversionKernel(const void* source, void* destination, std::uint64_t count, ConversionMode mode)
{
    return convertElementArray<From, To>(static_cast<const From*>(source), static_cast<To*>(destination), count, mode);
}

template <class From>
ConversionKernel conversionKernelTo(WellKnownType target)
{
    return dispatchElementType(
        target, [](auto tag) -> ConversionKernel { return &runConversionKernel<From, typename decltype(tag)::type>; });
}

template <class From>
IVariantData* convertArrayData(const IVariantData& source, WellKnownType target, ConversionMode mode)
{
    return dispatchElementType(target, [&](auto tag) -> IVariantData* {
        using To = typename decltype(tag)::type;
        const ArrayDimensionsView dims = source.dimensions();
        const std::uint64_t count = elementCount(dims);
        // The numeric and copying kernels write every element of a result they
        // return, so its memory is touched once, by them. The other rules may
        // leave elements unwritten (a default-only pair that succeeds) and
        // start from default values, numbers included.
        constexpr ConversionRule rule = conversionRuleOf<From, To>();
        constexpr bool writesEvery = rule == ConversionRule::numeric || rule == ConversionRule::copy;
        OwnedStorage<VectorVariantData<To>> result(
            VectorVariantData<To>::createWritingFirst(writesEvery ? count : 0, dims, source.dataOrdering()));
        if (!convertElementArray<From, To>(static_cast<const From*>(source.constStoredData()), result->elements(),
                                           count, mode)) {
            return nullptr;
        }
        return result.release();
    });
}

template <class From>
IVariantData* convertScalarData(const From& value, WellKnownType target, ConversionMode mode)
{
    return dispatchElementType(target, [&](auto tag) -> IVariantData* {
        using To = typename decltype(tag)::type;
        To converted{};
        if (!convertElementArray<From, To>(&value, &converted, 1, mode)) {
            return nullptr;
        }
        return new ScalarVariantDataRefCounted<To>(std::move(converted));
    });
}

}  // namespace Marlowen::Lum::Internal

// Instantiates the matrix row of one source class; expands an entry of the
// element type list, inside namespace Marlowen::Lum::Internal.
#define LUMCORE_INSTANTIATE_CONVERSIONS_FROM(word, enumerator, code, From)                             \
    template ConversionKernel conversionKernelTo<From>(WellKnownType);                                 \
    template IVariantData* convertArrayData<From>(const IVariantData&, WellKnownType, ConversionMode); \
    template IVariantData* convertScalarData<From>(const From&, WellKnownType, ConversionMode);
