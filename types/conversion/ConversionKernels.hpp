// The conversion kernels: one function per (source class, target class) that
// turns a whole array of elements into another class.
//
// Sources are the 25 well-known element classes and the custom classes the
// library converts itself (std::string); targets are the 25 well-known
// classes. A kernel expects default-valued destinations and returns false at
// the first element that may not convert, after which the destination is to
// be thrown away. Source and destination must not overlap.
//
// Included only by the conversion matrix; everyone else reaches a kernel
// through conversionKernelTo (ConvertElements.hpp).
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <type_traits>

#include "LumCore/Complex.hpp"
#include "LumCore/ConversionMode.hpp"
#include "LumCore/Duration.hpp"
#include "LumCore/TimePoint.hpp"
#include "LumCore/ZString.hpp"
#include "types/conversion/ElementCast.hpp"
#include "types/conversion/TextForm.hpp"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace Marlowen::Lum::Internal {

// Which rule governs a pair; fixed at compile time.
enum class ConversionRule {
    numeric,              // the element cast, Lossless checked where needed
    realToText,           // default-only, but CastOrParse writes text
    textToReal,           // default-only, but CastOrParse parses
    copy,                 // string to string, Duration and TimePoint to themselves
    durationToTimePoint,  // copies, but Lossless only while the fields are zero
    copyText,             // std::string to string: copies, Lossless only empty
    defaultOnly,          // Lossless succeeds only on default values, nothing else does
};

template <class From, class To>
constexpr ConversionRule conversionRuleOf() noexcept
{
    if constexpr (isNumericElement<From> && isNumericElement<To>) {
        return ConversionRule::numeric;
    } else if constexpr (isRealElement<From> && std::is_same_v<To, ZString>) {
        return ConversionRule::realToText;
    } else if constexpr (std::is_same_v<From, ZString> && isRealElement<To>) {
        return ConversionRule::textToReal;
    } else if constexpr (std::is_same_v<From, To> && (std::is_same_v<To, ZString> || std::is_same_v<To, Duration> ||
                                                      std::is_same_v<To, TimePoint>)) {
        return ConversionRule::copy;
    } else if constexpr (std::is_same_v<From, Duration> && std::is_same_v<To, TimePoint>) {
        return ConversionRule::durationToTimePoint;
    } else if constexpr (std::is_same_v<From, std::string> && std::is_same_v<To, ZString>) {
        return ConversionRule::copyText;
    } else {
        return ConversionRule::defaultOnly;
    }
}

inline bool isKnownMode(ConversionMode mode) noexcept
{
    return static_cast<std::uint32_t>(mode) <= static_cast<std::uint32_t>(ConversionMode::CastOrParse);
}

// Whether an element equals the default value of its class. Numbers compare
// the IEEE way: NaN is not zero, -0.0 is.
template <class T>
inline bool isDefaultElement(const T& x) noexcept
{
    if constexpr (isRealElement<T>) {
        return x == T(0);
    } else if constexpr (isComplexElement<T>) {
        // Both parts tested without a branch, so that loops over it vectorise.
        return (static_cast<int>(x.real() == PartOf<T>()) & static_cast<int>(x.imag() == PartOf<T>())) != 0;
    } else if constexpr (std::is_same_v<T, Duration> || std::is_same_v<T, TimePoint>) {
        return (x.s == 0) & (x.f == 0);
    } else if constexpr (requires { x.empty(); }) {
        return x.empty();
    } else {
        return x == T();
    }
}

template <class T>
inline bool allDefault(const T* source, std::uint64_t count) noexcept
{
    for (std::uint64_t i = 0; i < count; ++i) {
        if (!isDefaultElement(source[i])) {
            return false;
        }
    }
    return true;
}

// ---- Numeric loops -------------------------------------------------------------

#if defined(__SSE2__)
// x86 truncating instructions already give 0x80000000 for values out of the
// int32 range and for NaN, which is the required result; written with them,
// the commonest float-to-integer loops drop the select the portable cast
// needs, and run at close to copying speed.
inline void truncateElements(const double* __restrict source, std::int32_t* __restrict destination,
                             std::uint64_t count) noexcept
{
    std::uint64_t i = 0;
    for (; i + 4 <= count; i += 4) {
        const __m128i low = _mm_cvttpd_epi32(_mm_loadu_pd(source + i));
        const __m128i high = _mm_cvttpd_epi32(_mm_loadu_pd(source + i + 2));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(destination + i), _mm_unpacklo_epi64(low, high));
    }
    for (; i < count; ++i) {
        destination[i] = cast<std::int32_t>(source[i]);
    }
}

inline void truncateElements(const float* __restrict source, std::int32_t* __restrict destination,
                             std::uint64_t count) noexcept
{
    std::uint64_t i = 0;
    for (; i + 4 <= count; i += 4) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(destination + i), _mm_cvttps_epi32(_mm_loadu_ps(source + i)));
    }
    for (; i < count; ++i) {
        destination[i] = cast<std::int32_t>(source[i]);
    }
}

