// Slices, each beside the physical limit of its work in the same run: the
// offset table of a whole 1024 x 1024 array against a counter loop filling
// the same number of offsets into memory already mapped, and copySlice of
// the middle 1024 x 1024 block of a 4096 x 4096 double array (a new variant
// allocated, filled and released) against memcpy of the same rows into a
// buffer already mapped.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <numeric>
#include <vector>

#include "LumCore/CopySlice.hpp"
#include "bench/support/SameRunBaseline.hpp"

namespace {

using namespace Marlowen::Lum;
using LumBench::reportBandwidth;
using LumBench::timeAgainstBaseline;

void BM_SliceTable_All1024x1024_vsCounterLoop(benchmark::State& state)
{
    const std::vector<std::size_t> dims{1024, 1024};
    const std::vector<IndexSet> all(2, IndexSet(IndexRange::all));
    std::vector<std::uint64_t> warm(dims[0] * dims[1]);
    std::iota(warm.begin(), warm.end(), 0);
    const double bytes = static_cast<double>(warm.size() * sizeof(std::uint64_t));
    const auto times = timeAgainstBaseline(
        state,
        [&] {
            std::uint64_t* out = warm.data();
            for (std::size_t i = 0; i < warm.size(); ++i) {
                out[i] = i;
            }
            benchmark::DoNotOptimize(out);
        },
        [&] {
            const SliceFlattener table(all, dims, DataOrdering::RowMajor, UseDataOrdering::AsArray);
            return table.offsets().size() == warm.size() && table.offsets().back() == warm.size() - 1;
        });
    reportBandwidth(state, times, "table", bytes, "counter", bytes);
}
BENCHMARK(BM_SliceTable_All1024x1024_vsCounterLoop)->UseManualTime()->Unit(benchmark::kMillisecond);

// The same table enumerated against the array's ordering: every row of the
// enumeration is a column of storage.
void BM_SliceTable_All1024x1024Transposed_vsCounterLoop(benchmark::State& state)
{
    const std::vector<std::size_t> dims{1024, 1024};
    const std::vector<IndexSet> all(2, IndexSet(IndexRange::all));
    std::vector<std::uint64_t> warm(dims[0] * dims[1]);
    const double bytes = static_cast<double>(warm.size() * sizeof(std::uint64_t));
    const auto times = timeAgainstBaseline(
        state,
        [&] {
            std::uint64_t* out = warm.data();
            for (std::size_t i = 0; i < warm.size(); ++i) {
                out[i] = i;
            }
            benchmark::DoNotOptimize(out);
        },
        [&] {
            const SliceFlattener table(all, dims, DataOrdering::RowMajor, UseDataOrdering::ColumnMajor);
            return table.offsets().size() == warm.size() && table.offsets()[1] == 1024;
        });
    reportBandwidth(state, times, "table", bytes, "counter", bytes);
}
BENCHMARK(BM_SliceTable_All1024x1024Transposed_vsCounterLoop)->UseManualTime()->Unit(benchmark::kMillisecond);

// A 4096 x 4096 grid of doubles whose element (r, c) is r * 4096 + c.
template <class Variant>
const Variant& grid4096()
{
    static const Variant grid = [] {
        std::vector<double> values(4096 * 4096);
        std::iota(values.begin(), values.end(), 0.0);
        const std::vector<std::size_t> dims{4096, 4096};
        return Variant(values.data(), values.size(), dims);
    }();
    return grid;
}

template <class Variant>
void copyMiddleBlock(benchmark::State& state)
{
    const Variant& grid = grid4096<Variant>();
    const IndexSet middle(IndexRange(IndexValue(1024), IndexValue(2047)));
    const SliceFlattener block({middle, middle}, grid.dimensions(), grid.dataOrdering(), UseDataOrdering::AsArray);
    const auto* source = static_cast<const double*>(grid.constStoredData());
    std::vector<double> warm(1024 * 1024, 1.0);
    const double bytes = static_cast<double>(warm.size() * sizeof(double));
    const auto times = timeAgainstBaseline(
        state,
        [&] {
            for (std::size_t row = 0; row < 1024; ++row) {
                std::memcpy(warm.data() + row * 1024, source + (1024 + row) * 4096 + 1024, 1024 * sizeof(double));
            }
            benchmark::DoNotOptimize(warm.data());
        },
        [&] {
            const Variant copy = copySlice(grid, block);
            return copy.template elementAt<double>(1024 * 1024 - 1) == 2047.0 * 4096 + 2047;
        });
    reportBandwidth(state, times, "copySlice", bytes, "memcpy", bytes);
}

void BM_CopySlice_Middle1024Of4096Double_vsMemcpy(benchmark::State& state) { copyMiddleBlock<ZVariant>(state); }
BENCHMARK(BM_CopySlice_Middle1024Of4096Double_vsMemcpy)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_CopySliceAbi_Middle1024Of4096Double_vsMemcpy(benchmark::State& state) { copyMiddleBlock<ZVariantAbi>(state); }
BENCHMARK(BM_CopySliceAbi_Middle1024Of4096Double_vsMemcpy)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
