// ZVariant and ZVariantAbi: a self-describing value, scalar or n-dimensional
// array of one of 26 element types.
//
// Both are ZVariantGeneric over a storage front and offer the same typed
// operations. ZVariant keeps scalars in its own 32-byte buffer (no allocation)
// and calls the storage directly; it needs the library's class layout and
// C++ runtime, and refuses to compile against another one.
// ZVariantAbi (LumCore/ZVariantAbi.hpp, included here) holds one opaque
// handle and goes through the flat C functions for everything, so a module
// built with another compiler or standard library can use it. Copies share
// storage; a conversion makes a new value.
//
//     using namespace Marlowen::Lum;
//     ZVariant x = 2.5;                                   // in place, no allocation
//     double d = x.as<double>();                          // 2.5
//     std::vector<size_t> dims{2, 3};
//     const int32_t values[] = {1, 2, 3, 4, 5, 6};
//     ZVariantAbi grid(values, 6, dims);                  // 2 x 3, row-major
//     for (double v : grid.iterable<double>()) { ... }    // converted once
//     grid.elementAt<int32_t>(4);                          // 5
//     x.as<uint8_t>(ConversionMode::Lossless);            // throws std::runtime_error:
//     // "Cannot convert Marlowen::Lum::ZVariant of type 'double' (size: 1) to 'uint8_t'"
#pragma once

#include <iosfwd>

#include "LumCore/c/Export.h"
#include "LumCore/ZVariantAbi.hpp"
#include "LumCore/ZVariantGeneric.hpp"
#include "LumCore/internal/SameRuntime.hpp"
#include "LumCore/internal/ZVariantDirectStorage.hpp"

namespace Marlowen::Lum {

using ZVariant = ZVariantGeneric<Internal::ZVariantDirectStorage>;

// The value's text in one line, as ConsoleFormatter writes it: 2.5, [1, 2],
// 'text', null. Declared here so that test frameworks find it.
LUM_API void PrintTo(const ZVariant& value, std::ostream* stream);

namespace Internal {
LUMCORE_FIXED_TYPE_NAME(ZVariant, "Marlowen::Lum::ZVariant");
}  // namespace Internal

}  // namespace Marlowen::Lum
