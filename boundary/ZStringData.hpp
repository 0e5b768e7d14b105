// ZStringData: the shared record behind a ZString handle.
//
// One heap block: the count, the length, then the text and its NUL. The
// block is made and freed only by the flat string functions, so it always
// goes back to the heap that gave it out.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

struct ZStringData {
    std::atomic<std::uint32_t> refCount;
    std::uint64_t length;

    [[nodiscard]] char* text() noexcept { return reinterpret_cast<char*>(this + 1); }

    // A record of `size` bytes with a count of 1; the text is left unset.
    [[nodiscard]] static ZStringData* allocate(std::size_t size)
    {
        // A size whose record would not fit in memory is one that cannot be
        // had, rather than a small block that the header overruns.
        if (size > std::numeric_limits<std::size_t>::max() - sizeof(ZStringData) - 1) {
            throw std::bad_alloc();
        }
        void* block = ::operator new(sizeof(ZStringData) + size + 1);
        return ::new (block) ZStringData{{1u}, size};
    }

    // Gives up one reference; the holder that takes the count to 0 frees.
    void release() noexcept
    {
        if (refCount.fetch_sub(1) == 1) {
            this->~ZStringData();
            ::operator delete(static_cast<void*>(this));
        }
    }
};
