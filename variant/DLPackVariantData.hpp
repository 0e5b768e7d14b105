// The elements of an imported DLPack tensor, read in place as a variant.
//
// The tensor stays the producer's memory: this object never writes it
// (hasSingleReference() answers false, so a write goes to a private copy),
// and when the last share goes it hands the tensor back through the release
// it was given, which calls the producer's deleter once.
#pragma once

#include <vector>

#include "LumCore/internal/IVariantDataRefCounted.hpp"

namespace Marlowen::Lum::Internal {

class DLPackVariantData final : public IVariantDataRefCounted {
public:
    // What gives a tensor back to its producer, one function for each of the
    // two managed forms. Called once, from the destructor.
    using Release = void (*)(void* managedTensor) noexcept;

    // Reads `dimensions` elements of `type` at `elements` in `ordering`; the
    // caller has checked that they lie in the tensor. Takes over the tensor
    // only once built: if this throws, the tensor stays the caller's.
    DLPackVariantData(const void* elements, WellKnownType type, std::vector<std::size_t> dimensions,
                      DataOrdering ordering, void* managedTensor, Release release)
        : m_elements(elements),
          m_type(type),
          m_dimensions(std::move(dimensions)),
          m_ordering(ordering),
          m_managedTensor(managedTensor),
          m_release(release)
    {
    }
    ~DLPackVariantData() override { m_release(m_managedTensor); }

    DLPackVariantData(const DLPackVariantData&) = delete;

    [[nodiscard]] std::size_t numberAllocatedElements() const override;
    [[nodiscard]] ArrayDimensionsView dimensions() const override { return ArrayDimensionsView(m_dimensions); }
    [[nodiscard]] bool isScalarStorage() const override { return false; }
    [[nodiscard]] DataOrdering dataOrdering() const override { return m_ordering; }
    [[nodiscard]] WellKnownType wellKnownDataType() const override { return m_type; }
    [[nodiscard]] const std::type_info* typeInfo() const override { return nullptr; }
    [[nodiscard]] const CustomTypeOperations* customTypeOperations() const override { return nullptr; }
    [[nodiscard]] IVariantData* reorderData(DataOrdering ordering) const override;
    // The shape is this object's own; within the tensor's count, an unshared
    // import may take another one.
    void reshapeNoRealloc(ArrayDimensionsView dimensions) override;
    [[nodiscard]] IVariantData* reshapeToZVariant(const IVariantData* source, ArrayDimensionsView dimensions,
                                                  DataOrdering ordering) const override;
    [[nodiscard]] const void* constStoredData() const override { return m_elements; }
    // Never reached through mutableInstance(), which always copies.
    [[nodiscard]] void* mutableStoredData() override;
    [[nodiscard]] IVariantData* convertDataTo(WellKnownType target, ConversionMode mode) const override;
    // A plain array with a copy of the elements.
    [[nodiscard]] IVariantData* clone() const override;
    // Always false: the producer's memory is never written.
    [[nodiscard]] bool hasSingleReference() const override { return false; }

private:
    const void* m_elements;
    WellKnownType m_type;
    std::vector<std::size_t> m_dimensions;
    std::size_t m_count = elementCount(ArrayDimensionsView(m_dimensions));
    DataOrdering m_ordering;
    void* m_managedTensor;
    Release m_release;
};

}  // namespace Marlowen::Lum::Internal
