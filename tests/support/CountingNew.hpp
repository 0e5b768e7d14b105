// A process-wide count of calls to the global operator new, for tests that
// promise "no allocation". The counting replacement lives in CountingNew.cpp
// and is linked into every test binary; the library's own allocations go
// through it too, since the global operator new is resolved process-wide.
#pragma once

#include <cstdint>

namespace LumTest {

std::uint64_t allocationCount() noexcept;
// The bytes asked for by every allocation so far, freed or not.
std::uint64_t allocatedBytes() noexcept;

// How many blocks asked for with page alignment or more were freed with
// another alignment, or blocks asked for with less freed with such an
// alignment: each is a block freed by another route than it came by.
std::uint64_t freedByAnotherRoute() noexcept;

// Counts the allocations made between its construction and a call of count().
class AllocationCounter {
public:
    AllocationCounter() noexcept : m_start(allocationCount()) {}
    [[nodiscard]] std::uint64_t count() const noexcept { return allocationCount() - m_start; }

private:
    std::uint64_t m_start;
};

}  // namespace LumTest
