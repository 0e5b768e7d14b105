// The 25 conversion kernels from TimePoint.
#include "types/conversion/ConvertElementsImpl.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_INSTANTIATE_CONVERSIONS_FROM(TimePoint)
}  // namespace Marlowen::Lum::Internal
