// copySlice: a slice of a variant as a new variant.
//
// Reads the elements at the offsets of a SliceFlattener and returns a new
// value of the same form (ZVariant or ZVariantAbi) and element type, shaped
// as the slice and stored in its enumeration ordering. Offsets that follow
// each other in storage are copied as one block. Compiled into the caller:
// ZVariantAbi makes its result through the flat functions alone.
//
//     using namespace Marlowen::Lum;
//     std::vector<size_t> dims{4, 4};
//     ZVariant grid = ...;                                   // 4 x 4 double, row-major
//     SliceFlattener middle({IndexSet(IndexRange({1}, {2})), IndexSet(IndexRange({1}, {2}))},
//                           grid.dimensions(), grid.dataOrdering(), UseDataOrdering::AsArray);
//     ZVariant block = copySlice(grid, middle);              // 2 x 2 double
//
// Custom element classes: a PropertyPath array is copied as it is; an
// application's class is named as a template argument, since nothing else
// knows how to copy it: copySlice<Point>(points, slice). A ZVariantAbi
// cannot tell custom classes apart and refuses them.
//
// Failures: std::out_of_range "Indices out of bounds." when an offset lies
// past the variant's elements (a flattener made for another shape);
// std::invalid_argument for custom data of a class not named.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

#include "LumCore/PropertyPath.hpp"
#include "LumCore/SliceFlattener.hpp"
#include "LumCore/ZVariant.hpp"
#include "LumCore/internal/ElementTraits.hpp"
#include "LumCore/internal/ElementTypeDispatch.hpp"

namespace Marlowen::Lum {

namespace Internal {

[[noreturn]] inline void throwSliceOutsideVariant() { throw std::out_of_range("Indices out of bounds."); }

// The length of the run of consecutive storage offsets that starts at
// offsets[first], at most up to `count`.
inline std::size_t consecutiveFrom(const std::uint64_t* offsets, std::size_t first, std::size_t count) noexcept
{
    const std::uint64_t start = offsets[first] - first;  // offsets[i] == start + i along the run
    std::size_t end = first + 1;
    constexpr std::size_t kBlock = 8;
    while (end + kBlock <= count) {
        bool consecutive = true;
        for (std::size_t k = 0; k < kBlock; ++k) {
            consecutive &= offsets[end + k] == start + (end + k);
        }
        if (!consecutive) {
            break;
        }
        end += kBlock;
    }
    while (end < count && offsets[end] == start + end) {
        ++end;
    }
    return end - first;
}

// Calls deliver(i, sourceIndex, length) for each run of `length` elements
// that goes from source[sourceIndex] on to destination position i, after
// checking that the run lies within `available` elements. Runs the table
// reports are taken as they are, which reads one offset per run; otherwise
// the offsets are searched for runs.
template <class Deliver>
void forEachSliceRun(const SliceFlattener& slice, std::uint64_t available, Deliver&& deliver)
{
    const std::vector<std::uint64_t>& offsets = slice.offsets();
    const std::size_t count = offsets.size();
    const std::uint64_t reported = slice.runLength();
    for (std::size_t i = 0; i < count;) {
        const std::size_t length =
            reported > 1 ? static_cast<std::size_t>(reported) : consecutiveFrom(offsets.data(), i, count);
        const std::uint64_t first = offsets[i];
        if (first >= available || length > available - first) {
            throwSliceOutsideVariant();
        }
        deliver(i, static_cast<std::size_t>(first), length);
        i += length;
    }
}

// The slice of a variant whose elements are of the well-known class T.
template <class T, class Storage>
ZVariantGeneric<Storage> copyWellKnownSlice(const ZVariantGeneric<Storage>& source, const SliceFlattener& slice)
{
    const T* from = static_cast<const T*>(source.constStoredData());
    const std::uint64_t available = elementCount(source.dimensions());
    auto result = ZVariantGeneric<Storage>::template allocate<T>(ArrayDimensionsView(slice.sliceDimensions()),
                                                                 slice.enumerationOrdering());
    if (slice.offsets().empty()) {
        return result;
    }
    T* to = static_cast<T*>(result.mutableStoredData());
    forEachSliceRun(slice, available, [&](std::size_t i, std::size_t first, std::size_t length) {
        if constexpr (kCopiedAsBlock<T>) {
            std::memcpy(static_cast<void*>(to + i), from + first, length * sizeof(T));
        } else {
            std::copy_n(from + first, length, to + i);
        }
    });
    return result;
}

// The slice of a ZVariant of custom elements of class T, made in the
// caller's code like any array of T.
template <class T>
ZVariant copyCustomSlice(const ZVariant& source, const SliceFlattener& slice)
{
    const T* from = source.getIf<T>();
    std::vector<T> elements;
    elements.reserve(slice.offsets().size());
    forEachSliceRun(slice, elementCount(source.dimensions()), [&](std::size_t, std::size_t first, std::size_t length) {
        elements.insert(elements.end(), from + first, from + first + length);
    });
    return ZVariant(std::move(elements), ArrayDimensionsView(slice.sliceDimensions()), slice.enumerationOrdering());
}

// Tries the named custom classes in turn.
template <class... Custom>
ZVariant copyNamedCustomSlice(const ZVariant& source, const SliceFlattener& slice)
{
    ZVariant result;
    const bool found =
        ((source.holds<Custom>() ? (result = copyCustomSlice<Custom>(source, slice), true) : false) || ...);
    if (!found) {
        throw std::invalid_argument(
            "copySlice: the variant holds custom data of a class that was not named as a template argument");
    }
    return result;
}

}  // namespace Internal

// The elements of `source` at the offsets of `slice`, as a new array of the
// slice's shape and enumeration ordering. `slice` must have been made for
// the variant's shape and ordering; offsets past its elements throw.
template <class... Custom, class Storage>
[[nodiscard]] ZVariantGeneric<Storage> copySlice(const ZVariantGeneric<Storage>& source, const SliceFlattener& slice)
{
    const WellKnownType type = source.wellKnownDataType();
    if (type == WellKnownType(Internal::WellKnownTypeValue::unknown)) {
        if (!slice.offsets().empty()) {
            Internal::throwSliceOutsideVariant();
        }
        return ZVariantGeneric<Storage>();
    }
    if (type == WellKnownType(Internal::WellKnownTypeValue::customType)) {
        if constexpr (std::is_same_v<Storage, Internal::ZVariantDirectStorage>) {
            return Internal::copyNamedCustomSlice<PropertyPath, Custom...>(source, slice);
        } else {
            throw std::invalid_argument("copySlice: a ZVariantAbi cannot tell custom element classes apart");
        }
    }
    return Internal::dispatchElementType(type, [&](auto tag) {
        using T = typename decltype(tag)::type;
        return Internal::copyWellKnownSlice<T>(source, slice);
    });
}

}  // namespace Marlowen::Lum
