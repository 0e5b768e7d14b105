// What the NumPy side-by-side benchmark needs beyond the flat interface:
// copySlice is compiled into its caller, so this small module compiles it and
// offers it to Python's ctypes as plain C functions over opaque pointers.
// Benchmark only; every function reports failure by its result, never by an
// exception.
#include <cstddef>
#include <exception>
#include <vector>

#include "LumCore/CopySlice.hpp"

using namespace Marlowen::Lum;

namespace {

struct Slice2d {
    ZVariantAbi grid;
    SliceFlattener flattener;
};

}  // namespace

extern "C" {

// A rows x columns row-major double array copied from `values`, and the
// table of its block [r0, r1) x [c0, c1). Null on failure.
__attribute__((visibility("default"))) void* lumbench_slice2d_create(const double* values, std::size_t rows,
                                                                     std::size_t columns, std::size_t r0,
                                                                     std::size_t r1, std::size_t c0, std::size_t c1)
{
    try {
        const std::vector<std::size_t> dims{rows, columns};
        ZVariantAbi grid(values, rows * columns, dims);
        SliceFlattener flattener({IndexSet(IndexRange(IndexValue(r0), IndexValue(r1 - 1))),
                                  IndexSet(IndexRange(IndexValue(c0), IndexValue(c1 - 1)))},
                                 grid.dimensions(), grid.dataOrdering(), UseDataOrdering::AsArray);
        return new Slice2d{std::move(grid), std::move(flattener)};
    } catch (const std::exception&) {
        return nullptr;
    }
}

// copySlice of the block: a new variant allocated, filled and released.
// Returns the copy's last element, or -1 on failure.
__attribute__((visibility("default"))) double lumbench_slice2d_copy(void* slice)
{
    try {
        const auto& s = *static_cast<const Slice2d*>(slice);
        const ZVariantAbi copy = copySlice(s.grid, s.flattener);
        return copy.elementAt<double>(elementCount(copy.dimensions()) - 1);
    } catch (const std::exception&) {
        return -1.0;
    }
}

// The table and the copy together, as a caller that slices once does it.
__attribute__((visibility("default"))) double lumbench_slice2d_table_and_copy(void* slice, std::size_t r0,
                                                                              std::size_t r1, std::size_t c0,
                                                                              std::size_t c1)
{
    try {
        const auto& s = *static_cast<const Slice2d*>(slice);
        const SliceFlattener flattener({IndexSet(IndexRange(IndexValue(r0), IndexValue(r1 - 1))),
                                        IndexSet(IndexRange(IndexValue(c0), IndexValue(c1 - 1)))},
                                       s.grid.dimensions(), s.grid.dataOrdering(), UseDataOrdering::AsArray);
        const ZVariantAbi copy = copySlice(s.grid, flattener);
        return copy.elementAt<double>(elementCount(copy.dimensions()) - 1);
    } catch (const std::exception&) {
        return -1.0;
    }
}

__attribute__((visibility("default"))) void lumbench_slice2d_free(void* slice) { delete static_cast<Slice2d*>(slice); }

}  // extern "C"
