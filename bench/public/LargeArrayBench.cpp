// Operations that make a new large array, whole as a caller sees them (the
// new array allocated, filled and released), each beside two baselines of
// the same run:
//   memcpy     the limit: a copy of the result's bytes into memory that is
//              already mapped;
//   freshcopy  a fresh block of the result's size filled by memcpy and
//              released, which pays the first touch of new memory as the
//              operation does, and so cannot show that cost.
// Counters: <op>_GBps, memcpy_GBps, freshcopy_GBps (result bytes per
// second), vs_memcpy and vs_freshcopy (the operation's speed over theirs).
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

#include "LumCore/ZVariant.hpp"
#include "bench/support/LargeArrayBaselines.hpp"
#include "bench/support/SameRunBaseline.hpp"

namespace {

using namespace Marlowen::Lum;

constexpr std::size_t kCount = std::size_t{16} << 20;

// Times `make`, which returns the new variant, against both baselines.
template <class Make>
void runWholeOperation(benchmark::State& state, const char* name, std::size_t resultBytes, Make make)
{
    LumBench::LargeArrayBaselines baselines(resultBytes);
    const auto times = LumBench::timeAgainstTwoBaselines(
        state, [&] { baselines.limit(); }, [&] { baselines.freshCopy(); },
        [&] {
            const ZVariant made = make();
            benchmark::DoNotOptimize(made.constStoredData());
            return elementCount(made.dimensions()) != 0;
        });
    const auto bytes = static_cast<double>(resultBytes);
    LumBench::reportBandwidth(state, times, name, bytes, "memcpy", bytes);
    LumBench::reportSecondBandwidth(state, times, name, bytes, "freshcopy", bytes);
}

template <class T>
std::vector<T> integralValues()
{
    std::vector<T> values(kCount);
    for (std::size_t i = 0; i < kCount; ++i) {
        values[i] = static_cast<T>(static_cast<std::int64_t>(i % 200003) - 100001);
    }
    return values;
}

void BM_Large_MakeDoubleFromData_16Mi(benchmark::State& state)
{
    const std::vector<double> values = integralValues<double>();
    runWholeOperation(state, "make", kCount * sizeof(double), [&] { return ZVariant(values.data(), values.size()); });
}
BENCHMARK(BM_Large_MakeDoubleFromData_16Mi)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_Large_CastInt32ToDouble_16Mi(benchmark::State& state)
{
    const std::vector<std::int32_t> values = integralValues<std::int32_t>();
    const ZVariant source(values.data(), values.size());
    runWholeOperation(state, "cast", kCount * sizeof(double), [&] { return source.convertTo<double>(); });
}
BENCHMARK(BM_Large_CastInt32ToDouble_16Mi)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_Large_CastDoubleToFloat_16Mi(benchmark::State& state)
{
    const std::vector<double> values = integralValues<double>();
    const ZVariant source(values.data(), values.size());
    runWholeOperation(state, "cast", kCount * sizeof(float), [&] { return source.convertTo<float>(); });
}
BENCHMARK(BM_Large_CastDoubleToFloat_16Mi)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_Large_LosslessDoubleToInt32_16Mi(benchmark::State& state)
{
    const std::vector<double> values = integralValues<double>();
    const ZVariant source(values.data(), values.size());
    runWholeOperation(state, "lossless", kCount * sizeof(std::int32_t),
                      [&] { return source.convertTo<std::int32_t>(ConversionMode::Lossless); });
}
BENCHMARK(BM_Large_LosslessDoubleToInt32_16Mi)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_Large_Reorder4096x4096Double(benchmark::State& state)
{
    const std::vector<double> values = integralValues<double>();
    const std::vector<std::size_t> dims{4096, 4096};
    const ZVariant source(values.data(), values.size(), dims);
    runWholeOperation(state, "reorder", kCount * sizeof(double), [&] {
        ZVariant reordered = source;  // shares; the reorder makes the new array
        reordered.reorderData(DataOrdering::ColumnMajor);
        return reordered;
    });
}
BENCHMARK(BM_Large_Reorder4096x4096Double)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
