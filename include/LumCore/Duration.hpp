// Duration: a span of time as two plain fields, seconds `s` and a fraction `f`.
//
// The library gives the fields no unit; it stores, copies and compares them.
//
//     Marlowen::Lum::Duration d{5, 250};   // d.s == 5, d.f == 250
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace Marlowen::Lum {

struct Duration {
    std::int64_t s = 0;
    std::uint64_t f = 0;

    friend constexpr bool operator==(const Duration& a, const Duration& b) noexcept { return a.s == b.s && a.f == b.f; }
    friend constexpr bool operator!=(const Duration& a, const Duration& b) noexcept { return !(a == b); }
};

// Arrays of Duration are copied as raw memory, 128 bits an element.
static_assert(std::is_trivially_copyable_v<Duration> && std::is_standard_layout_v<Duration>);
static_assert(sizeof(Duration) == 16 && offsetof(Duration, s) == 0 && offsetof(Duration, f) == 8);

}  // namespace Marlowen::Lum
