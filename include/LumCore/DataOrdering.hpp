// DataOrdering: the order of an array's elements in memory.
//
// RowMajor: the last index varies fastest (C order). ColumnMajor: the first
// index varies fastest (Fortran order). 32 bits wide, as it crosses the flat
// interface.
#pragma once

#include <cstdint>

namespace Marlowen::Lum {

enum class DataOrdering : std::uint32_t {
    RowMajor = 0,
    ColumnMajor = 1,
};

}  // namespace Marlowen::Lum
