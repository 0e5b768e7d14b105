#include "variant/TransmuteComplexToRealVariant.hpp"

#include "LumCore/VariantFactories.hpp"

namespace Marlowen::Lum::Internal {

IVariantData* TransmuteComplexToRealVariant::convertDataTo(WellKnownType target, ConversionMode mode) const
{
    if (!target.isNumeric()) {
        throwNotNumericForComplex();
    }
    const auto complexTarget = WellKnownType::fromBits(static_cast<std::uint16_t>(target.bits() | kComplexBit));
    return wrapConverted(m_inner->convertDataTo(complexTarget, mode));
}

IVariantData* constructTransmuteComplexToRealVariant(IVariantData* inner)
{
    return new TransmuteComplexToRealVariant(inner);
}

}  // namespace Marlowen::Lum::Internal
