// ExternalVariantStorageInterface: lends memory that the caller owns to a
// variant, with no copy.
//
// The caller implements the operations; the library's adaptor forwards to
// them while the memory lives. Before the memory goes away the caller calls
// detachFromStorage(): the variant then takes a private copy and never
// touches the caller's object again. If every variant lets go first, the
// adaptor calls adaptorDestroyed() instead, exactly once.
//
//     class Samples : public Marlowen::Lum::Internal::ExternalVariantStorageInterface {
//         // ... answer the operations from the caller's own buffer ...
//         void adaptorDestroyed() override { detachFromStorage = nullptr; }
//     public:
//         ~Samples() { if (detachFromStorage) detachFromStorage(); }
//     };
//
// The order of the virtual operations is part of the binary interface.
#pragma once

#include <cstddef>
#include <functional>

#include "LumCore/internal/SameRuntime.hpp"
#include "LumCore/ArrayDimensionsView.hpp"
#include "LumCore/DataOrdering.hpp"
#include "LumCore/WellKnownType.hpp"

namespace Marlowen::Lum::Internal {

class ExternalVariantStorageInterface {
public:
    [[nodiscard]] virtual std::size_t numberAllocatedElements() const = 0;
    // Needs to stay valid only until the call returns; the adaptor copies it.
    [[nodiscard]] virtual ArrayDimensionsView dimensions() const = 0;
    [[nodiscard]] virtual DataOrdering dataOrdering() const = 0;
    [[nodiscard]] virtual WellKnownType wellKnownDataType() const = 0;
    virtual void reshapeNoRealloc(ArrayDimensionsView dimensions) = 0;
    // Keeps its place in the table; the library never calls it.
    virtual void reservedOperation() {}
    [[nodiscard]] virtual const void* constStoredData() const = 0;
    [[nodiscard]] virtual void* mutableStoredData() = 0;
    // The adaptor that still forwards here is being destroyed.
    virtual void adaptorDestroyed() = 0;

    virtual ~ExternalVariantStorageInterface() = default;

    // Set by the library when a variant is made over this object; the caller
    // calls it before its memory goes away.
    std::function<void()> detachFromStorage;
};

}  // namespace Marlowen::Lum::Internal
