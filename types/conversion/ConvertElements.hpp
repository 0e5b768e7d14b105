// The conversion kernels as the rest of the library, its tests and its
// benchmarks reach them: compiled once in the conversion matrix, handed out
// by source class and target type.
//
//     std::vector<double> out(n);   // default-valued, as the caller must provide
//     bool ok = Internal::convertElements<std::int32_t, double>(in.data(), out.data(), n,
//                                                                ConversionMode::Lossless);
//
// A kernel returns false at the first element that may not convert, after
// which the destination is to be thrown away. Source and destination must not
// overlap. See ConversionKernels.hpp for the rules.
#pragma once

#include <complex>
#include <cstdint>
#include <string>

#include "LumCore/ConversionMode.hpp"
#include "LumCore/WellKnownType.hpp"
#include "LumCore/ZString.hpp"

namespace Marlowen::Lum::Internal {

// `count` elements at `source` turned into elements of another class at
// `destination`.
using ConversionKernel = bool (*)(const void* source, void* destination, std::uint64_t count, ConversionMode mode);

// The kernel from class From to the class of `target`. Throws "not a numeric
// type" or "unknown type" for a code that names no element class.
template <class From>
ConversionKernel conversionKernelTo(WellKnownType target);

template <class From, class To>
bool convertElements(const From* source, To* destination, std::uint64_t count, ConversionMode mode)
{
    return conversionKernelTo<From>(WellKnownTypeOf<To>::value)(source, destination, count, mode);
}

}  // namespace Marlowen::Lum::Internal
