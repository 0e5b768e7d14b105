// Comparison of storage objects.
//
// isIdenticalTo: the same value in the same representation (element type,
// scalar or array storage, shape and ordering all alike). isEquivalentTo: the
// same numbers, across element types through their common type and across
// orderings; the value layer's equality rests on it. Both end in
// elementsEqual, or in a custom class's own comparator.
//
//     isEquivalentTo(*doubleOne, *int32One, ConversionMode::Lossless);  // true
//     isIdenticalTo(*doubleOne, *int32One);                             // false
#pragma once

#include <cstddef>

#include "LumCore/ArrayDimensionsView.hpp"
#include "LumCore/ConversionMode.hpp"
#include "LumCore/IVariantData.hpp"
#include "LumCore/WellKnownType.hpp"

namespace Marlowen::Lum::Internal {

// Whether `count` elements of class `type` at `lhs` and `rhs` are equal:
// bytes for bool, integers, integer complexes and times; IEEE equality for
// floating parts (NaN equals nothing, +0 equals -0); length and bytes for
// strings. customType and codes off the list throw "unknown type" (or "not a
// numeric type"). A count of 0 is equal.
[[nodiscard]] bool elementsEqual(WellKnownType type, const void* lhs, const void* rhs, std::size_t count);

// Whether the element order in memory tells the two orderings apart: more
// than one element, spread over more than one dimension of extent >= 2.
[[nodiscard]] bool orderingMatters(ArrayDimensionsView dimensions) noexcept;

// Same type, same kind of storage, same shape, same ordering, equal elements.
// Exceptions of a custom comparator or of the element dispatch go on.
[[nodiscard]] bool isIdenticalTo(const IVariantData& lhs, const IVariantData& rhs);

// Same numbers in the same shape. Values of different types are both brought
// to their common type with `mode`; a conversion that refuses or throws
// makes them not equivalent. Two values without elements are always
// equivalent.
[[nodiscard]] bool isEquivalentTo(const IVariantData& lhs, const IVariantData& rhs, ConversionMode mode);

}  // namespace Marlowen::Lum::Internal
