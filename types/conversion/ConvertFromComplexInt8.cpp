// The 25 conversion kernels from Complex<std::int8_t>.
#include "types/conversion/ConvertElementsImpl.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_INSTANTIATE_CONVERSIONS_FROM(Complex<std::int8_t>)
}  // namespace Marlowen::Lum::Internal
