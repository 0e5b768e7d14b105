// The run-time half of the conversion matrix: from a storage object of a
// known element class to a new object of the class a WellKnownType names.
//
// One function per source class and storage kind; inside, the target is
// looked up once per array by dispatchElementType, and the pair's kernel
// runs over the elements. A refusal by the conversion rules is a null result,
// never an exception; the half-made result is destroyed first.
#pragma once

#include "LumCore/ConversionMode.hpp"
#include "LumCore/IVariantData.hpp"
#include "types/conversion/ConvertElements.hpp"

namespace Marlowen::Lum::Internal {

// A new VectorVariantData<To> of the source's shape and ordering, or null.
template <class From>
IVariantData* convertArrayData(const IVariantData& source, WellKnownType target, ConversionMode mode);

// A new counted scalar of the target class, or null.
template <class From>
IVariantData* convertScalarData(const From& value, WellKnownType target, ConversionMode mode);

#define LUMCORE_DECLARE_DISPATCH_FROM(From)                                                            \
    extern template IVariantData* convertArrayData<From>(const IVariantData&, WellKnownType, ConversionMode); \
    extern template IVariantData* convertScalarData<From>(const From&, WellKnownType, ConversionMode);
LUMCORE_WELL_KNOWN_ELEMENT_CLASSES(LUMCORE_DECLARE_DISPATCH_FROM)
LUMCORE_CUSTOM_ELEMENT_CLASSES(LUMCORE_DECLARE_DISPATCH_FROM)
#undef LUMCORE_DECLARE_DISPATCH_FROM

}  // namespace Marlowen::Lum::Internal
