// A real array shown as complex: neighbouring stored elements 2k and 2k + 1
// are the real and imaginary parts of element k.
#pragma once

#include "variant/TransmuteVariant.hpp"

namespace Marlowen::Lum::Internal {

class TransmuteRealToComplexVariant final : public TransmuteVariant<TransmuteRealToComplexVariant> {
public:
    explicit TransmuteRealToComplexVariant(IVariantData* inner) : TransmuteVariant(inner) {}

    // An odd count leaves its last element out of view.
    [[nodiscard]] static std::size_t viewExtent(std::size_t innerExtent) noexcept { return innerExtent >> 1; }

    [[nodiscard]] std::size_t numberAllocatedElements() const override
    {
        return m_inner->numberAllocatedElements() >> 1;
    }

    // Checked here rather than at construction: the inner type is looked at
    // only when first used.
    [[nodiscard]] WellKnownType wellKnownDataType() const override;

    // The inner array converted to the real counterpart of `target`, viewed
    // again as complex.
    [[nodiscard]] IVariantData* convertDataTo(WellKnownType target, ConversionMode mode) const override;
};

}  // namespace Marlowen::Lum::Internal
