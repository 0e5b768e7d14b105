// Sharing a ZString against the bare atomic traffic that sharing must cost,
// and the text operations over 1 MiB of text.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <locale>
#include <string>
#include <string_view>

#include "LumCore/ZString.hpp"

namespace {

using Marlowen::Lum::CaseSensitivity;
using Marlowen::Lum::ZString;
using Marlowen::Lum::ZStringLiteral;

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
        if (copy.data() != source.data()) {
            state.SkipWithError("a share is not the same text");
            break;
        }
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

// Runs `operation` on `text` once per iteration and counts the text's bytes.
// Times `operation` over the text; `check` says whether a result is right,
// and the run stops with an error at the first one that is not.
template <class Operation, class Check>
void runOverText(benchmark::State& state, const ZString& text, Operation operation, Check check)
{
    for (auto _ : state) {
        auto result = operation(text);
        benchmark::DoNotOptimize(result);
        if (!check(result)) {
            state.SkipWithError("the measured work gave a wrong result");
            break;
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}

// Every "beta" replaced, whichever the case rule.
bool noBetaLeft(const ZString& text) { return text.find("beta", 0, 4) == ZString::npos; }

void BM_ZString_Find_1MiB(benchmark::State& state)
{
    const ZString text(megabyteOfText());
    runOverText(state, text, [](const ZString& t) { return t.find("needle", 0, 6); },
                [&](std::uint64_t at) { return at == text.size() - 6; });
}
BENCHMARK(BM_ZString_Find_1MiB);

void BM_ZString_ReplaceAll_1MiB(benchmark::State& state)
{
    const ZString text(megabyteOfText());
    runOverText(state, text, [](const ZString& t) { return t.replaceAll("needle", "pin"); },
                [&](const ZString& r) { return r.size() == text.size() - 3; });
}
BENCHMARK(BM_ZString_ReplaceAll_1MiB);

void BM_ZString_ToLower_1MiB(benchmark::State& state)
{
    runOverText(state, ZString(megabyteOfText()), [](const ZString& t) { return t.toLower(); },
                [](const ZString& r) { return std::none_of(r.begin(), r.end(), [](char c) { return c >= 'A' && c <= 'Z'; }); });
}
BENCHMARK(BM_ZString_ToLower_1MiB);

// Baseline for toLower: a new copy of the global locale and a facet lookup
// for every byte, then the recount.
void BM_Baseline_ToLowerLocalePerByte_1MiB(benchmark::State& state)
{
    std::string result(megabyteOfText().size(), '\0');
    runOverText(state, ZString(megabyteOfText()), [&](const ZString& t) {
        for (std::size_t i = 0; i < t.size(); ++i) {
            result[i] = std::use_facet<std::ctype<char>>(std::locale()).tolower(t[i]);
        }
        return std::strlen(result.c_str());
    }, [&](std::size_t length) { return length == result.size(); });
}
BENCHMARK(BM_Baseline_ToLowerLocalePerByte_1MiB);

// 64 KiB of the same words: "beta" stands in every fifth word, about 2,000
// matches, enough to show a loop that rebuilds the text per match.
const std::string& sixtyFourKiBOfText()
{
    static const std::string text = megabyteOfText().substr(0, 1u << 16);
    return text;
}

// Baseline for replaceAll: rebuild head + replacement + tail through two
// fresh records per match, and search the rebuilt text again; with folding,
// both sides are lowered anew for every search.
ZString rebuildPerMatch(const ZString& text, std::string_view from, std::string_view to, CaseSensitivity cs)
{
    const ZString needle(from);
    const auto search = [&](const ZString& current, std::uint64_t start) { return current.find(needle, start, cs); };
    std::uint64_t pos = search(text, 0);
    ZString current = text;
    const ZString replacement(to.data(), std::strlen(to.data()));
    while (pos != ZString::npos) {
        const std::uint64_t cut = std::min(current.size(), pos + from.size());
        const ZString head(ZStringLiteral(current.data(), std::min(current.size(), pos)));
        current = head.concat(std::string_view(replacement)).concat(std::string_view(current).substr(cut));
        pos = search(current, pos + to.size());
    }
    return current;
}

void BM_Baseline_ReplaceAllRebuildPerMatch_64KiB(benchmark::State& state)
{
    const auto cs = static_cast<CaseSensitivity>(state.range(0));
    runOverText(state, ZString(sixtyFourKiBOfText()),
                [cs](const ZString& t) { return rebuildPerMatch(t, "beta", "BETA!", cs); }, noBetaLeft);
}
BENCHMARK(BM_Baseline_ReplaceAllRebuildPerMatch_64KiB)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void BM_ZString_ReplaceAllManyMatches_64KiB(benchmark::State& state)
{
    const auto cs = static_cast<CaseSensitivity>(state.range(0));
    runOverText(state, ZString(sixtyFourKiBOfText()),
                [cs](const ZString& t) { return t.replaceAll("beta", "BETA!", cs); }, noBetaLeft);
}
BENCHMARK(BM_ZString_ReplaceAllManyMatches_64KiB)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

// The same over 1 MiB: about 34,000 matches in one pass.
void BM_ZString_ReplaceAllManyMatches_1MiB(benchmark::State& state)
{
    runOverText(state, ZString(megabyteOfText()), [](const ZString& t) { return t.replaceAll("beta", "BETA!"); },
                noBetaLeft);
}
BENCHMARK(BM_ZString_ReplaceAllManyMatches_1MiB);

}  // namespace
