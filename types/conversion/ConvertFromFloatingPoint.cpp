// The conversions from float, double and their complex forms.
#include "types/conversion/ConversionMatrix.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_ELEMENT_TYPES_FLOATING(LUMCORE_INSTANTIATE_CONVERSIONS_FROM)
LUMCORE_ELEMENT_TYPES_COMPLEX_FLOATING(LUMCORE_INSTANTIATE_CONVERSIONS_FROM)
}  // namespace Marlowen::Lum::Internal
