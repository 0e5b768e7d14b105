// The conversion dispatch from the signed integer complex classes.
#include "variant/ConversionDispatchImpl.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_INSTANTIATE_DISPATCH_FROM(::Marlowen::Lum::Complex<bool>)
LUMCORE_INSTANTIATE_DISPATCH_FROM(::Marlowen::Lum::Complex<std::int8_t>)
LUMCORE_INSTANTIATE_DISPATCH_FROM(::Marlowen::Lum::Complex<std::int16_t>)
LUMCORE_INSTANTIATE_DISPATCH_FROM(::Marlowen::Lum::Complex<std::int32_t>)
LUMCORE_INSTANTIATE_DISPATCH_FROM(::Marlowen::Lum::Complex<std::int64_t>)
}  // namespace Marlowen::Lum::Internal
