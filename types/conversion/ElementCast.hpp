// The element cast: one numeric element of one class turned into another,
// with results fixed for every input, out-of-range and NaN included.
//
// Everything here is branch-free on purpose: the conversion kernels run these
// functions in tight loops, and selects (rather than branches) let the
// compiler turn those loops into vector code. A float-to-integer cast is only
// ever applied to a value known to fit: out-of-range inputs are first swapped
// for the value whose cast is the required result, so no input reaches
// undefined behaviour.
#pragma once

#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>

#include "LumCore/Complex.hpp"

namespace Marlowen::Lum::Internal {

// ---- Element classes ---------------------------------------------------------

// The real classes: bool, the eight fixed-width integers, float and double.
template <class T>
inline constexpr bool isRealElement =
    std::is_same_v<T, bool> || std::is_same_v<T, std::int8_t> || std::is_same_v<T, std::int16_t> ||
    std::is_same_v<T, std::int32_t> || std::is_same_v<T, std::int64_t> || std::is_same_v<T, std::uint8_t> ||
    std::is_same_v<T, std::uint16_t> || std::is_same_v<T, std::uint32_t> || std::is_same_v<T, std::uint64_t> ||
    std::is_same_v<T, float> || std::is_same_v<T, double>;

template <class T>
struct ComplexElementTraits {
    static constexpr bool isComplex = false;
    using Part = T;
};
template <class T>
struct ComplexElementTraits<std::complex<T>> {
    static constexpr bool isComplex = true;
    using Part = T;
};
template <class T>
struct ComplexElementTraits<Complex<T, void>> {
    static constexpr bool isComplex = true;
    using Part = T;
};

template <class T>
inline constexpr bool isComplexElement = ComplexElementTraits<T>::isComplex;

// The class of one part: T itself for a real class.
template <class T>
using PartOf = typename ComplexElementTraits<T>::Part;

template <class T>
inline constexpr bool isNumericElement = isRealElement<T> || (isComplexElement<T> && isRealElement<PartOf<T>>);

// ---- Float to integer ----------------------------------------------------------

// Truncation through a signed 32-bit intermediate. Anything outside
// (-2^31, 2^31), and NaN, gives 0x80000000, as the x86-64 truncating
// instructions do. Such values are replaced by -2^31 before the cast, which
// gives exactly that without a second select on the integer side.
template <class F>
inline std::int32_t truncateToInt32(F x) noexcept
{
    const bool fits = std::fabs(x) < F(2147483648.0);
    return static_cast<std::int32_t>(fits ? x : F(-2147483648.0));
}

// The same through a signed 64-bit intermediate.
template <class F>
inline std::int64_t truncateToInt64(F x) noexcept
{
    const bool fits = std::fabs(x) < F(9223372036854775808.0);
    return static_cast<std::int64_t>(fits ? x : F(-9223372036854775808.0));
}

// Unsigned 64-bit in two steps: values from 2^63 up lose 2^63 before the
// signed truncation and get the top bit back after it, if they then fit.
// So [2^63, 2^64) is exact, and 2^64 and up, like NaN, give 0x8000000000000000.
template <class F>
inline std::uint64_t truncateToUnsignedInt64(F x) noexcept
{
    constexpr F twoTo63 = F(9223372036854775808.0);
    const bool high = x >= twoTo63;
    const F lowered = high ? x - twoTo63 : x;
    const bool addTop = high && lowered < twoTo63;
    const auto truncated = static_cast<std::uint64_t>(truncateToInt64(lowered));
    return truncated + (addTop ? (std::uint64_t{1} << 63) : std::uint64_t{0});
}

template <class To, class F>
inline To floatingToInteger(F x) noexcept
{
    if constexpr (std::is_same_v<To, std::uint64_t>) {
        return truncateToUnsignedInt64(x);
    } else if constexpr (std::is_same_v<To, std::int64_t> || std::is_same_v<To, std::uint32_t>) {
        return static_cast<To>(truncateToInt64(x));
    } else {
        return static_cast<To>(truncateToInt32(x));
    }
}

// ---- Unsigned 64-bit to float ----------------------------------------------------

// By value, rounding to nearest even. With the top bit set the value is
// halved first; the bit shifted out is folded into the lowest bit so that it
// still breaks ties, and the result is doubled back, which is exact.
template <class F>
inline F unsignedInt64ToFloating(std::uint64_t x) noexcept
{
    const bool top = (x >> 63) != 0;
    const std::uint64_t halved = (x >> 1) | (x & 1);
    const F converted = static_cast<F>(static_cast<std::int64_t>(top ? halved : x));
    return top ? converted + converted : converted;
}

// ---- Real to real ------------------------------------------------------------

template <class To, class From>
inline To castReal(From x) noexcept
{
    static_assert(isRealElement<From> && isRealElement<To>);
    if constexpr (std::is_same_v<To, From>) {
        return x;
    } else if constexpr (std::is_same_v<To, bool>) {
        // NaN differs from zero, so it gives true.
        return x != From(0);
    } else if constexpr (std::is_same_v<From, bool>) {
        return static_cast<To>(x);  // 0 or 1
    } else if constexpr (std::is_integral_v<From> && std::is_integral_v<To>) {
        // Two's complement: sign- or zero-extend, or keep the low bits.
        return static_cast<To>(x);
    } else if constexpr (std::is_same_v<From, std::uint64_t>) {
        return unsignedInt64ToFloating<To>(x);
    } else if constexpr (std::is_integral_v<From> || std::is_floating_point_v<To>) {
        // Integer to float or double rounds to nearest even; float to double
        // is exact; double to float rounds, overflowing to infinity.
        return static_cast<To>(x);
    } else {
        return floatingToInteger<To>(x);
    }
}

// ---- Any numeric class ---------------------------------------------------------

// cast<To>(x): real to complex gets a zero imaginary part, complex to real
// drops it, complex to complex casts each part by itself.
template <class To, class From>
inline To cast(const From& x) noexcept
{
    static_assert(isNumericElement<From> && isNumericElement<To>);
    using ToPart = PartOf<To>;
    if constexpr (!isComplexElement<From> && !isComplexElement<To>) {
        return castReal<To>(x);
    } else if constexpr (!isComplexElement<From>) {
        return To(castReal<ToPart>(x), ToPart());
    } else if constexpr (!isComplexElement<To>) {
        return castReal<To>(x.real());
    } else {
        return To(castReal<ToPart>(x.real()), castReal<ToPart>(x.imag()));
    }
}

// ---- Lossless ------------------------------------------------------------------

// Whether every value of part class From lies inside the interval of part
// class To. Precision is deliberately not considered: every integer fits in
// float.
template <class From, class To>
constexpr bool rangeContains() noexcept
{
    if constexpr (std::is_same_v<From, bool>) {
        return true;
    } else if constexpr (std::is_same_v<To, bool>) {
        return false;
    } else if constexpr (std::is_floating_point_v<To>) {
        return std::is_integral_v<From> || sizeof(From) <= sizeof(To);
    } else if constexpr (std::is_floating_point_v<From>) {
        return false;
    } else {
        return std::cmp_greater_equal(std::numeric_limits<From>::lowest(), std::numeric_limits<To>::lowest()) &&
               std::cmp_less_equal(std::numeric_limits<From>::max(), std::numeric_limits<To>::max());
    }
}

// Pairs for which Lossless needs no check at all and so is the same as Cast.
// Complex to real is always checked because of the imaginary part.
template <class From, class To>
inline constexpr bool losslessIsCast = rangeContains<PartOf<From>, PartOf<To>>() &&
                                       !(isComplexElement<From> && !isComplexElement<To>);

// An unsigned integer as wide as T, for the flags of the Lossless check.
template <class T>
using LaneBits =
    std::conditional_t<sizeof(T) == 1, std::uint8_t,
                       std::conditional_t<sizeof(T) == 2, std::uint16_t,
                                          std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>>;

// Non-zero when two parts differ, compared the IEEE way (NaN never matches,
// -0.0 matches 0.0). The flag has the width of the parts so that a loop
// OR-ing these flags vectorises without changing lane widths: integers give
// their XOR, floats select 0 or 1 in their own type.
template <class T>
inline LaneBits<T> partMismatch(T a, T b) noexcept
{
    if constexpr (std::is_floating_point_v<T>) {
        return std::bit_cast<LaneBits<T>>(a == b ? T(0) : T(1));
    } else {
        return static_cast<LaneBits<T>>(a ^ b);
    }
}

// Non-zero when y = cast<To>(x) does not cast back to x. Real to complex
// looks at the real part of y only; complex to real also needs a zero
// imaginary part in x; complex to complex checks both parts.
template <class From, class To>
inline LaneBits<PartOf<From>> roundTripMismatch(const From& x, const To& y) noexcept
{
    using FromPart = PartOf<From>;
    if constexpr (!isComplexElement<From> && !isComplexElement<To>) {
        return partMismatch(castReal<From>(y), x);
    } else if constexpr (!isComplexElement<From>) {
        return partMismatch(castReal<From>(y.real()), x);
    } else if constexpr (!isComplexElement<To>) {
        return partMismatch(castReal<FromPart>(y), x.real()) | partMismatch(x.imag(), FromPart());
    } else {
        return partMismatch(castReal<FromPart>(y.real()), x.real()) |
               partMismatch(castReal<FromPart>(y.imag()), x.imag());
    }
}

template <class From, class To>
inline bool roundTrips(const From& x, const To& y) noexcept
{
    return roundTripMismatch(x, y) == 0;
}

}  // namespace Marlowen::Lum::Internal
