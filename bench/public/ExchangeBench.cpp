// The exchange forms, whole as a caller sees them, beside nlohmann::json
// doing the same in the same run:
//   a tree holding 16 Mi doubles, CBOR both ways, also beside the limit (a
//   copy of the array's bytes into memory already mapped);
//   a configuration-like tree (100,000 values in 1,000 maps: texts, numbers,
//   small arrays), CBOR and JSON both ways.
// Counters: vs_memcpy is the encode's or decode's speed over the limit's;
// vs_json is LumCore's time over nlohmann's (below 1: LumCore is faster).
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "LumCore/Cbor.hpp"
#include "LumCore/Json.hpp"
#include "bench/support/LargeArrayBaselines.hpp"
#include "bench/support/SameRunBaseline.hpp"

#ifdef LUMCORE_BENCH_WITH_NLOHMANN_JSON
#include <nlohmann/json.hpp>
#endif

namespace {

using namespace Marlowen::Lum;

#ifdef LUMCORE_BENCH_WITH_NLOHMANN_JSON

constexpr std::size_t kSamples = std::size_t{16} << 20;
constexpr std::size_t kSampleBytes = kSamples * sizeof(double);

std::vector<double> samples()
{
    std::vector<double> values(kSamples);
    for (std::size_t i = 0; i < kSamples; ++i) {
        values[i] = 0.5 * static_cast<double>(i);
    }
    return values;
}

// The tree and its bytes, once for all the rows.
struct BigTree {
    FPropertyNode tree;
    ZVariant bytes;
    std::size_t size = 0;
    nlohmann::json peer;
    std::vector<std::uint8_t> peerBytes;

    static BigTree& get()
    {
        static BigTree made = [] {
            BigTree t;
            std::vector<double> values = samples();
            t.peer = nlohmann::json{{"samples", values}};
            t.peerBytes = nlohmann::json::to_cbor(t.peer);
            t.tree = FPropertyNode(PropertyNode(PropertyMap{{"samples", ZVariant(std::move(values))}}));
            t.bytes = encodeCbor(t.tree);
            t.size = static_cast<std::size_t>(elementCount(t.bytes.dimensions()));
            return t;
        }();
        return made;
    }

