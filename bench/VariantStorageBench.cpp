// Array storage against the cheapest thing that does the same amount of
// work, measured in the same iteration so that both see the same machine:
//
// Reorder of a 4096 x 4096 double array, row-major to column-major (128 MiB):
//   ReorderData      the whole operation (a new array, the reorder, its
//                    release) against memcpy into a destination touched
//                    before (the limit) and a fresh block + memcpy +
//                    release (which pays new memory's first touch too);
//   ReorderElements  the reorder alone, into a destination touched before,
//                    against memcpy into a destination touched before.
//   Counters: reorder_GBps and memcpy_GBps (bytes read plus written per
//   second), vs_memcpy = memcpy time / reorder time (1 is memcpy's speed).
//
// Sharing an array, copy() + destruct(), against a bare atomic increment and
// decrement of a 32-bit count: each iteration times a batch of each.
//   Counters: share_ns and atomic_ns per pair, vs_atomic = share / atomic.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

#include "LumCore/VariantFactories.hpp"
#include "LumCore/internal/VectorVariantData.hpp"
#include "bench/support/SameRunBaseline.hpp"

namespace {

using Marlowen::Lum::ArrayDimensionsView;
using Marlowen::Lum::DataOrdering;
using Marlowen::Lum::Internal::constructVariantVectorWithoutDataWithDimsUnresolved;
using Marlowen::Lum::Internal::IVariantData;
using Marlowen::Lum::Internal::reorderElements;

constexpr std::size_t kSide = 4096;
constexpr std::size_t kCount = kSide * kSide;
constexpr std::size_t kBytes = kCount * sizeof(double);

// A filled row-major 4096 x 4096 array, with one reference for the caller.
IVariantData* makeSource()
{
    const std::vector<std::size_t> extents{kSide, kSide};
    IVariantData* array = constructVariantVectorWithoutDataWithDimsUnresolved<double>(ArrayDimensionsView(extents),
                                                                                      DataOrdering::RowMajor);
    auto* elements = static_cast<double*>(array->mutableStoredData());
    for (std::size_t i = 0; i < kCount; ++i) {
        elements[i] = static_cast<double>(i);
    }
    return array;
}

void BM_ReorderData_RowToColumn_4096(benchmark::State& state)
{
    IVariantData* source = makeSource();
    std::vector<double> warm(kCount, 0.0);
    const LumBench::SameRunTimes times = LumBench::timeAgainstTwoBaselines(
        state, [&] { std::memcpy(warm.data(), source->constStoredData(), kBytes); },
        [&] {
            void* block = ::operator new(kBytes);
            std::memcpy(block, source->constStoredData(), kBytes);
            benchmark::DoNotOptimize(block);
            benchmark::ClobberMemory();
            ::operator delete(block);
        },
        [&] {
            IVariantData* reordered = source->reorderData(DataOrdering::ColumnMajor);
            benchmark::DoNotOptimize(reordered);
            benchmark::ClobberMemory();
            const bool right = static_cast<const double*>(reordered->constStoredData())[1] == kSide;
            reordered->destruct();
            return right;
        });
    LumBench::reportBandwidth(state, times, "reorder", 2.0 * kBytes, "memcpy", 2.0 * kBytes);
    LumBench::reportSecondBandwidth(state, times, "reorder", 2.0 * kBytes, "freshcopy", 2.0 * kBytes);
    source->destruct();
}
BENCHMARK(BM_ReorderData_RowToColumn_4096)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_ReorderElements_RowToColumn_4096(benchmark::State& state)
{
    IVariantData* source = makeSource();
    const auto* from = static_cast<const double*>(source->constStoredData());
    std::vector<double> destination(kCount, 0.0);
    std::vector<double> copy(kCount, 0.0);
    const std::vector<std::size_t> extents{kSide, kSide};
    const LumBench::SameRunTimes times = LumBench::timeAgainstBaseline(
        state, [&] { std::memcpy(copy.data(), from, kBytes); },
        [&] {
            reorderElements(from, kCount, destination.data(), ArrayDimensionsView(extents), DataOrdering::RowMajor);
            return destination[1] == static_cast<double>(kSide);
        });
    LumBench::reportBandwidth(state, times, "reorder", 2.0 * kBytes, "memcpy", 2.0 * kBytes);
    source->destruct();
}
BENCHMARK(BM_ReorderElements_RowToColumn_4096)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_ShareArray_CopyDestruct(benchmark::State& state)
{
    constexpr int kBatch = 4096;
    const std::vector<std::size_t> extents{16};
    IVariantData* array = constructVariantVectorWithoutDataWithDimsUnresolved<double>(ArrayDimensionsView(extents),
                                                                                      DataOrdering::RowMajor);
    // A count on its own cache line, as the array's is.
    alignas(64) std::atomic<std::uint32_t> count{1};
    std::atomic<std::uint32_t>* counter = &count;
    benchmark::DoNotOptimize(array);
    benchmark::DoNotOptimize(counter);

    const LumBench::SameRunTimes times = LumBench::timeAgainstBaseline(
        state,
        [&] {
            for (int i = 0; i < kBatch; ++i) {
                counter->fetch_add(1);
                counter->fetch_sub(1);
            }
        },
        [&] {
            for (int i = 0; i < kBatch; ++i) {
                array->copy();
                array->destruct();
            }
            return static_cast<const Marlowen::Lum::Internal::IVariantDataRefCounted*>(array)->referenceCount() == 1;
        });
    LumBench::reportTimePerItem(state, times, kBatch, "share", "atomic");
    array->destruct();
}
BENCHMARK(BM_ShareArray_CopyDestruct)->UseManualTime();

}  // namespace
