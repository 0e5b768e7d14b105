#include "support/CountingNew.hpp"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <new>

namespace {
std::atomic<std::uint64_t> g_allocations{0};
std::atomic<std::uint64_t> g_allocatedBytes{0};
std::atomic<std::uint64_t> g_routeMismatches{0};

// The live blocks asked for with page alignment or more, and that alignment:
// a block must be freed with the alignment it was asked for.
constexpr std::size_t kTrackedAlignment = 4096;
constexpr std::size_t kTrackedBlocks = 64;
std::mutex g_trackedMutex;
struct TrackedBlock {
    void* block = nullptr;
    std::size_t alignment = 0;
};
TrackedBlock g_tracked[kTrackedBlocks];

void trackBlock(void* block, std::size_t alignment)
{
    const std::lock_guard<std::mutex> lock(g_trackedMutex);
    for (TrackedBlock& slot : g_tracked) {
        if (slot.block == nullptr) {
            slot = TrackedBlock{block, alignment};
            return;
        }
    }
}

// The alignment a tracked block was asked with, which forgets it; 0 for a
// block not tracked.
std::size_t untrackBlock(void* block)
{
    if (reinterpret_cast<std::uintptr_t>(block) % kTrackedAlignment != 0) {
        return 0;
    }
    const std::lock_guard<std::mutex> lock(g_trackedMutex);
    for (TrackedBlock& slot : g_tracked) {
        if (slot.block == block) {
            const std::size_t alignment = slot.alignment;
            slot = TrackedBlock{};
            return alignment;
        }
    }
    return 0;
}

void freeChecked(void* block, std::size_t alignment) noexcept
{
    if (block != nullptr) {
        const std::size_t asked = untrackBlock(block);
        const bool tracked = alignment >= kTrackedAlignment;
        if (tracked ? asked != alignment : asked != 0) {
            g_routeMismatches.fetch_add(1, std::memory_order_relaxed);
        }
    }
    std::free(block);
}

void* countedAllocate(std::size_t size, std::size_t alignment = 0)
{
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    g_allocatedBytes.fetch_add(size, std::memory_order_relaxed);
    if (size == 0) {
        size = 1;
    }
    // aligned_alloc wants a multiple of the alignment; a size too large to
    // round up fails as any other exhausted heap does.
    void* block = nullptr;
    if (alignment == 0) {
        block = std::malloc(size);
    } else if (size <= SIZE_MAX - alignment) {
        block = std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
    }
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    if (alignment >= kTrackedAlignment) {
        trackBlock(block, alignment);
    }
    return block;
}

// The nothrow forms turn a failure into null.
void* nothrowAllocate(std::size_t size, std::size_t alignment = 0) noexcept
{
    try {
        return countedAllocate(size, alignment);
    } catch (...) {
        return nullptr;
    }
}
}  // namespace

namespace LumTest {
std::uint64_t allocationCount() noexcept { return g_allocations.load(std::memory_order_relaxed); }
std::uint64_t allocatedBytes() noexcept { return g_allocatedBytes.load(std::memory_order_relaxed); }
std::uint64_t freedByAnotherRoute() noexcept { return g_routeMismatches.load(std::memory_order_relaxed); }
}  // namespace LumTest

void* operator new(std::size_t size) { return countedAllocate(size); }
void* operator new[](std::size_t size) { return countedAllocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return nothrowAllocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return nothrowAllocate(size); }
void operator delete(void* block) noexcept { freeChecked(block, 0); }
void operator delete[](void* block) noexcept { freeChecked(block, 0); }
void operator delete(void* block, std::size_t) noexcept { freeChecked(block, 0); }
void operator delete[](void* block, std::size_t) noexcept { freeChecked(block, 0); }

// The over-aligned forms, which array storage uses.
void* operator new(std::size_t size, std::align_val_t alignment)
{
    return countedAllocate(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment)
{
    return countedAllocate(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept
{
    return nothrowAllocate(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept
{
    return nothrowAllocate(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* block, std::align_val_t a) noexcept { freeChecked(block, static_cast<std::size_t>(a)); }
void operator delete[](void* block, std::align_val_t a) noexcept { freeChecked(block, static_cast<std::size_t>(a)); }
void operator delete(void* block, std::size_t, std::align_val_t a) noexcept
{
    freeChecked(block, static_cast<std::size_t>(a));
}
void operator delete[](void* block, std::size_t, std::align_val_t a) noexcept
{
    freeChecked(block, static_cast<std::size_t>(a));
}
