// The 25 conversion kernels from Complex<bool>.
#include "types/conversion/ConvertElementsImpl.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_INSTANTIATE_CONVERSIONS_FROM(Complex<bool>)
}  // namespace Marlowen::Lum::Internal
