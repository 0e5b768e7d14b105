#include "variant/DLPackVariantData.hpp"

#include <stdexcept>

#include "variant/ArrayCopies.hpp"

namespace Marlowen::Lum::Internal {

std::size_t DLPackVariantData::numberAllocatedElements() const { return m_count; }

IVariantData* DLPackVariantData::reorderData(DataOrdering ordering) const
{
    if (ordering == m_ordering) {
        copy();
        return const_cast<DLPackVariantData*>(this);
    }
    return newReorderedArray(m_type, m_elements, dimensions(), m_ordering, ordering);
}

void DLPackVariantData::reshapeNoRealloc(ArrayDimensionsView dimensions)
{
    if (sameExtents(dimensions, this->dimensions())) {
        return;
    }
    // The true count: hasSingleReference() answers false on purpose.
    if (referenceCount() != 1) {
        throwReshapeShared();
    }
    if (!shapeFitsIn(dimensions, m_count)) {
        throwReshapeBeyondAllocation();
    }
    m_dimensions = dimensions.toVector();
}

IVariantData* DLPackVariantData::reshapeToZVariant(const IVariantData* source, ArrayDimensionsView dimensions,
                                                   DataOrdering ordering) const
{
    return newReshapedArray(m_type, *source, dimensions, ordering);
}

void* DLPackVariantData::mutableStoredData()
{
    throw std::logic_error("The elements of an imported tensor are never written in place.");
}

IVariantData* DLPackVariantData::convertDataTo(WellKnownType target, ConversionMode mode) const
{
    return newConvertedArray(*this, target, mode);
}

IVariantData* DLPackVariantData::clone() const
{
    return newArrayCopy(m_type, m_elements, m_count, dimensions(), m_ordering);
}

}  // namespace Marlowen::Lum::Internal
