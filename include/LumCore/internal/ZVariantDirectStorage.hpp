// Internal: compiled into callers through the public headers; carries no promise of stability.
// ZVariantDirectStorage: the storage front of ZVariant.
//
// A scalar lives in the front's own 32-byte buffer, with no count and no
// allocation; everything else is a counted object on the heap that copies
// share. The front is in place exactly when `data` points at its own buffer:
// that comparison is the only flag. The front calls the storage's virtual
// operations directly, so it serves code built against the library's own
// class layout; other modules use ZVariantDataSharable.
#pragma once

#include <cstddef>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include "LumCore/internal/SameRuntime.hpp"
#include "LumCore/IVariantData.hpp"
#include "LumCore/c/LumCoreFlat.h"
#include "LumCore/VariantFactories.hpp"
#include "LumCore/internal/ScalarVariantData.hpp"
#include "LumCore/internal/ThrowIfFailed.hpp"
#include "LumCore/internal/VectorVariantData.hpp"

namespace Marlowen::Lum::Internal {

class ZVariantDirectStorage {
public:
    static constexpr std::size_t kBufferSize = 32;
    static constexpr const char* kClassName = "Marlowen::Lum::ZVariant";

    // The null variant; no allocation, cannot fail.
    ZVariantDirectStorage() noexcept : m_data(constructVariantNull()) {}

    // Takes over one reference to `data`, or, for an object built in this
    // front's own buffer, the object itself. Null stands for a refusal.
    explicit ZVariantDirectStorage(IVariantData* data) noexcept : m_data(data) {}
    // Takes over one reference to a handle that a flat function returned.
    [[nodiscard]] static ZVariantDirectStorage adoptHandle(ZVariantData* handle) noexcept
    {
        return ZVariantDirectStorage(reinterpret_cast<IVariantData*>(handle));
    }
    // This storage as the flat functions take it; it stays this front's.
    [[nodiscard]] ZVariantData* handle() const noexcept { return reinterpret_cast<ZVariantData*>(m_data); }

    ZVariantDirectStorage(const ZVariantDirectStorage& other)
    {
        if (other.isInPlace()) {
            m_data = copyConstructVariantScalar(m_buffer, kBufferSize, other);
        } else {
            other.m_data->copy();
            m_data = other.m_data;
        }
    }

    ZVariantDirectStorage(ZVariantDirectStorage&& other) { takeFrom(other); }

    ZVariantDirectStorage& operator=(const ZVariantDirectStorage& other)
    {
        if (this != &other) {
            ZVariantDirectStorage copy(other);
            release();
            takeFrom(copy);
        }
        return *this;
    }

    ZVariantDirectStorage& operator=(ZVariantDirectStorage&& other)
    {
        release();
        takeFrom(other);
        return *this;
    }

    ~ZVariantDirectStorage() { release(); }

    // ---- Construction ------------------------------------------------------

    template <class T>
    static ZVariantDirectStorage scalar(const T& value)
    {
        ZVariantDirectStorage front(nullptr);
        front.m_data = constructVariantScalar<T>(front.m_buffer, kBufferSize, value);
        return front;
    }

    template <class T>
    static ZVariantDirectStorage array(const T* data, std::size_t count, ArrayDimensionsView dimensions,
                                       DataOrdering ordering)
    {
        return ZVariantDirectStorage(
            constructVariantVectorWithDataWithDimsUnresolved<T>(data, count, dimensions, ordering));
    }

    template <class T>
    static ZVariantDirectStorage allocatedArray(ArrayDimensionsView dimensions, DataOrdering ordering)
    {
        return ZVariantDirectStorage(constructVariantVectorWithoutDataWithDimsUnresolved<T>(dimensions, ordering));
    }

    template <class T>
    static ZVariantDirectStorage movedVector(std::vector<T>&& data, ArrayDimensionsView dimensions,
                                             DataOrdering ordering)
    {
        return ZVariantDirectStorage(constructVariantDataFromMovedVector<T>(std::move(data), dimensions, ordering));
    }

    // Classes the library does not know are stored by templates compiled
    // here, in the caller's code: a scalar is always a counted heap object,
    // since no uncounted form of such a class is made.
    template <class T>
    static ZVariantDirectStorage customScalar(T&& value)
    {
        using Element = std::decay_t<T>;
        return ZVariantDirectStorage(new ScalarVariantDataRefCounted<Element>(std::forward<T>(value)));
    }

    template <class T>
    static ZVariantDirectStorage customMovedVector(std::vector<T>&& data, ArrayDimensionsView dimensions,
                                                   DataOrdering ordering)
    {
        return ZVariantDirectStorage(new StdVectorVariantData<T>(std::move(data), dimensions, ordering));
    }

    static ZVariantDirectStorage external(ExternalVariantStorageInterface* storage)
    {
        return ZVariantDirectStorage(constructVariantExternal(storage));
    }

