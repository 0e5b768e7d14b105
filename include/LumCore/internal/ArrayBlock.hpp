// Internal: compiled into callers through the public headers; carries no promise of stability.
// The heap blocks of arrays: one block holds an array's header and then its
// elements, which start on a 64-byte boundary.
//
// Small blocks come from the aligned operator new. Large ones are aligned to
// 2 MiB, rounded up to whole 2 MiB pages and offered to the kernel for
// transparent huge pages, still through the same operator new: the first
// touch of a new large array then costs one fault per 2 MiB instead of one
// per 4 KiB, which on virtual machines is most of the time it takes to fill
// a fresh array. The route follows from the size alone, so a block is freed
// the way it came as long as its owner remembers the size it asked for.
//
//     void* block = allocateArrayBlock(bytes);
//     ...
//     freeArrayBlock(block, bytes);
#pragma once

#include <cstddef>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

// Whether an array's storage can free its block by the route its size chose:
// that takes a destroying operator delete (C++20, compiler and library),
// which reads the size before the header goes. Without one, every block
// takes the small route.
#if defined(__cpp_impl_destroying_delete) && defined(__cpp_lib_destroying_delete)
#define LUMCORE_ARRAY_BLOCK_ROUTES 1
#else
#define LUMCORE_ARRAY_BLOCK_ROUTES 0
#endif

namespace Marlowen::Lum::Internal {

inline constexpr std::size_t kArrayBlockAlignment = 64;
inline constexpr std::size_t kHugePageBytes = std::size_t{1} << 21;
// From this size on a block goes the large way. Below it, a freed block is
// usually reused warm from the heap, and huge pages gain nothing.
inline constexpr std::size_t kLargeArrayBlockBytes = std::size_t{4} << 20;

[[nodiscard]] constexpr bool isLargeArrayBlock(std::size_t bytes) noexcept { return bytes >= kLargeArrayBlockBytes; }

inline void* allocateArrayBlock(std::size_t bytes)
{
    if (!isLargeArrayBlock(bytes)) {
        return ::operator new (bytes, std::align_val_t{kArrayBlockAlignment});
    }
    const std::size_t rounded = (bytes + (kHugePageBytes - 1)) & ~(kHugePageBytes - 1);
    if (rounded < bytes) {
        throw std::bad_alloc();
    }
    void* block = ::operator new (rounded, std::align_val_t{kHugePageBytes});
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    // Advice only: where the kernel has no huge pages to give, the block
    // works all the same.
    (void)::madvise(block, rounded, MADV_HUGEPAGE);
#endif
    return block;
}

inline void freeArrayBlock(void* block, std::size_t bytes) noexcept
{
    if (!isLargeArrayBlock(bytes)) {
        ::operator delete (block, std::align_val_t{kArrayBlockAlignment});
    } else {
        ::operator delete (block, std::align_val_t{kHugePageBytes});
    }
}

}  // namespace Marlowen::Lum::Internal
