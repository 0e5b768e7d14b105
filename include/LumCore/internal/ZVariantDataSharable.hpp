// Internal: compiled into callers through the public headers; carries no promise of stability.
// ZVariantDataSharable: the storage front of ZVariantAbi, one opaque handle.
//
// Every operation is a flat call with an ErrorRecord, and failures are raised
// again on this side by throwIfFailed, so a module built with another
// compiler or standard library can hold and read variants. A scalar behind a
// handle is always a counted heap object.
#pragma once

#include <cstddef>
#include <type_traits>
#include <typeinfo>

#include "LumCore/ArrayDimensionsView.hpp"
#include "LumCore/ConversionMode.hpp"
#include "LumCore/DataOrdering.hpp"
#include "LumCore/c/LumCoreFlat.h"
#include "LumCore/WellKnownType.hpp"
#include "LumCore/internal/FlatHandle.hpp"
#include "LumCore/internal/ThrowIfFailed.hpp"

namespace Marlowen::Lum::Internal {

class ExternalVariantStorageInterface;

inline ZArrayDimensions flatDimensions(ArrayDimensionsView view) noexcept
{
    return ZArrayDimensions{view.data(), view.size()};
}

class ZVariantDataSharable {
public:
    static constexpr const char* kClassName = "Marlowen::Lum::ZVariantAbi";

    // The null variant; no allocation, cannot fail.
    ZVariantDataSharable() noexcept : m_handle(ZVariantData_C_API_constructNull()) {}

    // Takes over one reference to `handle`.
    explicit ZVariantDataSharable(ZVariantData* handle) noexcept : m_handle(handle) {}
    [[nodiscard]] static ZVariantDataSharable adoptHandle(ZVariantData* handle) noexcept
    {
        return ZVariantDataSharable(handle);
    }
    // The handle, which stays this front's.
    [[nodiscard]] ZVariantData* handle() const noexcept { return m_handle.get(); }

    // ---- Construction ------------------------------------------------------

    template <class T>
    static ZVariantDataSharable scalar(const T& value)
    {
        return ZVariantDataSharable(checkedFlatCall([&](ErrorRecord* e) {
            return ZVariantData_C_API_constructScalar(e, &value,
                                                      static_cast<ZWellKnownType>(WellKnownTypeOf<T>::value));
        }));
    }

    template <class T>
    static ZVariantDataSharable array(const T* data, std::size_t count, ArrayDimensionsView dimensions,
                                      DataOrdering ordering)
    {
        return ZVariantDataSharable(checkedFlatCall([&](ErrorRecord* e) {
            return ZVariantData_C_API_constructArray(e, data, static_cast<ZWellKnownType>(WellKnownTypeOf<T>::value),
                                                     count, flatDimensions(dimensions),
                                                     static_cast<ZDataOrdering>(ordering));
        }));
    }

    static ZVariantDataSharable allocatedArray(WellKnownType type, ArrayDimensionsView dimensions,
                                               DataOrdering ordering)
    {
        return ZVariantDataSharable(checkedFlatCall([&](ErrorRecord* e) {
            return ZVariantData_C_API_createWithAllocatedArray(e, type.bits(), flatDimensions(dimensions),
                                                               static_cast<ZDataOrdering>(ordering));
        }));
    }

    static ZVariantDataSharable external(ExternalVariantStorageInterface* storage)
    {
        return ZVariantDataSharable(checkedFlatCall([&](ErrorRecord* e) {
            return ZVariantData_C_API_createWithExternalStorage(e, reinterpret_cast<ZExternalVariantStorage*>(storage));
        }));
    }

    // A view of this storage as complex (pairs of neighbours) or as real.
    [[nodiscard]] ZVariantDataSharable transmuteRealToComplex() const
    {
        ZVariantDataSharable share(*this);  // the reference the view takes over
        ZVariantDataSharable view(checkedFlatCall([&](ErrorRecord* e) {
            return ZVariantData_C_API_constructTransmuteRealToComplexVariant(e, share.m_handle.get());
        }));
        (void)share.m_handle.relinquish();
        return view;
    }
    [[nodiscard]] ZVariantDataSharable transmuteComplexToReal() const
    {
        ZVariantDataSharable share(*this);
        ZVariantDataSharable view(checkedFlatCall([&](ErrorRecord* e) {
            return ZVariantData_C_API_constructTransmuteComplexToRealVariant(e, share.m_handle.get());
        }));
        (void)share.m_handle.relinquish();
        return view;
    }

    // ---- Queries -----------------------------------------------------------

