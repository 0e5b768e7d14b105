// A complex array shown as real: element k becomes the stored elements 2k
// (real part) and 2k + 1 (imaginary part).
#pragma once

#include "variant/TransmuteVariant.hpp"

namespace Marlowen::Lum::Internal {

class TransmuteComplexToRealVariant final : public TransmuteVariant<TransmuteComplexToRealVariant> {
public:
    explicit TransmuteComplexToRealVariant(IVariantData* inner) : TransmuteVariant(inner) {}

    [[nodiscard]] static std::size_t viewExtent(std::size_t innerExtent) noexcept { return innerExtent * 2; }

    // Twice the inner count when the inner elements are complex. Over real
    // elements (a view nobody should make, but the constructor does not
    // look) the stored elements are already of the view's type, and the
    // count is the inner one, so that nobody reads past the inner block.
    [[nodiscard]] std::size_t numberAllocatedElements() const override
    {
        const bool innerComplex = (m_inner->wellKnownDataType().bits() & kComplexBit) != 0;
        return m_inner->numberAllocatedElements() * (innerComplex ? 2 : 1);
    }

    // The inner type without its complex bit; not checked.
    [[nodiscard]] WellKnownType wellKnownDataType() const override
    {
        return WellKnownType::fromBits(static_cast<std::uint16_t>(m_inner->wellKnownDataType().bits() & ~kComplexBit));
    }

    // The inner array converted to the complex counterpart of `target`,
    // viewed again as real. Only numeric targets have one.
    [[nodiscard]] IVariantData* convertDataTo(WellKnownType target, ConversionMode mode) const override;
};

}  // namespace Marlowen::Lum::Internal