template <class From, class To>
inline constexpr bool hasTruncatingLoop = std::is_same_v<To, std::int32_t> &&
                                          (std::is_same_v<From, double> || std::is_same_v<From, float>);
#else
template <class From, class To>
inline constexpr bool hasTruncatingLoop = false;
#endif

template <class From, class To>
inline void castElements(const From* __restrict source, To* __restrict destination, std::uint64_t count) noexcept
{
    if constexpr (hasTruncatingLoop<From, To>) {
        truncateElements(source, destination, count);
    } else {
        for (std::uint64_t i = 0; i < count; ++i) {
            destination[i] = cast<To>(source[i]);
        }
    }
}

// The checked loop works in blocks small enough to stay in the first-level
// cache: the block is cast by the unchecked loop, then a second loop reads
// source and result back and checks the round trip. Both passes are free of
// early exits and vectorise; reading the result back from memory also keeps
// the compiler from folding the two into one branchy loop. A block that fails
// is searched again for its first bad element, and what was written behind
// that element goes back to the default value.
inline constexpr std::uint64_t kCheckedBlock = 1024;

template <class From, class To>
inline bool castElementsChecked(const From* __restrict source, To* __restrict destination, std::uint64_t count) noexcept
{
    for (std::uint64_t start = 0; start < count; start += kCheckedBlock) {
        const std::uint64_t n = std::min(kCheckedBlock, count - start);
        const From* __restrict s = source + start;
        To* __restrict d = destination + start;
        castElements(s, d, n);
        LaneBits<PartOf<From>> failures = 0;
        for (std::uint64_t i = 0; i < n; ++i) {
            failures |= roundTripMismatch(s[i], d[i]);
        }
        if (failures != 0) {
            std::uint64_t first = 0;
            while (roundTrips(s[first], d[first])) {
                ++first;
            }
            std::fill(d + first + 1, d + n, To());
            return false;
        }
    }
    return true;
}

template <class From, class To>
inline bool convertNumeric(const From* source, To* destination, std::uint64_t count, ConversionMode mode) noexcept
{
    if (count == 0) {
        return true;
    }
    if (!isKnownMode(mode)) {
        return false;
    }
    if constexpr (!losslessIsCast<From, To>) {
        if (mode == ConversionMode::Lossless) {
            return castElementsChecked(source, destination, count);
        }
    }
    castElements(source, destination, count);
    return true;
}

// ---- Everything else -------------------------------------------------------------

template <class From, class To>
bool convertElementArray(const From* source, To* destination, std::uint64_t count, ConversionMode mode)
{
    constexpr ConversionRule rule = conversionRuleOf<From, To>();

    if constexpr (rule == ConversionRule::numeric) {
        return convertNumeric(source, destination, count, mode);
    } else if constexpr (rule == ConversionRule::copy || rule == ConversionRule::durationToTimePoint ||
                         rule == ConversionRule::copyText) {
        if (count == 0) {
            return true;
        }
        if (!isKnownMode(mode)) {
            return false;
        }
        if constexpr (rule == ConversionRule::copy) {
            std::copy(source, source + count, destination);
            return true;
        } else {
            // Lossless only lets default values through, and the destination
            // already holds those.
            if (mode == ConversionMode::Lossless) {
                return allDefault(source, count);
            }
            for (std::uint64_t i = 0; i < count; ++i) {
                if constexpr (rule == ConversionRule::durationToTimePoint) {
                    destination[i] = TimePoint{source[i].s, source[i].f};
                } else if (!source[i].empty()) {
                    // Embedded NUL bytes are part of the text.
                    destination[i] = ZString(source[i].data(), source[i].size());
                }
            }
            return true;
        }
    } else {
        // Default-only, with the text forms as the CastOrParse exceptions.
        // Zero elements fail here in every mode: an empty int32 array does
        // not become an empty string array.
        if (count == 0) {
            return false;
        }
        if (mode == ConversionMode::Lossless) {
            return allDefault(source, count);
        }
        if constexpr (rule == ConversionRule::realToText) {
            if (mode == ConversionMode::CastOrParse) {
                for (std::uint64_t i = 0; i < count; ++i) {
                    destination[i] = elementText(source[i]);
                }
                return true;
            }
        } else if constexpr (rule == ConversionRule::textToReal) {
            if (mode == ConversionMode::CastOrParse) {
                for (std::uint64_t i = 0; i < count; ++i) {
                    if (!parseElementText(source[i], destination[i])) {
                        return false;
                    }
                }
                return true;
            }
        } else {
            (void)destination;
        }
        return false;
    }
}

}  // namespace Marlowen::Lum::Internal
