// The conversion kernels: one function per (source class, target class) that
// turns a whole array of elements into another class.
//
//     std::vector<double> out(n);   // default-valued, as the caller must provide
//     bool ok = Internal::convertElements<std::int32_t, double>(in.data(), out.data(), n,
//                                                                ConversionMode::Lossless);
//
// Sources are the 25 well-known element classes and the custom classes
// carried by codecs; targets are the 25 well-known classes. The kernel
// returns false at the first element that may not convert, after which the
// destination is to be thrown away. Source and destination must not overlap.
//
// The matrix is compiled once, split by source class over the files of this
// folder; everyone else sees only the extern declarations below.
#pragma once

#include <complex>
#include <cstdint>
#include <string>

#include "LumCore/Complex.hpp"
#include "LumCore/ConversionMode.hpp"
#include "LumCore/Duration.hpp"
#include "LumCore/TimePoint.hpp"
#include "LumCore/ZString.hpp"

namespace Marlowen::Lum::Internal {

template <class From, class To>
bool convertElements(const From* source, To* destination, std::uint64_t count, ConversionMode mode);

}  // namespace Marlowen::Lum::Internal

// X(Class) for each well-known element class but bool and ZString, which
// some factories leave out (std::vector<bool> is no array of bytes, and a
// moved ZString scalar is exported in its std::string form).
#define LUMCORE_NUMERIC_AND_TIME_CLASSES(X)       \
    X(std::int8_t)                                \
    X(std::int16_t)                               \
    X(std::int32_t)                               \
    X(std::int64_t)                               \
    X(std::uint8_t)                               \
    X(std::uint16_t)                              \
    X(std::uint32_t)                              \
    X(std::uint64_t)                              \
    X(float)                                      \
    X(double)                                     \
    X(::Marlowen::Lum::Complex<bool>)             \
    X(::Marlowen::Lum::Complex<std::int8_t>)      \
    X(::Marlowen::Lum::Complex<std::int16_t>)     \
    X(::Marlowen::Lum::Complex<std::int32_t>)     \
    X(::Marlowen::Lum::Complex<std::int64_t>)     \
    X(::Marlowen::Lum::Complex<std::uint8_t>)     \
    X(::Marlowen::Lum::Complex<std::uint16_t>)    \
    X(::Marlowen::Lum::Complex<std::uint32_t>)    \
    X(::Marlowen::Lum::Complex<std::uint64_t>)    \
    X(std::complex<float>)                        \
    X(std::complex<double>)                       \
    X(::Marlowen::Lum::Duration)                  \
    X(::Marlowen::Lum::TimePoint)

// X(Class) for each of the 25 well-known element classes.
#define LUMCORE_WELL_KNOWN_ELEMENT_CLASSES(X) \
    X(bool)                                   \
    LUMCORE_NUMERIC_AND_TIME_CLASSES(X)       \
    X(::Marlowen::Lum::ZString)

// X(Class) for each custom class that can be a conversion source. A new
// codec-carried class joins the matrix with one line here (and its header
// above); its conversions are all default-only.
#define LUMCORE_CUSTOM_ELEMENT_CLASSES(X) X(std::string)

// X(From, To) for each of the 25 targets. Kept apart from the class list
// above because a macro cannot expand inside its own expansion.
#define LUMCORE_CONVERSION_TARGETS(X, From)           \
    X(From, bool)                                     \
    X(From, std::int8_t)                              \
    X(From, std::int16_t)                             \
    X(From, std::int32_t)                             \
    X(From, std::int64_t)                             \
    X(From, std::uint8_t)                             \
    X(From, std::uint16_t)                            \
    X(From, std::uint32_t)                            \
    X(From, std::uint64_t)                            \
    X(From, float)                                    \
    X(From, double)                                   \
    X(From, ::Marlowen::Lum::Complex<bool>)           \
    X(From, ::Marlowen::Lum::Complex<std::int8_t>)    \
    X(From, ::Marlowen::Lum::Complex<std::int16_t>)   \
    X(From, ::Marlowen::Lum::Complex<std::int32_t>)   \
    X(From, ::Marlowen::Lum::Complex<std::int64_t>)   \
    X(From, ::Marlowen::Lum::Complex<std::uint8_t>)   \
    X(From, ::Marlowen::Lum::Complex<std::uint16_t>)  \
    X(From, ::Marlowen::Lum::Complex<std::uint32_t>)  \
    X(From, ::Marlowen::Lum::Complex<std::uint64_t>)  \
    X(From, std::complex<float>)                      \
    X(From, std::complex<double>)                     \
    X(From, ::Marlowen::Lum::ZString)                 \
    X(From, ::Marlowen::Lum::Duration)                \
    X(From, ::Marlowen::Lum::TimePoint)

#define LUMCORE_DECLARE_CONVERSION_PAIR(From, To) \
    extern template bool convertElements<From, To>(const From*, To*, std::uint64_t, ConversionMode);
#define LUMCORE_DECLARE_CONVERSIONS_FROM(From) LUMCORE_CONVERSION_TARGETS(LUMCORE_DECLARE_CONVERSION_PAIR, From)

namespace Marlowen::Lum::Internal {
LUMCORE_WELL_KNOWN_ELEMENT_CLASSES(LUMCORE_DECLARE_CONVERSIONS_FROM)
LUMCORE_CUSTOM_ELEMENT_CLASSES(LUMCORE_DECLARE_CONVERSIONS_FROM)
}  // namespace Marlowen::Lum::Internal

#undef LUMCORE_DECLARE_CONVERSIONS_FROM
#undef LUMCORE_DECLARE_CONVERSION_PAIR
