// Internal: compiled into callers through the public headers; carries no promise of stability.
// OwnedStorage: one reference to a storage object, given up through its
// destruct() when the owner goes. The one way the library holds a storage
// object it has just made while something may still throw.
//
//     OwnedStorage<VectorVariantData<double>> result(VectorVariantData<double>::create(dims, ordering));
//     fill(result->elements());      // may throw: the array is released
//     return result.release();       // hands the reference to the caller
#pragma once

#include <cstddef>
#include <utility>

namespace Marlowen::Lum::Internal {

template <class Data>
class OwnedStorage {
public:
    OwnedStorage() noexcept = default;
    OwnedStorage(std::nullptr_t) noexcept {}
    // Takes over one reference; null holds nothing.
    explicit OwnedStorage(Data* data) noexcept : m_data(data) {}

    OwnedStorage(OwnedStorage&& other) noexcept : m_data(std::exchange(other.m_data, nullptr)) {}
    OwnedStorage& operator=(OwnedStorage&& other) noexcept
    {
        reset(std::exchange(other.m_data, nullptr));
        return *this;
    }
    OwnedStorage(const OwnedStorage&) = delete;
    OwnedStorage& operator=(const OwnedStorage&) = delete;

    ~OwnedStorage() { reset(); }

    [[nodiscard]] Data* get() const noexcept { return m_data; }
    [[nodiscard]] Data* operator->() const noexcept { return m_data; }
    [[nodiscard]] Data& operator*() const noexcept { return *m_data; }
    [[nodiscard]] explicit operator bool() const noexcept { return m_data != nullptr; }
    friend bool operator==(const OwnedStorage& owner, std::nullptr_t) noexcept { return owner.m_data == nullptr; }
    friend bool operator!=(const OwnedStorage& owner, std::nullptr_t) noexcept { return owner.m_data != nullptr; }

    // Hands the reference over; this owner then holds nothing.
    [[nodiscard]] Data* release() noexcept { return std::exchange(m_data, nullptr); }

    // Takes `data` in place of the reference held, which is given up.
    // Evaluate the argument first: if that throws, the old one is still held.
    void reset(Data* data = nullptr) noexcept
    {
        if (Data* old = std::exchange(m_data, data); old != nullptr) {
            old->destruct();
        }
    }

private:
    Data* m_data = nullptr;
};

}  // namespace Marlowen::Lum::Internal
