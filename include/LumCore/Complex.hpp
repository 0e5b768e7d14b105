// Complex<T>: a complex number over an integer or boolean part class.
//
// For float and double the standard std::complex serves; Complex exists for
// bool and the eight fixed-width integers. Its layout is exactly two adjacent
// parts, real first, so an array of n values can be read as 2n parts.
//
//     Marlowen::Lum::Complex<int16_t> z(3, -4);
//     z.real();   // 3
//     z == Marlowen::Lum::Complex<int16_t>(3, -4);   // true
#pragma once

#include <cstdint>
#include <type_traits>

namespace Marlowen::Lum {

template <class T, class = void>
class Complex {
public:
    using value_type = T;

    constexpr Complex() noexcept : m_real(), m_imag() {}
    constexpr Complex(T real, T imag = T()) noexcept : m_real(real), m_imag(imag) {}

    [[nodiscard]] constexpr T real() const noexcept { return m_real; }
    [[nodiscard]] constexpr T imag() const noexcept { return m_imag; }
    constexpr void real(T value) noexcept { m_real = value; }
    constexpr void imag(T value) noexcept { m_imag = value; }

    friend constexpr bool operator==(const Complex& a, const Complex& b) noexcept
    {
        return a.m_real == b.m_real && a.m_imag == b.m_imag;
    }
    friend constexpr bool operator!=(const Complex& a, const Complex& b) noexcept { return !(a == b); }

private:
    T m_real;
    T m_imag;
};

namespace Internal {
// Arrays of Complex<T> are read as arrays of twice as many T: standard layout
// puts the real part first, and a size of two parts at the alignment of one
// leaves no room for padding between or after them.
template <class T>
inline constexpr bool kIsTwoAdjacentParts =
    std::is_trivially_copyable_v<Complex<T>>&& std::is_standard_layout_v<Complex<T>> &&
    sizeof(Complex<T>) == 2 * sizeof(T) && alignof(Complex<T>) == alignof(T);
}  // namespace Internal

static_assert(Internal::kIsTwoAdjacentParts<bool>);
static_assert(Internal::kIsTwoAdjacentParts<std::int8_t>);
static_assert(Internal::kIsTwoAdjacentParts<std::int16_t>);
static_assert(Internal::kIsTwoAdjacentParts<std::int32_t>);
static_assert(Internal::kIsTwoAdjacentParts<std::int64_t>);
static_assert(Internal::kIsTwoAdjacentParts<std::uint8_t>);
static_assert(Internal::kIsTwoAdjacentParts<std::uint16_t>);
static_assert(Internal::kIsTwoAdjacentParts<std::uint32_t>);
static_assert(Internal::kIsTwoAdjacentParts<std::uint64_t>);
static_assert(sizeof(Complex<std::int8_t>) == 2 && sizeof(Complex<std::int64_t>) == 16);

}  // namespace Marlowen::Lum
