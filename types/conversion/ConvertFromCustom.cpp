// The conversion kernels from the custom classes that codecs carry: all
// default-only, except std::string to string, which copies the text.
#include "types/conversion/ConvertElementsImpl.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_CUSTOM_ELEMENT_CLASSES(LUMCORE_INSTANTIATE_CONVERSIONS_FROM)
}  // namespace Marlowen::Lum::Internal
