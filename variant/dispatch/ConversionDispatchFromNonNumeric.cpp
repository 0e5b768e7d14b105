// The conversion dispatch from text, times and the custom classes.
#include "variant/ConversionDispatchImpl.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_INSTANTIATE_DISPATCH_FROM(::Marlowen::Lum::ZString)
LUMCORE_INSTANTIATE_DISPATCH_FROM(::Marlowen::Lum::Duration)
LUMCORE_INSTANTIATE_DISPATCH_FROM(::Marlowen::Lum::TimePoint)
LUMCORE_INSTANTIATE_DISPATCH_FROM(std::string)
}  // namespace Marlowen::Lum::Internal
