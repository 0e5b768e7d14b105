// TimePoint: an instant as two plain fields, seconds `s` and a fraction `f`.
//
// Same fields as Duration, but a different element type: a Duration converts
// to a TimePoint, never the other way round.
//
//     Marlowen::Lum::TimePoint t{1700000000, 0};
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace Marlowen::Lum {

struct TimePoint {
    std::int64_t s = 0;
    std::uint64_t f = 0;

    friend constexpr bool operator==(const TimePoint& a, const TimePoint& b) noexcept
    {
        return a.s == b.s && a.f == b.f;
    }
    friend constexpr bool operator!=(const TimePoint& a, const TimePoint& b) noexcept { return !(a == b); }
};

// Arrays of TimePoint are copied as raw memory, 128 bits an element.
static_assert(std::is_trivially_copyable_v<TimePoint> && std::is_standard_layout_v<TimePoint>);
static_assert(sizeof(TimePoint) == 16 && offsetof(TimePoint, s) == 0 && offsetof(TimePoint, f) == 8);

}  // namespace Marlowen::Lum
