// The CBOR tags of the exchange form, and the RFC 8746 typed arrays: which
// element class each holds, in which byte order.
#pragma once

#include <complex>
#include <cstdint>
#include <type_traits>

#include "LumCore/Complex.hpp"

namespace Marlowen::Lum::Internal {

enum CborTag : std::uint64_t {
    kTagNamedClass = 27,         // [name, content]: the classes with no typed array
    kTagRowMajor = 40,           // [extents, elements]
    kTagHomogeneousArray = 41,   // a plain array of like items
    kTagColumnMajor = 1040,      // [extents, elements]
    kTagComplex = 43000,         // [re, im]
    kTagComplexArray = 43001,    // the parts, interleaved
};

// The little-endian typed array of each real class that has one.
template <class T>
inline constexpr std::uint64_t kTypedArrayTag = 0;
template <>
inline constexpr std::uint64_t kTypedArrayTag<std::uint8_t> = 64;
template <>
inline constexpr std::uint64_t kTypedArrayTag<std::uint16_t> = 69;
template <>
inline constexpr std::uint64_t kTypedArrayTag<std::uint32_t> = 70;
template <>
inline constexpr std::uint64_t kTypedArrayTag<std::uint64_t> = 71;
template <>
inline constexpr std::uint64_t kTypedArrayTag<std::int8_t> = 72;
template <>
inline constexpr std::uint64_t kTypedArrayTag<std::int16_t> = 77;
template <>
inline constexpr std::uint64_t kTypedArrayTag<std::int32_t> = 78;
template <>
inline constexpr std::uint64_t kTypedArrayTag<std::int64_t> = 79;
template <>
inline constexpr std::uint64_t kTypedArrayTag<float> = 85;
template <>
inline constexpr std::uint64_t kTypedArrayTag<double> = 86;

// The part class of a complex class, and T itself for a real one.
template <class T>
struct PartOf {
    using type = T;
    static constexpr bool complex = false;
};
template <class T>
struct PartOf<std::complex<T>> {
    using type = T;
    static constexpr bool complex = true;
};
template <class T>
struct PartOf<Complex<T>> {
    using type = T;
    static constexpr bool complex = true;
};

// What a typed-array tag of RFC 8746 holds: the byte size of an element,
// whether it is big-endian, a float16, or of the classes below.
struct TypedArrayForm {
    enum class Kind { none, unsignedInt, signedInt, floating };
    Kind kind = Kind::none;
    unsigned size = 0;
    bool bigEndian = false;
};

[[nodiscard]] constexpr TypedArrayForm typedArrayForm(std::uint64_t tag) noexcept
{
    using K = TypedArrayForm::Kind;
    if (tag < 64 || tag > 87 || tag == 76 || tag == 83 || tag == 87) {
        return {};  // not a typed array, or one of 128-bit floats
    }
    const unsigned low = static_cast<unsigned>(tag & 3);
    const bool bigEndian = (tag & 4) == 0 && low != 0;
    if (tag == 68) {
        return {K::unsignedInt, 1, false};  // clamped bytes read as bytes
    }
    if (tag <= 71) {
        return {K::unsignedInt, 1u << low, bigEndian};
    }
    if (tag <= 79) {
        return {K::signedInt, 1u << low, bigEndian};
    }
    return {K::floating, 2u << low, (tag & 4) == 0};  // a float16 has a byte order too
}

}  // namespace Marlowen::Lum::Internal
