#include "support/CountingNew.hpp"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<std::uint64_t> g_allocations{0};

void* countedAllocate(std::size_t size)
{
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* block = std::malloc(size == 0 ? 1 : size)) {
        return block;
    }
    throw std::bad_alloc();
}

// The nothrow forms turn a failure into null.
void* nothrowAllocate(std::size_t size) noexcept
{
    try {
        return countedAllocate(size);
    } catch (...) {
        return nullptr;
    }
}
}  // namespace

namespace LumTest {
std::uint64_t allocationCount() noexcept
{
    return g_allocations.load(std::memory_order_relaxed);
}
}  // namespace LumTest

void* operator new(std::size_t size) { return countedAllocate(size); }
void* operator new[](std::size_t size) { return countedAllocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return nothrowAllocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return nothrowAllocate(size); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
