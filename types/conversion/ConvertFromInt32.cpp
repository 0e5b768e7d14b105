// The 25 conversion kernels from std::int32_t.
#include "types/conversion/ConvertElementsImpl.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_INSTANTIATE_CONVERSIONS_FROM(std::int32_t)
}  // namespace Marlowen::Lum::Internal
