// The 25 conversion kernels from std::int64_t.
#include "types/conversion/ConvertElementsImpl.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_INSTANTIATE_CONVERSIONS_FROM(std::int64_t)
}  // namespace Marlowen::Lum::Internal
