// Duration: a span of time as two plain fields, seconds `s` and a fraction `f`.
//
// The library gives the fields no unit; it stores, copies and compares them.
//
//     Marlowen::Lum::Duration d{5, 250};   // d.s == 5, d.f == 250
#pragma once

#include <cstdint>

namespace Marlowen::Lum {

struct Duration {
    std::int64_t s = 0;
    std::uint64_t f = 0;

    friend constexpr bool operator==(const Duration& a, const Duration& b) noexcept { return a.s == b.s && a.f == b.f; }
    friend constexpr bool operator!=(const Duration& a, const Duration& b) noexcept { return !(a == b); }
};

}  // namespace Marlowen::Lum
