// The conversion dispatch from float, double and their complex forms.
#include "variant/ConversionDispatchImpl.hpp"

namespace Marlowen::Lum::Internal {
LUMCORE_INSTANTIATE_DISPATCH_FROM(float)
LUMCORE_INSTANTIATE_DISPATCH_FROM(double)
LUMCORE_INSTANTIATE_DISPATCH_FROM(std::complex<float>)
LUMCORE_INSTANTIATE_DISPATCH_FROM(std::complex<double>)
}  // namespace Marlowen::Lum::Internal
