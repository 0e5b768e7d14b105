// Sharing a ZString against the bare atomic traffic that sharing must cost,
// and the text operations over 1 MiB of text.
#include <benchmark/benchmark.h>

#include <atomic>
#include <string>

#include "LumCore/ZString.hpp"

namespace {

using Marlowen::Lum::CaseSensitivity;
using Marlowen::Lum::ZString;

// Baseline: one atomic increment and one atomic decrement, the least that
// taking and giving up a shared reference can cost.
void BM_Baseline_AtomicIncrementDecrement(benchmark::State& state)
{
    std::atomic<std::uint32_t> count{1};
    for (auto _ : state) {
        count.fetch_add(1);
        benchmark::DoNotOptimize(count.fetch_sub(1));
    }
}
BENCHMARK(BM_Baseline_AtomicIncrementDecrement);

void BM_ZString_ShareAndRelease(benchmark::State& state)
{
    const ZString source("a shared piece of text");
    for (auto _ : state) {
        ZString copy(source);
        benchmark::DoNotOptimize(copy.data());
    }
}
BENCHMARK(BM_ZString_ShareAndRelease);

// 1 MiB of mixed-case words; the needle stands only at the very end.
const std::string& megabyteOfText()
{
    static const std::string text = [] {
        std::string t;
        const char* words[] = {"Alpha ", "beta ", "GAMMA ", "delta ", "Epsilon "};
        for (std::size_t i = 0; t.size() < (1u << 20) - 16; ++i) {
            t += words[i % 5];
        }
        t.resize((1u << 20) - 6, ' ');
        t += "needle";
        return t;
    }();
    return text;
}

void BM_ZString_Find_1MiB(benchmark::State& state)
{
    const ZString text(megabyteOfText());
    for (auto _ : state) {
        benchmark::DoNotOptimize(text.find("needle", 0, 6));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}
BENCHMARK(BM_ZString_Find_1MiB);

void BM_ZString_ReplaceAll_1MiB(benchmark::State& state)
{
    const ZString text(megabyteOfText());
    for (auto _ : state) {
        ZString result = text.replaceAll("needle", "pin");
        benchmark::DoNotOptimize(result.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}
BENCHMARK(BM_ZString_ReplaceAll_1MiB);

void BM_ZString_ToLower_1MiB(benchmark::State& state)
{
    const ZString text(megabyteOfText());
    for (auto _ : state) {
        ZString result = text.toLower();
        benchmark::DoNotOptimize(result.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}
BENCHMARK(BM_ZString_ToLower_1MiB);

}  // namespace
