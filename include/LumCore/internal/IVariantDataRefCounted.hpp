// Internal: compiled into callers through the public headers; carries no promise of stability.
// The two bases of the storage tree: counted objects on the heap, and
// uncounted ones that live in a caller's buffer or in static storage.
#pragma once

#include <atomic>
#include <cstdint>

#include "LumCore/IVariantData.hpp"

namespace Marlowen::Lum::Internal {

class IVariantDataRefCounted : public IVariantData {
public:
    void copy() const override { m_refCount.fetch_add(1); }

    void destruct() const override
    {
        if (m_refCount.fetch_sub(1) == 1) {
            delete this;
        }
    }

    // The library's one copy-on-write step. A stale "shared" answer only
    // costs an unneeded clone; the decrement then checks for zero because the
    // other holder may have let go meanwhile.
    IVariantData* mutableInstance() override
    {
        if (hasSingleReference()) {
            return this;
        }
        IVariantData* privateCopy = clone();
        destruct();
        return privateCopy;
    }

    // A deep copy with its own count of 1.
    [[nodiscard]] virtual IVariantData* clone() const = 0;
    [[nodiscard]] virtual bool hasSingleReference() const { return m_refCount.load() == 1; }

    [[nodiscard]] std::uint32_t referenceCount() const noexcept { return m_refCount.load(); }

protected:
    IVariantDataRefCounted() noexcept = default;
    // A copy of the content is a new object: it starts with its own count.
    IVariantDataRefCounted(const IVariantDataRefCounted&) noexcept : IVariantDataRefCounted() {}
    IVariantDataRefCounted& operator=(const IVariantDataRefCounted&) = delete;

private:
    mutable std::atomic<std::uint32_t> m_refCount{1};
};

class IVariantDataNonRefCounted : public IVariantData {
public:
    void copy() const override {}
    void destruct() const override {}
    IVariantData* mutableInstance() override { return this; }

protected:
    IVariantDataNonRefCounted() noexcept = default;
    IVariantDataNonRefCounted(const IVariantDataNonRefCounted&) noexcept = default;
    IVariantDataNonRefCounted& operator=(const IVariantDataNonRefCounted&) = delete;
};

}  // namespace Marlowen::Lum::Internal
