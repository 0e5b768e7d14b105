// Equivalence of two equal 16 Mi-element double arrays of the same ordering,
// against memcmp of the same bytes in the same run.
//
// Each iteration runs memcmp over the two element blocks and then
// isEquivalentTo over the two arrays, so both see the same machine state;
// only the comparison's time is the iteration time. Both read the same
// 2 x 128 MiB. Counters:
//   memcmp_GBps   the baseline's bandwidth (bytes read per second),
//   compare_GBps  the comparison's bandwidth (as bytes_per_second, in GB/s),
//   vs_memcmp     comparison bandwidth / baseline bandwidth.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <vector>

#include "variant/VariantComparison.hpp"
#include "LumCore/VectorVariantData.hpp"

namespace {

using Marlowen::Lum::ArrayDimensionsView;
using Marlowen::Lum::ConversionMode;
using Marlowen::Lum::DataOrdering;
using Marlowen::Lum::Internal::isEquivalentTo;
using Marlowen::Lum::Internal::VectorVariantData;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kCount = std::size_t{16} << 20;

void BM_Compare_EquivalentDouble16Mi(benchmark::State& state)
{
    std::vector<double> values(kCount);
    for (std::size_t i = 0; i < kCount; ++i) {
        values[i] = static_cast<double>(i % 100003) * 0.25 - 1000.0;
    }
    const std::vector<std::size_t> extents{kCount};
    auto* lhs = VectorVariantData<double>::createWithData(values.data(), kCount, ArrayDimensionsView(extents),
                                                          DataOrdering::RowMajor);
    auto* rhs = VectorVariantData<double>::createWithData(values.data(), kCount, ArrayDimensionsView(extents),
                                                          DataOrdering::RowMajor);
    values = {};
    const std::size_t bytes = kCount * sizeof(double);

    double memcmpSeconds = 0.0;
    double compareSeconds = 0.0;
    for (auto _ : state) {
        const auto t0 = Clock::now();
        const int order = std::memcmp(lhs->constStoredData(), rhs->constStoredData(), bytes);
        benchmark::DoNotOptimize(order);
        const auto t1 = Clock::now();
        const bool equivalent = isEquivalentTo(*lhs, *rhs, ConversionMode::Lossless);
        benchmark::DoNotOptimize(equivalent);
        const auto t2 = Clock::now();
        if (order != 0 || !equivalent) {
            state.SkipWithError("the arrays did not compare equal");
            break;
        }
        const double compare = std::chrono::duration<double>(t2 - t1).count();
        state.SetIterationTime(compare);
        compareSeconds += compare;
        memcmpSeconds += std::chrono::duration<double>(t1 - t0).count();
    }
    lhs->destruct();
    rhs->destruct();

    const auto iterations = static_cast<double>(state.iterations());
    const double moved = 2.0 * static_cast<double>(bytes);
    const double compareRate = iterations * moved / compareSeconds;
    const double memcmpRate = iterations * moved / memcmpSeconds;
    state.SetBytesProcessed(static_cast<std::int64_t>(iterations * moved));
    state.counters["compare_GBps"] = compareRate / 1e9;
    state.counters["memcmp_GBps"] = memcmpRate / 1e9;
    state.counters["vs_memcmp"] = compareRate / memcmpRate;
}

BENCHMARK(BM_Compare_EquivalentDouble16Mi)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
