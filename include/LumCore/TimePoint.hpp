// TimePoint: an instant as two plain fields, seconds `s` and a fraction `f`.
//
// Same fields as Duration, but a different element type: a Duration converts
// to a TimePoint, never the other way round.
//
//     Marlowen::Lum::TimePoint t{1700000000, 0};
#pragma once

#include <cstdint>

namespace Marlowen::Lum {

struct TimePoint {
    std::int64_t s = 0;
    std::uint64_t f = 0;

    friend constexpr bool operator==(const TimePoint& a, const TimePoint& b) noexcept { return a.s == b.s && a.f == b.f; }
    friend constexpr bool operator!=(const TimePoint& a, const TimePoint& b) noexcept { return !(a == b); }
};

}  // namespace Marlowen::Lum
