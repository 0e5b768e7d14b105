// The common part of the transmuted views: an array shown in place as another
// element type, without touching its elements. Derived supplies the element
// type, the element count and the one extent that changes; everything else
// forwards to the viewed object or is answered here.
//
// A view never writes its inner object: hasSingleReference() is always false,
// so mutableInstance() always makes a plain array, and reading is what stays
// free of copies.
#pragma once

#include <stdexcept>
#include <vector>

#include "LumCore/internal/IVariantDataRefCounted.hpp"
#include "LumCore/internal/OwnedStorage.hpp"
#include "variant/ArrayCopies.hpp"

namespace Marlowen::Lum::Internal {

template <class Derived>
class TransmuteVariant : public IVariantDataRefCounted {
public:
    ~TransmuteVariant() override { m_inner->destruct(); }

    TransmuteVariant(const TransmuteVariant&) = delete;

    [[nodiscard]] ArrayDimensionsView dimensions() const override { return ArrayDimensionsView(m_dimensions); }
    // A view is never scalar storage, even over a scalar.
    [[nodiscard]] bool isScalarStorage() const override { return false; }
    [[nodiscard]] DataOrdering dataOrdering() const override { return m_inner->dataOrdering(); }
    // A reinterpretation has no element class of its own.
    [[nodiscard]] const std::type_info* typeInfo() const override { return nullptr; }
    [[nodiscard]] const CustomTypeOperations* customTypeOperations() const override { return nullptr; }

    [[nodiscard]] IVariantData* reorderData(DataOrdering ordering) const override
    {
        if (m_inner->dataOrdering() == ordering) {
            this->copy();
            return const_cast<TransmuteVariant*>(this);
        }
        requireShapeWithinRoom();
        return newReorderedArray(this->wellKnownDataType(), m_inner->constStoredData(),
                                 ArrayDimensionsView(m_dimensions), m_inner->dataOrdering(), ordering);
    }

    // The view's own shape changes; the inner object keeps its own.
    void reshapeNoRealloc(ArrayDimensionsView dimensions) override
    {
        if (sameExtents(dimensions, ArrayDimensionsView(m_dimensions))) {
            return;
        }
        // The true count: hasSingleReference() answers false on purpose.
        if (this->referenceCount() != 1) {
            throwReshapeShared();
        }
        if (!shapeFitsIn(dimensions, this->numberAllocatedElements())) {
            throwReshapeBeyondAllocation();
        }
        m_dimensions = dimensions.toVector();
    }

    [[nodiscard]] IVariantData* reshapeToZVariant(const IVariantData*, ArrayDimensionsView, DataOrdering) const override
    {
        throw std::runtime_error("Reshaping to ZVariant is not allowed for Transmute Variant");
    }

    [[nodiscard]] const void* constStoredData() const override { return m_inner->constStoredData(); }
    void* mutableStoredData() override { return m_inner->mutableStoredData(); }

    // A plain array of the view's type, shape and elements, with no link to
    // the inner object.
    [[nodiscard]] IVariantData* clone() const override
    {
        requireShapeWithinRoom();
        const ArrayDimensionsView dims(m_dimensions);
        return newArrayCopy(this->wellKnownDataType(), m_inner->constStoredData(), elementCount(dims), dims,
                            m_inner->dataOrdering());
    }

    // The viewed object, which this view shares.
    [[nodiscard]] const IVariantData& inner() const noexcept { return *m_inner; }

    // Always false, so that writing through a view never reaches the inner
    // object, whoever else holds it.
    [[nodiscard]] bool hasSingleReference() const override { return false; }

protected:
    // Takes over the caller's reference to `inner`, but only once built: if
    // this throws, the reference stays the caller's.
    explicit TransmuteVariant(IVariantData* inner) : m_inner(inner), m_dimensions(inner->dimensions().toVector())
    {
        // Without dimensions there is no extent to change: the null variant.
        if (m_dimensions.empty()) {
            throw std::invalid_argument("Cannot view data without dimensions as another element type.");
        }
        // The dimension that varies fastest in memory holds the pairs.
        std::size_t& fastest =
            inner->dataOrdering() == DataOrdering::RowMajor ? m_dimensions.back() : m_dimensions.front();
        fastest = Derived::viewExtent(fastest);
    }

    // The view over the inner object's conversion, or null when the inner
    // conversion was refused.
    static IVariantData* wrapConverted(IVariantData* converted)
    {
        OwnedStorage<IVariantData> owned(converted);
        if (!owned) {
            return nullptr;
        }
        IVariantData* view = new Derived(owned.get());
        (void)owned.release();  // the view holds it now
        return view;
    }

    IVariantData* m_inner;

private:
    // The shape was derived from the inner one when the view was made; the
    // elements that copy out of the view must still lie in the inner block.
    void requireShapeWithinRoom() const
    {
        if (!shapeFitsIn(ArrayDimensionsView(m_dimensions), this->numberAllocatedElements())) {
            throwDimensionsMismatch();
        }
    }

    std::vector<std::size_t> m_dimensions;
};

[[noreturn]] inline void throwNotNumericForComplex()
{
    throw std::runtime_error("Can not convert non-numeric data type to complex numeric type");
}

}  // namespace Marlowen::Lum::Internal
