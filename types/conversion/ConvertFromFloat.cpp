// The 25 conversion kernels from float.
#include "types/conversion/ConvertElementsImpl.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_INSTANTIATE_CONVERSIONS_FROM(float)
}  // namespace Marlowen::Lum::Internal
