// Presents memory that a caller owns as a variant, with no copy.
//
// While forwarding, every question goes to the caller's
// ExternalVariantStorageInterface. When the caller calls the detachFromStorage
// callable that construction put into its object, the adaptor takes a
// private array copy and never touches the caller's object again; if the
// adaptor goes first, it tells the caller through adaptorDestroyed().
#pragma once

#include <memory>
#include <vector>

#include "LumCore/ExternalVariantStorageInterface.hpp"
#include "LumCore/internal/IVariantDataRefCounted.hpp"

namespace Marlowen::Lum::Internal {

class ExternalVariantStorageAdaptor final : public IVariantDataRefCounted {
public:
    // Forwards to `external`, which the caller keeps owning. The callable is
    // assigned separately (see constructVariantExternal), so that a failure
    // to assign it can still free the adaptor.
    explicit ExternalVariantStorageAdaptor(ExternalVariantStorageInterface* external) noexcept : m_external(external) {}
    ~ExternalVariantStorageAdaptor() override;

    ExternalVariantStorageAdaptor(const ExternalVariantStorageAdaptor&) = delete;

    // Takes the private copy and lets go of the caller's object. Called again
    // once detached, it only renews the copy.
    void detachFromStorage();

    // Forgets the caller's object without telling it, for an adaptor that
    // was never handed out.
    void abandonStorage() noexcept { m_external = nullptr; }

    [[nodiscard]] std::size_t numberAllocatedElements() const override;
    // Forwarding: a copy of the caller's list, which need not outlive its call.
    // So this writes to the object and is not safe to run from two threads.
    [[nodiscard]] ArrayDimensionsView dimensions() const override;
    [[nodiscard]] bool isScalarStorage() const override { return false; }
    [[nodiscard]] DataOrdering dataOrdering() const override;
    [[nodiscard]] WellKnownType wellKnownDataType() const override;
    // A custom element class cannot be held here: no type identity to give.
    [[nodiscard]] const std::type_info* typeInfo() const override { return nullptr; }
    [[nodiscard]] const CustomTypeOperations* customTypeOperations() const override { return nullptr; }
    [[nodiscard]] IVariantData* reorderData(DataOrdering ordering) const override;
    void reshapeNoRealloc(ArrayDimensionsView dimensions) override;
    [[nodiscard]] IVariantData* reshapeToZVariant(const IVariantData* source, ArrayDimensionsView dimensions,
                                                  DataOrdering ordering) const override;
    [[nodiscard]] const void* constStoredData() const override;
    [[nodiscard]] void* mutableStoredData() override;
    [[nodiscard]] IVariantData* convertDataTo(WellKnownType target, ConversionMode mode) const override;
    // An ordinary array with a copy of the elements, in either state.
    [[nodiscard]] IVariantData* clone() const override;

private:
    // The elements converted by reading the caller's memory in place.
    [[nodiscard]] IVariantData* convertForwarded(WellKnownType target, ConversionMode mode) const;
    // A plain array of the caller's elements, as many as the room holds.
    [[nodiscard]] IVariantData* copyExternalRoom() const;

    ExternalVariantStorageInterface* m_external;
    mutable std::vector<std::size_t> m_cachedDimensions;
    // Owned outright, not through its count: nobody else ever holds it.
    std::unique_ptr<IVariantData> m_detached;
};

}  // namespace Marlowen::Lum::Internal
