#include "support/CountingNew.hpp"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {
std::atomic<std::uint64_t> g_allocations{0};

void* countedAllocate(std::size_t size, std::size_t alignment = 0)
{
    g_allocations.fetch_add(1, std::memory_order_relaxed);
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
}  // namespace LumTest

void* operator new(std::size_t size) { return countedAllocate(size); }
void* operator new[](std::size_t size) { return countedAllocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return nothrowAllocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return nothrowAllocate(size); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }

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
void operator delete(void* block, std::align_val_t) noexcept { std::free(block); }
void operator delete[](void* block, std::align_val_t) noexcept { std::free(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { std::free(block); }
