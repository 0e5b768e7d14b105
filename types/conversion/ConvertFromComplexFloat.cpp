// The 25 conversion kernels from std::complex<float>.
#include "types/conversion/ConvertElementsImpl.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_INSTANTIATE_CONVERSIONS_FROM(std::complex<float>)
}  // namespace Marlowen::Lum::Internal
