// The conversions from the boolean and integer complex classes.
#include "types/conversion/ConversionMatrix.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_ELEMENT_TYPE_COMPLEX_BOOL(LUMCORE_INSTANTIATE_CONVERSIONS_FROM)
LUMCORE_ELEMENT_TYPES_COMPLEX_INTEGER(LUMCORE_INSTANTIATE_CONVERSIONS_FROM)
}  // namespace Marlowen::Lum::Internal
