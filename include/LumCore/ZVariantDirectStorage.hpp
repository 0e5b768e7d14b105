// ZVariantDirectStorage: the owning front of a storage object inside a
// ZVariant.
//
// A scalar lives in the front's own 32-byte buffer, with no count and no
// allocation; everything else is a counted object on the heap that copies
// share. The front is in-place exactly when `data` points at its own buffer.
#pragma once

#include <cstddef>

#include "LumCore/IVariantData.hpp"
#include "LumCore/VariantFactories.hpp"

namespace Marlowen::Lum::Internal {

class ZVariantDirectStorage {
public:
    static constexpr std::size_t kBufferSize = 32;

    ZVariantDirectStorage() noexcept = default;

    // Takes over one reference to `data` (or, for an object already built in
    // this front's buffer, ownership of it).
    explicit ZVariantDirectStorage(IVariantData* data) noexcept : m_data(data) {}

    ZVariantDirectStorage(const ZVariantDirectStorage& other)
    {
        if (other.isInPlace()) {
            m_data = copyConstructVariantScalar(m_buffer, kBufferSize, other);
        } else if (other.m_data != nullptr) {
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
        if (this != &other) {
            release();
            takeFrom(other);
        }
        return *this;
    }

    ~ZVariantDirectStorage() { release(); }

    [[nodiscard]] bool isInPlace() const noexcept { return m_data == reinterpret_cast<const IVariantData*>(m_buffer); }
    [[nodiscard]] IVariantData* data() const noexcept { return m_data; }
    [[nodiscard]] void* buffer() noexcept { return m_buffer; }

    // Gives up what the front holds and leaves it empty.
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
    // An in-place scalar is moved into this front's buffer; anything else
    // changes hands. `other` is left empty.
    void takeFrom(ZVariantDirectStorage& other)
    {
        if (other.isInPlace()) {
            m_data = moveConstructVariantScalar(m_buffer, kBufferSize, other);
        } else {
            m_data = other.m_data;
            other.m_data = nullptr;
        }
    }

    IVariantData* m_data = nullptr;
    alignas(void*) unsigned char m_buffer[kBufferSize];
};

}  // namespace Marlowen::Lum::Internal
