// Index selections and slice offset tables from random sets over random
// shapes, checked against what the table promises, and the copy of the slice
// checked against the table.
#include <fuzzer/FuzzedDataProvider.h>

#include <numeric>
#include <stdexcept>

#include "FuzzSupport.hpp"
#include "LumCore/CopySlice.hpp"
#include "LumCore/IndexSet.hpp"
#include "LumCore/SliceFlattener.hpp"
#include "LumCore/ZVariant.hpp"

namespace {

using namespace Marlowen::Lum;
using LumFuzz::Extents;
using LumFuzz::require;

// Small positions mostly, now and then one past every dimension.
IndexValue pickValue(FuzzedDataProvider& in)
{
    const std::uint64_t value =
        in.ConsumeIntegralInRange(0, 7) == 0 ? in.ConsumeIntegral<std::uint64_t>() : in.ConsumeIntegralInRange(0, 6);
    return IndexValue(value, in.ConsumeBool());
}

IndexSet pickSet(FuzzedDataProvider& in)
{
    IndexSet set;
    const int items = in.ConsumeIntegralInRange(0, 3);
    for (int i = 0; i < items; ++i) {
        if (in.ConsumeBool()) {
            set.add(pickValue(in));
        } else if (in.ConsumeIntegralInRange(0, 5) == 0) {
            set.add(IndexRange::all);
        } else {
            // Steps stay small: a backward range wraps to a count that is
            // refused as too long rather than one that is merely huge.
            const IndexValue start = pickValue(in);
            const IndexValue stop = pickValue(in);
            set.add(IndexRange(start, stop, in.ConsumeIntegralInRange(0, 7)));
        }
    }
    return set;
}

void checkTable(const SliceFlattener& slice, const Extents& dims, DataOrdering ordering)
{
    const std::vector<std::uint64_t>& offsets = slice.offsets();
    const std::uint64_t total = LumFuzz::boundedCount(dims);
    for (std::uint64_t offset : offsets) {
        require(offset < total, "an offset inside the array");
    }
    const std::vector<std::uint64_t>& shape = slice.sliceDimensions();
    const std::uint64_t described =
        std::accumulate(shape.begin(), shape.end(), std::uint64_t{1}, std::multiplies<std::uint64_t>());
    require(shape.empty() ? offsets.empty() : described == offsets.size(), "the table fills the slice's shape");
    const std::uint64_t run = slice.runLength();
    require(run >= 1, "a run of at least one");
    for (std::size_t k = 1; k < offsets.size(); ++k) {
        require(k % run == 0 || offsets[k] == offsets[k - 1] + 1, "runs of consecutive offsets");
    }

    // The copy reads the elements the table names, as a dense array.
    std::vector<double> positions(total);
    std::iota(positions.begin(), positions.end(), 0.0);
    const ZVariant source(positions.data(), positions.size(), ArrayDimensionsView(dims), ordering);
    const ZVariant copied = copySlice(source, slice);
    require(copied.dataOrdering() == slice.enumerationOrdering() || offsets.empty(), "the copy's ordering");
    for (std::size_t k = 0; k < offsets.size(); ++k) {
        require(copied.elementAt<double>(k) == static_cast<double>(offsets[k]), "the copy follows the table");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider in(data, size);
    Extents dims(in.ConsumeIntegralInRange(1, 4));
    for (std::size_t& extent : dims) {
        extent = in.ConsumeIntegralInRange(0, 5);
    }
    const DataOrdering ordering = in.ConsumeBool() ? DataOrdering::ColumnMajor : DataOrdering::RowMajor;
    const auto use = static_cast<UseDataOrdering>(in.ConsumeIntegralInRange(0, 3));  // 3 is none of them
    try {
        // One set over the whole array is resolved without a range check,
        // so over an empty array a range appends until the heap gives out,
        // as its contract says; only non-empty arrays are sliced that way.
        if (in.ConsumeIntegralInRange(0, 3) == 0 && LumFuzz::boundedCount(dims) != 0) {
            const SliceFlattener linear(pickSet(in), ArrayDimensionsView(dims), ordering, use);
            checkTable(linear, dims, ordering);
        } else {
            // Now and then one set too many or too few.
            std::vector<IndexSet> sets(dims.size() + in.ConsumeIntegralInRange(0, 8) / 7 -
                                       in.ConsumeIntegralInRange(0, 8) / 8);
            for (IndexSet& set : sets) {
                set = pickSet(in);
            }
            const SliceFlattener perDimension(sets, ArrayDimensionsView(dims), ordering, use);
            checkTable(perDimension, dims, ordering);
        }
    } catch (const std::invalid_argument&) {
    } catch (const std::out_of_range&) {
    } catch (const std::length_error&) {
    }
    return 0;
}
