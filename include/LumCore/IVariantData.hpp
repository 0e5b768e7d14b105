// IVariantData: the storage object behind every variant.
//
// A flat variant handle is a pointer to one of these, and callers in other
// modules call its operations through the virtual table of an object made by
// the library, so the order of the virtual functions below is part of the
// binary interface: append, never reorder. Counted objects are shared through
// copy()/destruct(); what is shared is read-only, and the only way to write is
// to call mutableInstance() first and keep the object it returns.
//
//     IVariantData* mine = shared->mutableInstance();  // consumes `shared`'s reference
//     static_cast<double*>(mine->mutableStoredData())[0] = 1.5;
#pragma once

#include <cstddef>
#include <typeinfo>

#include "LumCore/ArrayDimensionsView.hpp"
#include "LumCore/ConversionMode.hpp"
#include "LumCore/DataOrdering.hpp"
#include "LumCore/WellKnownType.hpp"

namespace Marlowen::Lum::Internal {

// The operations of a custom element class, one static record per class.
struct CustomTypeOperations {
    // Whether `count` elements at `lhs` equal those at `rhs`; `identical` is
    // true when asked for identity, false for equivalence.
    bool (*equal)(const void* lhs, const void* rhs, std::size_t count, bool identical);
};

class IVariantData {
public:
    virtual ~IVariantData() = default;

    // Takes one further reference; the object is shared, not duplicated.
    virtual void copy() const = 0;
    // Gives up one reference; the last one destroys the object.
    virtual void destruct() const = 0;
    // Gives up the caller's reference and returns an object the caller owns
    // alone and may write to: this one when unshared, a clone otherwise.
    virtual IVariantData* mutableInstance() = 0;
    // Room for at least elementCount(dimensions()) elements.
    [[nodiscard]] virtual std::size_t numberAllocatedElements() const = 0;
    [[nodiscard]] virtual ArrayDimensionsView dimensions() const = 0;
    // How the value is stored, not whether it has one element.
    [[nodiscard]] virtual bool isScalarStorage() const = 0;
    [[nodiscard]] virtual DataOrdering dataOrdering() const = 0;
    [[nodiscard]] virtual WellKnownType wellKnownDataType() const = 0;
    [[nodiscard]] virtual const std::type_info* typeInfo() const = 0;
    [[nodiscard]] virtual const CustomTypeOperations* customTypeOperations() const = 0;
    // The same content in `ordering`, with a reference of its own for the
    // caller: this object again when it is in that ordering already.
    [[nodiscard]] virtual IVariantData* reorderData(DataOrdering ordering) const = 0;
    // Changes the shape in place, or throws; no element moves.
    virtual void reshapeNoRealloc(ArrayDimensionsView dimensions) = 0;
    // A new array of this object's element type and the given shape, filled
    // from `source` in storage order.
    [[nodiscard]] virtual IVariantData* reshapeToZVariant(const IVariantData* source, ArrayDimensionsView dimensions,
                                                          DataOrdering ordering) const = 0;
    [[nodiscard]] virtual const void* constStoredData() const = 0;
    // Legitimate only on an object that mutableInstance() returned.
    [[nodiscard]] virtual void* mutableStoredData() = 0;
    // A new object with the elements converted, or null when `mode` refuses.
    [[nodiscard]] virtual IVariantData* convertDataTo(WellKnownType target, ConversionMode mode) const = 0;
};

}  // namespace Marlowen::Lum::Internal
