// The two baselines of an operation that makes a large new array: the
// limit, a copy of the result's bytes into memory already mapped, and a fresh
// block filled by memcpy, which pays the first touch of new memory as the
// operation does.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstring>
#include <new>

#include "LumCore/internal/ArrayBlock.hpp"

namespace LumBench {

// Warm source and destination for the limit, and the fresh block's source.
// They are on huge pages where the kernel gives them, as the arrays measured
// are: 4 KiB pages are moved about by the compaction that makes huge pages
// for the arrays, and a baseline on them then pays faults of its own.
class LargeArrayBaselines {
public:
    explicit LargeArrayBaselines(std::size_t bytes)
        : m_bytes(bytes),
          m_source(Marlowen::Lum::Internal::allocateArrayBlock(bytes)),
          m_warm(Marlowen::Lum::Internal::allocateArrayBlock(bytes))
    {
        std::memset(m_source, 1, bytes);
        std::memset(m_warm, 0, bytes);
    }
    ~LargeArrayBaselines()
    {
        Marlowen::Lum::Internal::freeArrayBlock(m_source, m_bytes);
        Marlowen::Lum::Internal::freeArrayBlock(m_warm, m_bytes);
    }
    LargeArrayBaselines(const LargeArrayBaselines&) = delete;
    LargeArrayBaselines& operator=(const LargeArrayBaselines&) = delete;

    void limit() { std::memcpy(m_warm, m_source, m_bytes); }
    void freshCopy()
    {
        void* block = ::operator new(m_bytes);
        std::memcpy(block, m_source, m_bytes);
        benchmark::DoNotOptimize(block);
        benchmark::ClobberMemory();
        ::operator delete(block);
    }

private:
    std::size_t m_bytes;
    void* m_source;
    void* m_warm;
};

}  // namespace LumBench
