#include "variant/TransmuteRealToComplexVariant.hpp"

#include "LumCore/VariantFactories.hpp"

namespace Marlowen::Lum::Internal {

WellKnownType TransmuteRealToComplexVariant::wellKnownDataType() const
{
    const WellKnownType innerType = m_inner->wellKnownDataType();
    if (!innerType.isNumeric()) {
        throwNotNumericForComplex();
    }
    return WellKnownType::fromBits(innerType.bits() | kComplexBit);
}

IVariantData* TransmuteRealToComplexVariant::convertDataTo(WellKnownType target, ConversionMode mode) const
{
    const auto realTarget = WellKnownType::fromBits(static_cast<std::uint16_t>(target.bits() & ~kComplexBit));
    return wrapConverted(m_inner->convertDataTo(realTarget, mode));
}

IVariantData* constructTransmuteRealToComplexVariant(IVariantData* inner)
{
    return new TransmuteRealToComplexVariant(inner);
}

}  // namespace Marlowen::Lum::Internal
