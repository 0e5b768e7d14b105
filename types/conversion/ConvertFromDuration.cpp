// The 25 conversion kernels from Duration.
#include "types/conversion/ConvertElementsImpl.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_INSTANTIATE_CONVERSIONS_FROM(Duration)
}  // namespace Marlowen::Lum::Internal