    [[nodiscard]] WellKnownType wellKnownDataType() const
    {
        return WellKnownType::fromBits(
            checkedFlatCall([&](ErrorRecord* e) { return ZVariantData_C_API_wellKnownDataType(e, m_handle.get()); }));
    }
    [[nodiscard]] ArrayDimensionsView dimensions() const
    {
        const ZArrayDimensions dims =
            checkedFlatCall([&](ErrorRecord* e) { return ZVariantData_C_API_dimensions(e, m_handle.get()); });
        return ArrayDimensionsView(dims.data, dims.size);
    }
    [[nodiscard]] DataOrdering dataOrdering() const
    {
        return static_cast<DataOrdering>(
            checkedFlatCall([&](ErrorRecord* e) { return ZVariantData_C_API_dataOrdering(e, m_handle.get()); }));
    }
    [[nodiscard]] bool isScalarStorage() const
    {
        return checkedFlatCall([&](ErrorRecord* e) { return ZVariantData_C_API_isScalarStorage(e, m_handle.get()); });
    }
    [[nodiscard]] std::size_t numberAllocatedElements() const
    {
        return checkedFlatCall(
            [&](ErrorRecord* e) { return ZVariantData_C_API_numberAllocatedElements(e, m_handle.get()); });
    }
    [[nodiscard]] const void* constStoredData() const
    {
        return checkedFlatCall([&](ErrorRecord* e) { return ZVariantData_C_API_constStoredData(e, m_handle.get()); });
    }
    // The flat interface has no type identity to give.
    [[nodiscard]] const std::type_info* typeInfo() const noexcept { return nullptr; }

    // ---- Operations that may replace the handle -----------------------------

    // Makes this front the only holder (copying if shared) and returns the
    // writable elements.
    void* mutableStoredData()
    {
        void* data = nullptr;
        replaceConsumed(checkedFlatCall(
            [&](ErrorRecord* e) { return ZVariantData_C_API_mutableStoredData(e, m_handle.get(), &data); }));
        return data;
    }

    void reorderData(DataOrdering ordering)
    {
        replaceConsumed(checkedFlatCall([&](ErrorRecord* e) {
            return ZVariantData_C_API_reorderData(e, m_handle.get(), static_cast<ZDataOrdering>(ordering));
        }));
    }

    void reshapeNoRealloc(ArrayDimensionsView dimensions)
    {
        checkedFlatCall([&](ErrorRecord* e) {
            ZVariantData_C_API_reshapeNoRealloc(e, m_handle.get(), flatDimensions(dimensions));
        });
    }

    // Replaces the content by a new array of the given shape filled from it.
    void reshapeToZVariant(ArrayDimensionsView dimensions, DataOrdering ordering)
    {
        ZVariantDataSharable source(*this);  // the reference that the call consumes
        ZVariantData* reshaped = checkedFlatCall([&](ErrorRecord* e) {
            return ZVariantData_C_API_reshapeToZVariant(e, m_handle.get(), source.m_handle.get(),
                                                        flatDimensions(dimensions),
                                                        static_cast<ZDataOrdering>(ordering));
        });
        (void)source.m_handle.relinquish();
        m_handle.adopt(reshaped != nullptr ? reshaped : ZVariantData_C_API_constructNull());
    }

    // The converted storage, or a front holding no handle when `mode` refuses.
    [[nodiscard]] ZVariantDataSharable convertDataTo(WellKnownType target, ConversionMode mode) const
    {
        return ZVariantDataSharable(checkedFlatCall([&](ErrorRecord* e) {
            return ZVariantData_C_API_convertDataTo(e, m_handle.get(), target.bits(),
                                                    static_cast<ZConversionMode>(mode));
        }));
    }
    [[nodiscard]] bool refused() const noexcept { return m_handle.get() == nullptr; }

    [[nodiscard]] bool isEquivalentTo(const ZVariantDataSharable& other, ConversionMode mode) const
    {
        return checkedFlatCall([&](ErrorRecord* e) {
            return ZVariantData_C_API_isEquivalentTo(e, m_handle.get(), other.m_handle.get(),
                                                     static_cast<ZConversionMode>(mode));
        });
    }
    [[nodiscard]] bool isIdenticalTo(const ZVariantDataSharable& other) const
    {
        return checkedFlatCall(
            [&](ErrorRecord* e) { return ZVariantData_C_API_isIdenticalTo(e, m_handle.get(), other.m_handle.get()); });
    }

private:
    // The flat functions that may replace the storage consume the handle
    // they are given, and only when they succeed.
    void replaceConsumed(ZVariantData* next) noexcept
    {
        (void)m_handle.relinquish();
        m_handle.adopt(next);
    }

    FlatHandle<ZVariantData, ZVariantData_C_API_copy, ZVariantData_C_API_destruct> m_handle;
};

}  // namespace Marlowen::Lum::Internal
