// Measuring against a baseline in the same run: each iteration runs the
// baseline (a memcpy, a bare atomic increment) and then the measured work, so
// both see the same machine state; only the work's time is the iteration
// time, so register the benchmark with UseManualTime().
//
//     const SameRunTimes times = timeAgainstBaseline(state, [&] { memcpy(...); },
//                                                    [&] { return kernel(...); }, "refused");
//     reportBandwidth(state, times, "kernel", bytesMoved, "memcpy", bytesCopied);
#pragma once

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <string>

namespace LumBench {

struct SameRunTimes {
    double baselineSeconds = 0.0;
    double subjectSeconds = 0.0;
    double secondBaselineSeconds = 0.0;  // timeAgainstTwoBaselines only
};

// `subject` returns false when its result is wrong; the run then stops with
// `failure` as its error.
template <class Baseline, class Subject>
SameRunTimes timeAgainstBaseline(benchmark::State& state, Baseline&& baseline, Subject&& subject,
                                 const char* failure = "the measured work gave a wrong result")
{
    using Clock = std::chrono::steady_clock;
    SameRunTimes times;
    for (auto _ : state) {
        const auto t0 = Clock::now();
        baseline();
        benchmark::ClobberMemory();
        const auto t1 = Clock::now();
        const bool ok = subject();
        benchmark::ClobberMemory();
        const auto t2 = Clock::now();
        if (!ok) {
            state.SkipWithError(failure);
            break;
        }
        const double seconds = std::chrono::duration<double>(t2 - t1).count();
        state.SetIterationTime(seconds);
        times.subjectSeconds += seconds;
        times.baselineSeconds += std::chrono::duration<double>(t1 - t0).count();
    }
    return times;
}

// The same with two baselines, both run before the subject: for a whole
// operation that makes a new array, the limit (a copy of the result's bytes
// into memory already mapped) and a fresh block filled by memcpy, which pays
// the first touch of new memory as the operation does.
template <class Baseline, class SecondBaseline, class Subject>
SameRunTimes timeAgainstTwoBaselines(benchmark::State& state, Baseline&& baseline, SecondBaseline&& second,
                                     Subject&& subject, const char* failure = "the measured work gave a wrong result")
{
    using Clock = std::chrono::steady_clock;
    SameRunTimes times;
    for (auto _ : state) {
        const auto t0 = Clock::now();
        baseline();
        benchmark::ClobberMemory();
        const auto t1 = Clock::now();
        second();
        benchmark::ClobberMemory();
        const auto t2 = Clock::now();
        const bool ok = subject();
        benchmark::ClobberMemory();
        const auto t3 = Clock::now();
        if (!ok) {
            state.SkipWithError(failure);
            break;
        }
        const double seconds = std::chrono::duration<double>(t3 - t2).count();
        state.SetIterationTime(seconds);
        times.subjectSeconds += seconds;
        times.baselineSeconds += std::chrono::duration<double>(t1 - t0).count();
        times.secondBaselineSeconds += std::chrono::duration<double>(t2 - t1).count();
    }
    return times;
}

// Counters for the second baseline beside those of reportBandwidth:
// <second>_GBps and vs_<second>.
inline void reportSecondBandwidth(benchmark::State& state, const SameRunTimes& times, const std::string& subject,
                                  double subjectBytes, const std::string& second, double secondBytes)
{
    const auto iterations = static_cast<double>(state.iterations());
    const double subjectRate = iterations * subjectBytes / times.subjectSeconds;
    const double secondRate = iterations * secondBytes / times.secondBaselineSeconds;
    (void)subject;
    state.counters[second + "_GBps"] = secondRate / 1e9;
    state.counters["vs_" + second] = subjectRate / secondRate;
}

// Counters <subject>_GBps, <baseline>_GBps and vs_<baseline>, the ratio of
// the two bandwidths, from the bytes each side moves per iteration.
inline void reportBandwidth(benchmark::State& state, const SameRunTimes& times, const std::string& subject,
                            double subjectBytes, const std::string& baseline, double baselineBytes)
{
    const auto iterations = static_cast<double>(state.iterations());
    const double subjectRate = iterations * subjectBytes / times.subjectSeconds;
    const double baselineRate = iterations * baselineBytes / times.baselineSeconds;
    state.SetBytesProcessed(static_cast<std::int64_t>(iterations * subjectBytes));
    state.counters[subject + "_GBps"] = subjectRate / 1e9;
    state.counters[baseline + "_GBps"] = baselineRate / 1e9;
    state.counters["vs_" + baseline] = subjectRate / baselineRate;
}

// Counters <subject>_ns, <baseline>_ns per item and vs_<baseline>, the ratio
// of the two times, for `items` operations on each side per iteration.
inline void reportTimePerItem(benchmark::State& state, const SameRunTimes& times, double items,
                              const std::string& subject, const std::string& baseline)
{
    const double total = static_cast<double>(state.iterations()) * items;
    state.SetItemsProcessed(static_cast<std::int64_t>(total));
    state.counters[subject + "_ns"] = times.subjectSeconds / total * 1e9;
    state.counters[baseline + "_ns"] = times.baselineSeconds / total * 1e9;
    state.counters["vs_" + baseline] = times.subjectSeconds / times.baselineSeconds;
}

}  // namespace LumBench
