// Conversion kernels over 16 Mi elements against memcpy in the same run.
//
// Bandwidth is bytes read plus bytes written, per second of wall time:
// a kernel from From to To moves n * (sizeof(From) + sizeof(To)) bytes;
// the baseline copies the larger of the two arrays, n * max(sizeof(From),
// sizeof(To)) bytes, and so moves twice that. Each iteration runs the
// baseline copy and then the kernel (see SameRunBaseline.hpp). Counters:
//   memcpy_GBps  the baseline's bandwidth,
//   kernel_GBps  the kernel's bandwidth (as bytes_per_second, in GB/s),
//   vs_memcpy    kernel bandwidth / baseline bandwidth.
// All arrays are allocated and touched before timing starts. The
// destination is reused from one iteration to the next: filling it with
// default values is its owner's work, not the kernel's.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "bench/support/SameRunBaseline.hpp"
#include "types/conversion/ConvertElements.hpp"

namespace {

using Marlowen::Lum::ConversionMode;
using Marlowen::Lum::Internal::convertElements;

constexpr std::size_t kCount = std::size_t{16} << 20;

template <class From, class To, class Fill>
void runConversion(benchmark::State& state, ConversionMode mode, Fill fill)
{
    std::vector<From> source(kCount);
    for (std::size_t i = 0; i < kCount; ++i) {
        source[i] = fill(i);
    }
    std::vector<To> destination(kCount);
    const std::size_t copyBytes = kCount * std::max(sizeof(From), sizeof(To));
    std::vector<unsigned char> copySource(copyBytes, 1);
    std::vector<unsigned char> copyDestination(copyBytes, 0);

    const LumBench::SameRunTimes times = LumBench::timeAgainstBaseline(
        state, [&] { std::memcpy(copyDestination.data(), copySource.data(), copyBytes); },
        [&] {
            const bool ok = convertElements<From, To>(source.data(), destination.data(), kCount, mode);
            benchmark::DoNotOptimize(ok);
            return ok;
        },
        "the conversion was refused");
    LumBench::reportBandwidth(state, times, "kernel", static_cast<double>(kCount * (sizeof(From) + sizeof(To))),
                              "memcpy", 2.0 * static_cast<double>(copyBytes));
}

// Values that vary, stay in range of every target, and are integral so that
// Lossless from double succeeds.
double integralValue(std::size_t i) { return static_cast<double>(static_cast<std::int64_t>(i % 200003) - 100001); }

void BM_Conv_Cast_Int32ToDouble(benchmark::State& state)
{
    runConversion<std::int32_t, double>(state, ConversionMode::Cast,
                                        [](std::size_t i) { return static_cast<std::int32_t>(integralValue(i)); });
}

void BM_Conv_Cast_DoubleToFloat(benchmark::State& state)
{
    runConversion<double, float>(state, ConversionMode::Cast, [](std::size_t i) { return integralValue(i) / 7.0; });
}

void BM_Conv_Cast_Int64ToInt8(benchmark::State& state)
{
    runConversion<std::int64_t, std::int8_t>(
        state, ConversionMode::Cast, [](std::size_t i) { return static_cast<std::int64_t>(integralValue(i)) * 4099; });
}

void BM_Conv_Cast_DoubleToInt32(benchmark::State& state)
{
    // A sprinkling of values out of the int32 range and NaN.
    runConversion<double, std::int32_t>(state, ConversionMode::Cast, [](std::size_t i) {
        return i % 97 == 0 ? 1e12 : (i % 101 == 0 ? __builtin_nan("") : integralValue(i) / 3.0);
    });
}

void BM_Conv_Lossless_DoubleToInt32(benchmark::State& state)
{
    runConversion<double, std::int32_t>(state, ConversionMode::Lossless, integralValue);
}

void BM_Conv_Lossless_Int32ToDouble(benchmark::State& state)
{
    runConversion<std::int32_t, double>(state, ConversionMode::Lossless,
                                        [](std::size_t i) { return static_cast<std::int32_t>(integralValue(i)); });
}

BENCHMARK(BM_Conv_Cast_Int32ToDouble)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Conv_Cast_DoubleToFloat)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Conv_Cast_Int64ToInt8)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Conv_Cast_DoubleToInt32)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Conv_Lossless_DoubleToInt32)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Conv_Lossless_Int32ToDouble)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
