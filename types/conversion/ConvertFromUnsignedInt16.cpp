// The 25 conversion kernels from std::uint16_t.
#include "types/conversion/ConvertElementsImpl.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_INSTANTIATE_CONVERSIONS_FROM(std::uint16_t)
}  // namespace Marlowen::Lum::Internal
