// The conversion dispatch from the unsigned integers.
#include "variant/ConversionDispatchImpl.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_INSTANTIATE_DISPATCH_FROM(std::uint8_t)
LUMCORE_INSTANTIATE_DISPATCH_FROM(std::uint16_t)
LUMCORE_INSTANTIATE_DISPATCH_FROM(std::uint32_t)
LUMCORE_INSTANTIATE_DISPATCH_FROM(std::uint64_t)
}  // namespace Marlowen::Lum::Internal
