// The conversions from text, the two times and the custom classes the library converts itself.
#include "types/conversion/ConversionMatrix.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_ELEMENT_TYPE_STRING(LUMCORE_INSTANTIATE_CONVERSIONS_FROM)
LUMCORE_ELEMENT_TYPES_TIME(LUMCORE_INSTANTIATE_CONVERSIONS_FROM)
LUMCORE_LIBRARY_CUSTOM_CLASSES(LUMCORE_INSTANTIATE_CONVERSIONS_FROM)
}  // namespace Marlowen::Lum::Internal
