// The 25 conversion kernels from std::uint8_t.
#include "types/conversion/ConvertElementsImpl.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_INSTANTIATE_CONVERSIONS_FROM(std::uint8_t)
}  // namespace Marlowen::Lum::Internal
