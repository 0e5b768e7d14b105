// The 25 conversion kernels from bool.
#include "types/conversion/ConvertElementsImpl.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_INSTANTIATE_CONVERSIONS_FROM(bool)
}  // namespace Marlowen::Lum::Internal
