// The 25 conversion kernels from ZString.
#include "types/conversion/ConvertElementsImpl.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_INSTANTIATE_CONVERSIONS_FROM(ZString)
}  // namespace Marlowen::Lum::Internal
