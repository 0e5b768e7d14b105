// Equivalence of two equal 16 Mi-element double arrays of the same ordering,
// against memcmp of the same bytes in the same run.
//
// Each iteration runs memcmp over the two element blocks and then
// isEquivalentTo over the two arrays (see SameRunBaseline.hpp). Both read the same
// 2 x 128 MiB. Counters:
//   memcmp_GBps   the baseline's bandwidth (bytes read per second),
//   compare_GBps  the comparison's bandwidth (as bytes_per_second, in GB/s),
//   vs_memcmp     comparison bandwidth / baseline bandwidth.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "LumCore/internal/VectorVariantData.hpp"
#include "bench/support/SameRunBaseline.hpp"
#include "variant/VariantComparison.hpp"

namespace {

using Marlowen::Lum::ArrayDimensionsView;
using Marlowen::Lum::ConversionMode;
using Marlowen::Lum::DataOrdering;
using Marlowen::Lum::Internal::isEquivalentTo;
using Marlowen::Lum::Internal::VectorVariantData;

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

    const LumBench::SameRunTimes times = LumBench::timeAgainstBaseline(
        state,
        [&] {
            const int order = std::memcmp(lhs->constStoredData(), rhs->constStoredData(), bytes);
            benchmark::DoNotOptimize(order);
        },
        [&] {
            const bool equivalent = isEquivalentTo(*lhs, *rhs, ConversionMode::Lossless);
            benchmark::DoNotOptimize(equivalent);
            return equivalent;
        },
        "the arrays did not compare equal");
    lhs->destruct();
    rhs->destruct();
    LumBench::reportBandwidth(state, times, "compare", 2.0 * static_cast<double>(bytes), "memcmp",
                              2.0 * static_cast<double>(bytes));
}

BENCHMARK(BM_Compare_EquivalentDouble16Mi)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
