#include "variant/ExternalVariantStorageAdaptor.hpp"

#include <algorithm>
#include <stdexcept>

#include "LumCore/VariantFactories.hpp"
#include "LumCore/internal/VectorVariantData.hpp"
#include "variant/ArrayCopies.hpp"

namespace Marlowen::Lum::Internal {

ExternalVariantStorageAdaptor::~ExternalVariantStorageAdaptor()
{
    if (m_external != nullptr) {
        m_external->adaptorDestroyed();
    }
}

void ExternalVariantStorageAdaptor::detachFromStorage()
{
    // The copy keeps the whole room, not only what the shape describes: a
    // view over this adaptor sized itself by numberAllocatedElements(), and
    // a reshape within the room may have made the shape smaller than that.
    // (The private copy is always an array of this library's own.)
    std::unique_ptr<IVariantData> copy(
        m_external != nullptr ? copyExternalRoom() : static_cast<const IVariantDataRefCounted&>(*m_detached).clone());
    m_detached = std::move(copy);
    m_external = nullptr;
    m_cachedDimensions = {};
}

IVariantData* ExternalVariantStorageAdaptor::copyExternalRoom() const
{
    const ArrayDimensionsView dims = dimensions();
    // A shape beyond the room is the caller's promise of more memory; the
    // copy takes whichever of the two is larger.
    const std::size_t count = std::max<std::size_t>(m_external->numberAllocatedElements(), elementCount(dims));
    return newArrayCopy(m_external->wellKnownDataType(), m_external->constStoredData(), count, dims,
                        m_external->dataOrdering());
}

std::size_t ExternalVariantStorageAdaptor::numberAllocatedElements() const
{
    return m_external != nullptr ? m_external->numberAllocatedElements() : m_detached->numberAllocatedElements();
}

ArrayDimensionsView ExternalVariantStorageAdaptor::dimensions() const
{
    if (m_external == nullptr) {
        return m_detached->dimensions();
    }
    const ArrayDimensionsView current = m_external->dimensions();
    m_cachedDimensions.assign(current.begin(), current.end());
    return ArrayDimensionsView(m_cachedDimensions);
}

DataOrdering ExternalVariantStorageAdaptor::dataOrdering() const
{
    return m_external != nullptr ? m_external->dataOrdering() : m_detached->dataOrdering();
}

WellKnownType ExternalVariantStorageAdaptor::wellKnownDataType() const
{
    return m_external != nullptr ? m_external->wellKnownDataType() : m_detached->wellKnownDataType();
}

IVariantData* ExternalVariantStorageAdaptor::reorderData(DataOrdering ordering) const
{
    if (m_external != nullptr) {
        throw std::runtime_error("Not implemented!");
    }
    // The private copy must never be shared: it is deleted with the adaptor
    // whatever its count. So the unchanged ordering shares the adaptor instead.
    if (m_detached->dataOrdering() == ordering) {
        copy();
        return const_cast<ExternalVariantStorageAdaptor*>(this);
    }
    return m_detached->reorderData(ordering);
}

void ExternalVariantStorageAdaptor::reshapeNoRealloc(ArrayDimensionsView dimensions)
{
    // As for an array: other holders must not see their shape change, and
    // the lender is only asked for shapes that fit its block.
    if (sameExtents(dimensions, this->dimensions())) {
        return;
    }
    if (!hasSingleReference()) {
        throwReshapeShared();
    }
    if (m_external != nullptr) {
        if (!shapeFitsIn(dimensions, m_external->numberAllocatedElements())) {
            throwReshapeBeyondAllocation();
        }
        m_external->reshapeNoRealloc(dimensions);
    } else {
        m_detached->reshapeNoRealloc(dimensions);
    }
}

IVariantData* ExternalVariantStorageAdaptor::reshapeToZVariant(const IVariantData* source,
                                                               ArrayDimensionsView dimensions,
                                                               DataOrdering ordering) const
{
    return newReshapedArray(wellKnownDataType(), *source, dimensions, ordering);
}

const void* ExternalVariantStorageAdaptor::constStoredData() const
{
    return m_external != nullptr ? m_external->constStoredData() : m_detached->constStoredData();
}

void* ExternalVariantStorageAdaptor::mutableStoredData()
{
    return m_external != nullptr ? m_external->mutableStoredData() : m_detached->mutableStoredData();
}

IVariantData* ExternalVariantStorageAdaptor::convertDataTo(WellKnownType target, ConversionMode mode) const
{
    return m_external != nullptr ? convertForwarded(target, mode) : m_detached->convertDataTo(target, mode);
}

IVariantData* ExternalVariantStorageAdaptor::convertForwarded(WellKnownType target, ConversionMode mode) const
{
    // The conversion reads shape, ordering and data through this object's own
    // operations, so it works on the caller's memory directly.
    return newConvertedArray(*this, target, mode);
}

IVariantData* ExternalVariantStorageAdaptor::clone() const
{
    const std::size_t count = numberAllocatedElements();
    ArrayDimensionsView dims = dimensions();
    // As an array built from the caller's data: an empty list stands for
    // [count]. Room beyond the shape is kept, as an array's clone keeps it,
    // but a shape beyond the room is a mismatch.
    if (dims.empty() && count != 0) {
        dims = ArrayDimensionsView(&count, 1);
    }
    if (!shapeFitsIn(dims, count)) {
        throwDimensionsMismatch();
    }
    return newArrayCopy(wellKnownDataType(), constStoredData(), count, dims, dataOrdering());
}

IVariantData* constructVariantExternal(ExternalVariantStorageInterface* storage)
{
    auto* adaptor = new ExternalVariantStorageAdaptor(storage);
    try {
        storage->detachFromStorage = [adaptor] { adaptor->detachFromStorage(); };
    } catch (...) {
        // The caller never had this adaptor: nothing to tell it.
        adaptor->abandonStorage();
        delete adaptor;
        throw;
    }
    return adaptor;
}

}  // namespace Marlowen::Lum::Internal