    // A view of this storage as complex (pairs of neighbours) or as real. The
    // view holds a reference of its own; an in-place scalar, which has none to
    // give, is first copied to the heap.
    [[nodiscard]] ZVariantDirectStorage transmuteRealToComplex() const
    {
        return ZVariantDirectStorage(constructTransmuteRealToComplexVariant(sharedReference()));
    }
    [[nodiscard]] ZVariantDirectStorage transmuteComplexToReal() const
    {
        return ZVariantDirectStorage(constructTransmuteComplexToRealVariant(sharedReference()));
    }

    // ---- Queries -----------------------------------------------------------

    [[nodiscard]] bool isInPlace() const noexcept { return m_data == reinterpret_cast<const IVariantData*>(m_buffer); }
    [[nodiscard]] IVariantData* data() const noexcept { return m_data; }

    [[nodiscard]] WellKnownType wellKnownDataType() const { return m_data->wellKnownDataType(); }
    [[nodiscard]] ArrayDimensionsView dimensions() const { return m_data->dimensions(); }
    [[nodiscard]] DataOrdering dataOrdering() const { return m_data->dataOrdering(); }
    [[nodiscard]] bool isScalarStorage() const { return m_data->isScalarStorage(); }
    [[nodiscard]] std::size_t numberAllocatedElements() const { return m_data->numberAllocatedElements(); }
    [[nodiscard]] const void* constStoredData() const { return m_data->constStoredData(); }
    [[nodiscard]] const std::type_info* typeInfo() const { return m_data->typeInfo(); }

    // ---- Operations that may replace the storage ----------------------------

    // Makes this front the only holder (copying if shared) and returns the
    // writable elements. An in-place scalar is private already.
    void* mutableStoredData()
    {
        if (!isInPlace()) {
            m_data = m_data->mutableInstance();
        }
        return m_data->mutableStoredData();
    }

    void reorderData(DataOrdering ordering)
    {
        IVariantData* reordered = m_data->reorderData(ordering);
        if (reordered == m_data) {
            m_data->destruct();  // give back the reference the call took
            return;
        }
        release();
        m_data = reordered;
    }

    void reshapeNoRealloc(ArrayDimensionsView dimensions) { m_data->reshapeNoRealloc(dimensions); }

    // Replaces the content by a new array of the given shape filled from it.
    void reshapeToZVariant(ArrayDimensionsView dimensions, DataOrdering ordering)
    {
        IVariantData* reshaped = m_data->reshapeToZVariant(m_data, dimensions, ordering);
        release();
        m_data = reshaped != nullptr ? reshaped : constructVariantNull();
    }

    // The converted storage, or a front holding nothing when `mode` refuses.
    // The same type is a share (or, in place, a copy of the scalar): no rule
    // runs and the mode is not read.
    [[nodiscard]] ZVariantDirectStorage convertDataTo(WellKnownType target, ConversionMode mode) const
    {
        if (m_data->wellKnownDataType() == target) {
            return ZVariantDirectStorage(*this);
        }
        return ZVariantDirectStorage(m_data->convertDataTo(target, mode));
    }
    [[nodiscard]] bool refused() const noexcept { return m_data == nullptr; }

    // Comparison runs in the library, reached through the flat functions.
    [[nodiscard]] bool isEquivalentTo(const ZVariantDirectStorage& other, ConversionMode mode) const
    {
        return checkedFlatCall([&](ErrorRecord* e) {
            return ZVariantData_C_API_isEquivalentTo(e, handle(), other.handle(), static_cast<ZConversionMode>(mode));
        });
    }
    [[nodiscard]] bool isIdenticalTo(const ZVariantDirectStorage& other) const
    {
        return checkedFlatCall(
            [&](ErrorRecord* e) { return ZVariantData_C_API_isIdenticalTo(e, handle(), other.handle()); });
    }

    // Gives up what the front holds and leaves it holding nothing.
    void release() noexcept
    {
        if (isInPlace()) {
            m_data->~IVariantData();
        } else if (m_data != nullptr) {
            m_data->destruct();
        }
        m_data = nullptr;
    }

private:
    // A counted reference to this storage that the caller owns.
    [[nodiscard]] IVariantData* sharedReference() const
    {
        if (isInPlace()) {
            return copyConstructVariantScalar(nullptr, 0, *this);
        }
        m_data->copy();
        return m_data;
    }

    // An in-place scalar is moved into this front's buffer; anything else
    // changes hands. `other` is left holding nothing.
    void takeFrom(ZVariantDirectStorage& other)
    {
        if (other.isInPlace()) {
            m_data = moveConstructVariantScalar(m_buffer, kBufferSize, other);
        } else {
            m_data = other.m_data;
            other.m_data = nullptr;
        }
    }

    IVariantData* m_data;
    alignas(void*) unsigned char m_buffer[kBufferSize];
};

}  // namespace Marlowen::Lum::Internal
