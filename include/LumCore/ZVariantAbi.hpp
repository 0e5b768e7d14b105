// ZVariantAbi: a self-describing value, scalar or n-dimensional array of one
// of 26 element types, that holds one opaque handle and reaches its data only
// through the flat C functions. A module built with another compiler or
// against another C++ runtime (clang++ with libc++ beside a g++-built
// library) uses this class, or LumCore/c/LumCoreFlat.h from C. It offers the
// same typed operations as ZVariant (see ZVariantGeneric.hpp).
//
//     using namespace Marlowen::Lum;
//     std::vector<size_t> dims{2, 3};
//     const int32_t values[] = {1, 2, 3, 4, 5, 6};
//     ZVariantAbi grid(values, 6, dims);                  // 2 x 3, row-major
//     for (double v : grid.iterable<double>()) { ... }    // converted once
//     grid.elementAt<int32_t>(4);                          // 5
#pragma once

#include <iosfwd>

#include "LumCore/c/Export.h"
#include "LumCore/ZVariantGeneric.hpp"
#include "LumCore/internal/ZVariantDataSharable.hpp"

namespace Marlowen::Lum {

using ZVariantAbi = ZVariantGeneric<Internal::ZVariantDataSharable>;

// The value's text in one line, as ConsoleFormatter writes it.
LUM_API void PrintTo(const ZVariantAbi& value, std::ostream* stream);

namespace Internal {
// Typedefs of a template: their names are written out, not extracted.
LUMCORE_FIXED_TYPE_NAME(ZVariantAbi, "Marlowen::Lum::ZVariantAbi");
}  // namespace Internal

}  // namespace Marlowen::Lum
