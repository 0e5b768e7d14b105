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
#include "LumCore/LumCoreFlat.h"
#include "LumCore/ThrowIfFailed.hpp"
#include "LumCore/WellKnownType.hpp"

namespace Marlowen::Lum::Internal {

class ExternalVariantStorageInterface;

// Makes one flat call with a fresh record and raises what the record reports.
template <class Call>
auto checkedFlatCall(Call&& call) -> decltype(call(static_cast<ErrorRecord*>(nullptr)))
{
    ErrorRecord error;
    error.typeName = nullptr;
    if constexpr (std::is_void_v<decltype(call(&error))>) {
        call(&error);
        throwIfFailed(error);
    } else {
        auto result = call(&error);
        throwIfFailed(error);
        return result;
    }
}

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

    ZVariantDataSharable(const ZVariantDataSharable& other)
        : m_handle(checkedFlatCall([&](ErrorRecord* e) { return ZVariantData_C_API_copy(e, other.m_handle); }))
    {
    }
    ZVariantDataSharable(ZVariantDataSharable&& other) noexcept : m_handle(other.m_handle) { other.m_handle = nullptr; }

    ZVariantDataSharable& operator=(const ZVariantDataSharable& other)
    {
        if (this != &other) {
            *this = ZVariantDataSharable(other);
        }
        return *this;
    }
    ZVariantDataSharable& operator=(ZVariantDataSharable&& other) noexcept
    {
        ZVariantData* incoming = other.m_handle;
        other.m_handle = nullptr;
        adopt(incoming);
        return *this;
    }

    ~ZVariantDataSharable() { release(m_handle); }

    // ---- Construction ------------------------------------------------------

    template <class T>
    static ZVariantDataSharable scalar(const T& value)
    {
        return ZVariantDataSharable(checkedFlatCall([&](ErrorRecord* e) {
            return ZVariantData_C_API_constructScalar(e, &value, static_cast<ZWellKnownType>(WellKnownTypeOf<T>::value));
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
        ZVariantDataSharable view(checkedFlatCall(
            [&](ErrorRecord* e) { return ZVariantData_C_API_constructTransmuteRealToComplexVariant(e, share.m_handle); }));
        share.m_handle = nullptr;
        return view;
    }
    [[nodiscard]] ZVariantDataSharable transmuteComplexToReal() const
    {
        ZVariantDataSharable share(*this);
        ZVariantDataSharable view(checkedFlatCall(
            [&](ErrorRecord* e) { return ZVariantData_C_API_constructTransmuteComplexToRealVariant(e, share.m_handle); }));
        share.m_handle = nullptr;
        return view;
    }

    // ---- Queries -----------------------------------------------------------

    [[nodiscard]] WellKnownType wellKnownDataType() const
    {
        return WellKnownType::fromBits(
            checkedFlatCall([&](ErrorRecord* e) { return ZVariantData_C_API_wellKnownDataType(e, m_handle); }));
    }
    [[nodiscard]] ArrayDimensionsView dimensions() const
    {
        const ZArrayDimensions dims =
            checkedFlatCall([&](ErrorRecord* e) { return ZVariantData_C_API_dimensions(e, m_handle); });
        return ArrayDimensionsView(dims.data, dims.size);
    }
    [[nodiscard]] DataOrdering dataOrdering() const
    {
        return static_cast<DataOrdering>(
            checkedFlatCall([&](ErrorRecord* e) { return ZVariantData_C_API_dataOrdering(e, m_handle); }));
    }
    [[nodiscard]] bool isScalarStorage() const
    {
        return checkedFlatCall([&](ErrorRecord* e) { return ZVariantData_C_API_isScalarStorage(e, m_handle); });
    }
    [[nodiscard]] std::size_t numberAllocatedElements() const
    {
        return checkedFlatCall([&](ErrorRecord* e) { return ZVariantData_C_API_numberAllocatedElements(e, m_handle); });
    }
    [[nodiscard]] const void* constStoredData() const
    {
        return checkedFlatCall([&](ErrorRecord* e) { return ZVariantData_C_API_constStoredData(e, m_handle); });
    }
    // The flat interface has no type identity to give.
    [[nodiscard]] const std::type_info* typeInfo() const noexcept { return nullptr; }

    // ---- Operations that may replace the handle -----------------------------

    // Makes this front the only holder (copying if shared) and returns the
    // writable elements.
    void* mutableStoredData()
    {
        void* data = nullptr;
        m_handle = checkedFlatCall(
            [&](ErrorRecord* e) { return ZVariantData_C_API_mutableStoredData(e, m_handle, &data); });
        return data;
    }

    void reorderData(DataOrdering ordering)
    {
        m_handle = checkedFlatCall([&](ErrorRecord* e) {
            return ZVariantData_C_API_reorderData(e, m_handle, static_cast<ZDataOrdering>(ordering));
        });
    }

    void reshapeNoRealloc(ArrayDimensionsView dimensions)
    {
        checkedFlatCall([&](ErrorRecord* e) {
            ZVariantData_C_API_reshapeNoRealloc(e, m_handle, flatDimensions(dimensions));
        });
    }

    // Replaces the content by a new array of the given shape filled from it.
    void reshapeToZVariant(ArrayDimensionsView dimensions, DataOrdering ordering)
    {
        ZVariantDataSharable source(*this);  // the reference that the call consumes
        ZVariantData* reshaped = checkedFlatCall([&](ErrorRecord* e) {
            return ZVariantData_C_API_reshapeToZVariant(e, m_handle, source.m_handle, flatDimensions(dimensions),
                                                        static_cast<ZDataOrdering>(ordering));
        });
        source.m_handle = nullptr;
        adopt(reshaped != nullptr ? reshaped : ZVariantData_C_API_constructNull());
    }

    // The converted storage, or a front holding no handle when `mode` refuses.
    [[nodiscard]] ZVariantDataSharable convertDataTo(WellKnownType target, ConversionMode mode) const
    {
        ZVariantDataSharable result(nullptr);
        result.m_handle = checkedFlatCall([&](ErrorRecord* e) {
            return ZVariantData_C_API_convertDataTo(e, m_handle, target.bits(), static_cast<ZConversionMode>(mode));
        });
        return result;
    }
    [[nodiscard]] bool refused() const noexcept { return m_handle == nullptr; }

    [[nodiscard]] bool isEquivalentTo(const ZVariantDataSharable& other, ConversionMode mode) const
    {
        return checkedFlatCall([&](ErrorRecord* e) {
            return ZVariantData_C_API_isEquivalentTo(e, m_handle, other.m_handle, static_cast<ZConversionMode>(mode));
        });
    }
    [[nodiscard]] bool isIdenticalTo(const ZVariantDataSharable& other) const
    {
        return checkedFlatCall(
            [&](ErrorRecord* e) { return ZVariantData_C_API_isIdenticalTo(e, m_handle, other.m_handle); });
    }

    [[nodiscard]] ZVariantData* handle() const noexcept { return m_handle; }

private:
    void adopt(ZVariantData* handle) noexcept
    {
        ZVariantData* old = m_handle;
        m_handle = handle;
        release(old);
    }

    static void release(ZVariantData* handle) noexcept { releaseIgnoringFailure(ZVariantData_C_API_destruct, handle); }

    ZVariantData* m_handle;
};

}  // namespace Marlowen::Lum::Internal
