// The storage of a variant that holds nothing: a static object that answers
// "unknown", has no dimensions and no elements, and ignores copy and release,
// so that a variant's storage pointer is never null.
//
// There are two such objects, one behind the typed factory and one behind the
// flat function; nothing may test for "null" by address, only by type.
#pragma once

#include "LumCore/internal/IVariantDataRefCounted.hpp"

namespace Marlowen::Lum::Internal {

class NullVariantData final : public IVariantDataNonRefCounted {
public:
    NullVariantData() noexcept = default;

    [[nodiscard]] std::size_t numberAllocatedElements() const override { return 0; }
    [[nodiscard]] ArrayDimensionsView dimensions() const override { return {}; }
    [[nodiscard]] bool isScalarStorage() const override { return false; }
    [[nodiscard]] DataOrdering dataOrdering() const override { return DataOrdering::RowMajor; }
    [[nodiscard]] WellKnownType wellKnownDataType() const override { return WellKnownType(); }
    [[nodiscard]] const std::type_info* typeInfo() const override { return nullptr; }
    [[nodiscard]] const CustomTypeOperations* customTypeOperations() const override { return nullptr; }

    // Nothing to order: any ordering is this object.
    [[nodiscard]] IVariantData* reorderData(DataOrdering) const override { return self(); }

    // Only the empty list fits; even [0] would need a list to hold.
    void reshapeNoRealloc(ArrayDimensionsView dimensions) override;

    // Has no element type to decide the result's.
    [[nodiscard]] IVariantData* reshapeToZVariant(const IVariantData*, ArrayDimensionsView, DataOrdering) const override
    {
        return nullptr;
    }

    [[nodiscard]] const void* constStoredData() const override { return nullptr; }
    [[nodiscard]] void* mutableStoredData() override { return nullptr; }

    // Target unknown: this object. Any element type: a new empty array of
    // that class, whatever the mode, since there is no element to refuse.
    [[nodiscard]] IVariantData* convertDataTo(WellKnownType target, ConversionMode mode) const override;

private:
    // The object is static and never written: handing it out as mutable is safe.
    [[nodiscard]] IVariantData* self() const { return const_cast<NullVariantData*>(this); }
};

// The null object that the flat interface hands out, distinct from the one
// constructVariantNull() returns.
[[nodiscard]] IVariantData* flatNullVariant();

}  // namespace Marlowen::Lum::Internal
