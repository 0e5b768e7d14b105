// The conversions from bool and the integers.
#include "types/conversion/ConversionMatrix.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_ELEMENT_TYPE_BOOL(LUMCORE_INSTANTIATE_CONVERSIONS_FROM)
LUMCORE_ELEMENT_TYPES_INTEGER(LUMCORE_INSTANTIATE_CONVERSIONS_FROM)
}  // namespace Marlowen::Lum::Internal
