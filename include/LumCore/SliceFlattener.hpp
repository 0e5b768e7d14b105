// SliceFlattener: the storage offsets of a slice of an n-dimensional array.
//
// Built once from one IndexSet per dimension (or one set of linear positions)
// and the array's shape and ordering; it never touches element data. Entry k
// of offsets() is where element k of the slice lies in the array's storage,
// the slice being enumerated in the ordering that `use` picks, so copying the
// elements in the order of the table gives a dense array of
// sliceDimensions() in enumerationOrdering(). copySlice (CopySlice.hpp) does
// that copy.
//
//     using namespace Marlowen::Lum;
//     std::vector<size_t> dims{2, 3};
//     SliceFlattener rows({IndexSet(IndexValue(1)), IndexSet(IndexRange::all)}, dims,
//                         DataOrdering::RowMajor, UseDataOrdering::RowMajor);
//     rows.offsets();           // {3, 4, 5}
//     rows.sliceDimensions();   // {1, 3}
//
// Failures: std::invalid_argument "slice dimensions don't match ZVariant
// dimensions", "slice dimensions are out of bounds", "invalid
// UseDataOrdering"; the failures of the items themselves (IndexSet.hpp).
#pragma once

#include <cstdint>
#include <vector>

#include "LumCore/ArrayDimensionsView.hpp"
#include "LumCore/DataOrdering.hpp"
#include "LumCore/c/Export.h"
#include "LumCore/IndexSet.hpp"

namespace Marlowen::Lum {

// The ordering in which a slice's elements are enumerated.
enum class UseDataOrdering : std::uint32_t {
    RowMajor = 0,     // the last dimension varies fastest
    ColumnMajor = 1,  // the first dimension varies fastest
    AsArray = 2,      // the ordering of the array itself
};

class SliceFlattener {
public:
    // One set per dimension of `dims`. Every item must be in range of its
    // dimension. With exactly one dimension the table is the ascending
    // positions, and `ordering` and `use` are not looked at. (A braced list
    // of a single set picks the linear form; spell std::vector<IndexSet>.)
    LUM_API SliceFlattener(const std::vector<IndexSet>& slices, ArrayDimensionsView dims, DataOrdering ordering,
                           UseDataOrdering use);

    // Linear positions of the whole array, counted in the ordering `use`
    // picks; the slice has one dimension. Positions are not checked against
    // range first: one past the array fails with std::out_of_range "Index
    // value out-of-range".
    LUM_API SliceFlattener(const IndexSet& slice, ArrayDimensionsView dims, DataOrdering ordering, UseDataOrdering use);

    // One storage offset per element of the slice, in enumeration order.
    [[nodiscard]] const std::vector<std::uint64_t>& offsets() const noexcept { return m_offsets; }
    // The slice's shape: the number of distinct positions per dimension.
    [[nodiscard]] const std::vector<std::uint64_t>& sliceDimensions() const noexcept { return m_sliceDimensions; }
    // The ordering of the enumeration: of a dense array of sliceDimensions()
    // filled from offsets() in order.
    [[nodiscard]] DataOrdering enumerationOrdering() const noexcept { return m_enumeration; }
    // The table falls into runs of this many consecutive storage offsets:
    // entries kR to kR + R - 1 are offsets()[kR] plus 0 to R - 1. At least 1;
    // found from the selections' structure, so a slice made of runs that the
    // selections do not show as such reports shorter ones.
    [[nodiscard]] std::uint64_t runLength() const noexcept { return m_runLength; }

private:
    std::vector<std::uint64_t> m_offsets;
    std::vector<std::uint64_t> m_sliceDimensions;
    DataOrdering m_enumeration = DataOrdering::RowMajor;
    std::uint64_t m_runLength = 1;
};

}  // namespace Marlowen::Lum
