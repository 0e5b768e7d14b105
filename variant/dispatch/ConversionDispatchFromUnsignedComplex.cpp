// The conversion dispatch from the unsigned integer complex classes.
#include "variant/ConversionDispatchImpl.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_INSTANTIATE_DISPATCH_FROM(::Marlowen::Lum::Complex<std::uint8_t>)
LUMCORE_INSTANTIATE_DISPATCH_FROM(::Marlowen::Lum::Complex<std::uint16_t>)
LUMCORE_INSTANTIATE_DISPATCH_FROM(::Marlowen::Lum::Complex<std::uint32_t>)
LUMCORE_INSTANTIATE_DISPATCH_FROM(::Marlowen::Lum::Complex<std::uint64_t>)
}  // namespace Marlowen::Lum::Internal
