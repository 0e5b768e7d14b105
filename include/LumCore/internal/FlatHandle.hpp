// Internal: compiled into callers through the public headers; carries no promise of stability.
// FlatHandle: the caller's side of one reference to a flat handle, a string
// record or a variant storage object, taken and given up only through the
// family's flat copy and destruct functions.
//
//     FlatHandle<ZVariantData, ZVariantData_C_API_copy, ZVariantData_C_API_destruct> h(
//         ZVariantData_C_API_constructNull());
//     auto share = h;   // ZVariantData_C_API_copy; failures raised by throwIfFailed
//
// Copying a null handle gives a null handle without a call; releasing one
// makes no call. Assignment takes the new reference before it gives up the
// old one, so a value assigned to itself never loses its object.
#pragma once

#include <utility>

#include "LumCore/c/ErrorRecord.h"
#include "LumCore/internal/ThrowIfFailed.hpp"

namespace Marlowen::Lum::Internal {

// Copy takes the handle as it is or as a pointer to const (a read-only view).
template <class Handle, auto Copy, void (*Destruct)(ErrorRecord*, Handle*)>
class FlatHandle {
public:
    FlatHandle() noexcept = default;
    // Takes over one reference.
    explicit FlatHandle(Handle* handle) noexcept : m_handle(handle) {}

    FlatHandle(const FlatHandle& other) : m_handle(share(other.m_handle)) {}
    FlatHandle(FlatHandle&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) {}

    FlatHandle& operator=(const FlatHandle& other)
    {
        adopt(share(other.m_handle));
        return *this;
    }
    FlatHandle& operator=(FlatHandle&& other) noexcept
    {
        adopt(std::exchange(other.m_handle, nullptr));
        return *this;
    }

    ~FlatHandle() { releaseIgnoringFailure(Destruct, m_handle); }

    [[nodiscard]] Handle* get() const noexcept { return m_handle; }

    // Takes over `handle`'s reference and gives up the one held so far.
    void adopt(Handle* handle) noexcept
    {
        Handle* old = m_handle;
        m_handle = handle;
        releaseIgnoringFailure(Destruct, old);
    }

    // Gives the reference up without a call, to a flat function that
    // consumes it; this owner then holds nothing.
    [[nodiscard]] Handle* relinquish() noexcept { return std::exchange(m_handle, nullptr); }

private:
    static Handle* share(Handle* handle)
    {
        if (handle == nullptr) {
            return nullptr;
        }
        return checkedFlatCall([handle](ErrorRecord* e) { return Copy(e, handle); });
    }

    Handle* m_handle = nullptr;
};

}  // namespace Marlowen::Lum::Internal
