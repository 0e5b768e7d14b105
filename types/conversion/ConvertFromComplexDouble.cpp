// The 25 conversion kernels from std::complex<double>.
#include "types/conversion/ConvertElementsImpl.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_INSTANTIATE_CONVERSIONS_FROM(std::complex<double>)
}  // namespace Marlowen::Lum::Internal
