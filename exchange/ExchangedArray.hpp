// What both exchange forms ask of an array before writing it: a shape that
// lies within its elements, stored row- or column-major.
#pragma once

#include <stdexcept>
#include <string>

#include "LumCore/ZVariant.hpp"
#include "variant/StorageInstances.hpp"

namespace Marlowen::Lum::Internal {

// The array's ordering; std::length_error for a shape beyond its elements,
// std::invalid_argument naming `form` for any other ordering.
inline DataOrdering exchangedOrdering(const ZVariant& array, const char* form)
{
    if (!shapeFitsIn(array.dimensions(), array.numberAllocatedElements())) {
        throwDimensionsMismatch();
    }
    const DataOrdering ordering = array.dataOrdering();
    if (ordering != DataOrdering::RowMajor && ordering != DataOrdering::ColumnMajor) {
        throw std::invalid_argument("An array stored in an ordering other than row- or column-major has no " +
                                    std::string(form) + " form.");
    }
    return ordering;
}

}  // namespace Marlowen::Lum::Internal
