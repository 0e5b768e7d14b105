// Array storage against the cheapest thing that does the same amount of
// work, measured in the same iteration so that both see the same machine:
//
// Reorder of a 4096 x 4096 double array, row-major to column-major (128 MiB):
//   ReorderData      the whole operation (a new array, the reorder, its
//                    release) against a fresh block + memcpy + release;
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
#include <chrono>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

#include "LumCore/VariantFactories.hpp"
#include "LumCore/VectorVariantData.hpp"

namespace {

using Marlowen::Lum::ArrayDimensionsView;
using Marlowen::Lum::DataOrdering;
using Marlowen::Lum::Internal::constructVariantVectorWithoutDataWithDimsUnresolved;
using Marlowen::Lum::Internal::IVariantData;
using Marlowen::Lum::Internal::reorderElements;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kSide = 4096;
constexpr std::size_t kCount = kSide * kSide;
constexpr std::size_t kBytes = kCount * sizeof(double);

double seconds(Clock::time_point from, Clock::time_point to)
{
    return std::chrono::duration<double>(to - from).count();
}

// A filled row-major 4096 x 4096 array, with one reference for the caller.
IVariantData* makeSource()
{
    const std::vector<std::size_t> extents{kSide, kSide};
    IVariantData* array =
        constructVariantVectorWithoutDataWithDimsUnresolved<double>(ArrayDimensionsView(extents), DataOrdering::RowMajor);
    auto* elements = static_cast<double*>(array->mutableStoredData());
    for (std::size_t i = 0; i < kCount; ++i) {
        elements[i] = static_cast<double>(i);
    }
    return array;
}

void reportAgainstMemcpy(benchmark::State& state, double reorderSeconds, double copySeconds)
{
    const double moved = static_cast<double>(state.iterations()) * 2.0 * static_cast<double>(kBytes);
    state.SetBytesProcessed(static_cast<std::int64_t>(moved / 2.0));
    state.counters["reorder_GBps"] = moved / reorderSeconds / 1e9;
    state.counters["memcpy_GBps"] = moved / copySeconds / 1e9;
    state.counters["vs_memcpy"] = copySeconds / reorderSeconds;
}

void BM_ReorderData_RowToColumn_4096(benchmark::State& state)
{
    IVariantData* source = makeSource();
    double reorderSeconds = 0.0;
    double copySeconds = 0.0;
    for (auto _ : state) {
        const auto t0 = Clock::now();
        void* block = ::operator new(kBytes);
        std::memcpy(block, source->constStoredData(), kBytes);
        benchmark::DoNotOptimize(block);
        benchmark::ClobberMemory();
        ::operator delete(block);
        const auto t1 = Clock::now();
        IVariantData* reordered = source->reorderData(DataOrdering::ColumnMajor);
        benchmark::DoNotOptimize(reordered);
        benchmark::ClobberMemory();
        reordered->destruct();
        const auto t2 = Clock::now();
        copySeconds += seconds(t0, t1);
        reorderSeconds += seconds(t1, t2);
        state.SetIterationTime(seconds(t1, t2));
    }
    reportAgainstMemcpy(state, reorderSeconds, copySeconds);
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
    double reorderSeconds = 0.0;
    double copySeconds = 0.0;
    for (auto _ : state) {
        const auto t0 = Clock::now();
        std::memcpy(copy.data(), from, kBytes);
        benchmark::ClobberMemory();
        const auto t1 = Clock::now();
        reorderElements(from, kCount, destination.data(), ArrayDimensionsView(extents), DataOrdering::RowMajor);
        benchmark::ClobberMemory();
        const auto t2 = Clock::now();
        copySeconds += seconds(t0, t1);
        reorderSeconds += seconds(t1, t2);
        state.SetIterationTime(seconds(t1, t2));
    }
    if (destination[1] != static_cast<double>(kSide)) {
        state.SkipWithError("the reorder gave a wrong element");
    }
    reportAgainstMemcpy(state, reorderSeconds, copySeconds);
    source->destruct();
}
BENCHMARK(BM_ReorderElements_RowToColumn_4096)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_ShareArray_CopyDestruct(benchmark::State& state)
{
    constexpr int kBatch = 4096;
    const std::vector<std::size_t> extents{16};
    IVariantData* array =
        constructVariantVectorWithoutDataWithDimsUnresolved<double>(ArrayDimensionsView(extents), DataOrdering::RowMajor);
    // A count on its own cache line, as the array's is.
    alignas(64) std::atomic<std::uint32_t> count{1};
    std::atomic<std::uint32_t>* counter = &count;
    benchmark::DoNotOptimize(array);
    benchmark::DoNotOptimize(counter);

    double shareSeconds = 0.0;
    double atomicSeconds = 0.0;
    for (auto _ : state) {
        const auto t0 = Clock::now();
        for (int i = 0; i < kBatch; ++i) {
            counter->fetch_add(1);
            counter->fetch_sub(1);
        }
        const auto t1 = Clock::now();
        for (int i = 0; i < kBatch; ++i) {
            array->copy();
            array->destruct();
        }
        const auto t2 = Clock::now();
        atomicSeconds += seconds(t0, t1);
        shareSeconds += seconds(t1, t2);
        state.SetIterationTime(seconds(t1, t2));
    }
    const double pairs = static_cast<double>(state.iterations()) * kBatch;
    state.SetItemsProcessed(static_cast<std::int64_t>(pairs));
    state.counters["share_ns"] = shareSeconds / pairs * 1e9;
    state.counters["atomic_ns"] = atomicSeconds / pairs * 1e9;
    state.counters["vs_atomic"] = shareSeconds / atomicSeconds;
    array->destruct();
}
BENCHMARK(BM_ShareArray_CopyDestruct)->UseManualTime();

}  // namespace
