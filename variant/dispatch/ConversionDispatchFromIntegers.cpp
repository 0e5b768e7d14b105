// The conversion dispatch from bool and the signed integers.
#include "variant/ConversionDispatchImpl.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_INSTANTIATE_DISPATCH_FROM(bool)
LUMCORE_INSTANTIATE_DISPATCH_FROM(std::int8_t)
LUMCORE_INSTANTIATE_DISPATCH_FROM(std::int16_t)
LUMCORE_INSTANTIATE_DISPATCH_FROM(std::int32_t)
LUMCORE_INSTANTIATE_DISPATCH_FROM(std::int64_t)
}  // namespace Marlowen::Lum::Internal
