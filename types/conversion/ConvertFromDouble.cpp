// The 25 conversion kernels from double.
#include "types/conversion/ConvertElementsImpl.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_INSTANTIATE_CONVERSIONS_FROM(double)
}  // namespace Marlowen::Lum::Internal