    [[nodiscard]] bool encodes() const
    {
        const ZVariant made = encodeCbor(tree);
        double last = 0;
        std::memcpy(&last, static_cast<const std::uint8_t*>(made.constStoredData()) + size - 8, 8);
        return elementCount(made.dimensions()) == size && last == 0.5 * static_cast<double>(kSamples - 1);
    }
    [[nodiscard]] bool decodes() const
    {
        const FPropertyNode back = decodeCborTree(bytes.constStoredData(), size);
        const ZVariant& read = back.map().at("samples").value();
        return read.holds<double>() && read.elementAt<double>(kSamples - 1) == 0.5 * static_cast<double>(kSamples - 1);
    }
};

// Beside the limit: each encode or decode allocates its result afresh, as a
// caller's does, and the limit copies into memory already mapped.
void BM_CborEncode_TreeOf16MiDoubles_vsMemcpy(benchmark::State& state)
{
    const BigTree& big = BigTree::get();
    LumBench::LargeArrayBaselines baselines(kSampleBytes);
    (void)big.encodes();  // the process's first touch of that much new memory, as the limit's was
    const auto times = LumBench::timeAgainstBaseline(state, [&] { baselines.limit(); }, [&] { return big.encodes(); });
    LumBench::reportBandwidth(state, times, "encode", kSampleBytes, "memcpy", kSampleBytes);
}
BENCHMARK(BM_CborEncode_TreeOf16MiDoubles_vsMemcpy)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

void BM_CborDecode_TreeOf16MiDoubles_vsMemcpy(benchmark::State& state)
{
    const BigTree& big = BigTree::get();
    LumBench::LargeArrayBaselines baselines(kSampleBytes);
    const auto times = LumBench::timeAgainstBaseline(state, [&] { baselines.limit(); }, [&] { return big.decodes(); });
    LumBench::reportBandwidth(state, times, "decode", kSampleBytes, "memcpy", kSampleBytes);
}
BENCHMARK(BM_CborDecode_TreeOf16MiDoubles_vsMemcpy)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

// Beside nlohmann::json's to_cbor and from_cbor of the same numbers.
void BM_CborEncode_TreeOf16MiDoubles_vsJson(benchmark::State& state)
{
    const BigTree& big = BigTree::get();
    const auto times = LumBench::timeAgainstBaseline(
        state, [&] { benchmark::DoNotOptimize(nlohmann::json::to_cbor(big.peer)); }, [&] { return big.encodes(); });
    LumBench::reportTimePerItem(state, times, 1, "encode", "json");
}
BENCHMARK(BM_CborEncode_TreeOf16MiDoubles_vsJson)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

void BM_CborDecode_TreeOf16MiDoubles_vsJson(benchmark::State& state)
{
    const BigTree& big = BigTree::get();
    const auto times = LumBench::timeAgainstBaseline(
        state, [&] { benchmark::DoNotOptimize(nlohmann::json::from_cbor(big.peerBytes)); },
        [&] { return big.decodes(); });
    LumBench::reportTimePerItem(state, times, 1, "decode", "json");
}
BENCHMARK(BM_CborDecode_TreeOf16MiDoubles_vsJson)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

// 1,000 maps of 100 values: a fifth each texts, integers, doubles, booleans
// and arrays of three doubles.
constexpr int kMaps = 1000;
constexpr int kKeys = 100;

std::string keyName(int k) { return "field_" + std::to_string(k); }

PropertyNode configTree()
{
    PropertyList maps;
    for (int m = 0; m < kMaps; ++m) {
        PropertyMap map;
        for (int k = 0; k < kKeys; ++k) {
            const InternedString key(keyName(k));
            const double triple[] = {0.25 * m, 0.5 * k, 1.5};
            switch (k % 5) {
            case 0:
                map.insert(key, PropertyNode("value " + std::to_string(m * kKeys + k)));
                break;
            case 1:
                map.insert(key, PropertyNode(std::int64_t{m * kKeys + k}));
                break;
            case 2:
                map.insert(key, PropertyNode(0.125 * (m * kKeys + k)));
                break;
            case 3:
                map.insert(key, PropertyNode(k % 2 == 0));
                break;
            default:
                map.insert(key, PropertyNode(ZVariant(triple, 3)));
                break;
            }
        }
        maps.push_back(PropertyNode(std::move(map)));
    }
    return PropertyNode(std::move(maps));
}

nlohmann::json configJson()
{
    nlohmann::json maps = nlohmann::json::array();
    for (int m = 0; m < kMaps; ++m) {
        nlohmann::json map = nlohmann::json::object();
        for (int k = 0; k < kKeys; ++k) {
            switch (k % 5) {
            case 0:
                map[keyName(k)] = "value " + std::to_string(m * kKeys + k);
                break;
            case 1:
                map[keyName(k)] = std::int64_t{m * kKeys + k};
                break;
            case 2:
                map[keyName(k)] = 0.125 * (m * kKeys + k);
                break;
            case 3:
                map[keyName(k)] = k % 2 == 0;
                break;
            default:
                map[keyName(k)] = {0.25 * m, 0.5 * k, 1.5};
                break;
            }
        }
        maps.push_back(std::move(map));
    }
    return maps;
}

// The tree as a reader of configuration files holds it: decoded, its nodes
// made one after another. (Frozen from a mutable tree while that one still
// stands, its nodes lie scattered over the heap, and a walk of it waits on
// memory: encoding one such took from 2.3 to 4.0 ms from run to run.)
FPropertyNode decodedConfigTree()
{
    const ZVariant bytes = encodeCbor(configTree());
    return decodeCborTree(bytes.constStoredData(), static_cast<std::size_t>(elementCount(bytes.dimensions())));
}

bool sameConfig(const FPropertyNode& tree)
{
    return tree.list().size() == kMaps && tree.list()[999].map().size() == kKeys &&
           tree.list()[999].map().at("field_1").value().as<std::int64_t>() == 99901;
}

void BM_CborEncode_ConfigTree_vsJson(benchmark::State& state)
{
    const FPropertyNode tree = decodedConfigTree();
    const nlohmann::json peer = configJson();
    const auto times = LumBench::timeAgainstBaseline(
        state, [&] { benchmark::DoNotOptimize(nlohmann::json::to_cbor(peer)); },
        [&] { return elementCount(encodeCbor(tree).dimensions()) > 1000000; });
    LumBench::reportTimePerItem(state, times, 1, "cbor_encode", "json");
}
BENCHMARK(BM_CborEncode_ConfigTree_vsJson)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_CborDecode_ConfigTree_vsJson(benchmark::State& state)
{
    const ZVariant bytes = encodeCbor(configTree());
    const auto size = static_cast<std::size_t>(elementCount(bytes.dimensions()));
    const std::vector<std::uint8_t> peerBytes = nlohmann::json::to_cbor(configJson());
    const auto times = LumBench::timeAgainstBaseline(
        state, [&] { benchmark::DoNotOptimize(nlohmann::json::from_cbor(peerBytes)); },
        [&] { return sameConfig(decodeCborTree(bytes.constStoredData(), size)); });
    LumBench::reportTimePerItem(state, times, 1, "cbor_decode", "json");
}
BENCHMARK(BM_CborDecode_ConfigTree_vsJson)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_JsonWrite_ConfigTree_vsJson(benchmark::State& state)
{
    const FPropertyNode tree = decodedConfigTree();
    const nlohmann::json peer = configJson();
    const auto times = LumBench::timeAgainstBaseline(
        state, [&] { benchmark::DoNotOptimize(peer.dump()); }, [&] { return writeJson(tree).size() > 1000000; });
    LumBench::reportTimePerItem(state, times, 1, "json_write", "json");
}
BENCHMARK(BM_JsonWrite_ConfigTree_vsJson)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_JsonParse_ConfigTree_vsJson(benchmark::State& state)
{
    const std::string text = writeJson(configTree());
    const std::string peerText = configJson().dump();
    const auto times = LumBench::timeAgainstBaseline(
        state, [&] { benchmark::DoNotOptimize(nlohmann::json::parse(peerText)); },
        [&] { return sameConfig(readJsonTree(text)); });
    LumBench::reportTimePerItem(state, times, 1, "json_parse", "json");
}
BENCHMARK(BM_JsonParse_ConfigTree_vsJson)->UseManualTime()->Unit(benchmark::kMillisecond);

#endif

}  // namespace
