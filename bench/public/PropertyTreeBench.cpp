// Names and trees beside their baselines and peers, in the same run:
// interning text already present against a lock and a hash; key lookup
// against std::map and nlohmann::json; building (and freezing) 100,000
// values in 1,000 maps against nlohmann::json; sharing a frozen tree against
// a deep copy of the mutable one; reading it through the flat functions
// against reading it through FPropertyNode.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "LumCore/FPropertyTree.hpp"
#include "LumCore/InternedString.hpp"
#include "LumCore/PropertyTree.hpp"
#include "LumCore/c/PropertyTreeFlat.h"
#include "bench/support/SameRunBaseline.hpp"

#ifdef LUMCORE_BENCH_WITH_NLOHMANN_JSON
#include <nlohmann/json.hpp>
#endif

namespace {

using namespace Marlowen::Lum;
using LumBench::reportTimePerItem;
using LumBench::timeAgainstBaseline;

constexpr int kBatch = 1000;

std::uint64_t fnv1a(std::string_view text)
{
    std::uint64_t hash = 0xcbf29ce484222325u;
    for (const char c : text) {
        hash ^= static_cast<unsigned char>(c);
        hash *= 0x100000001b3u;
    }
    return hash;
}

// Interning text that is present: the least it can cost is the lock and
// the hash of the text.
void BM_InternPresentText_vsLockAndHash(benchmark::State& state)
{
    const std::string text = "temperature_sensor_17";
    const InternedString first(text);
    std::mutex mutex;
    const auto times = timeAgainstBaseline(
        state,
        [&] {
            for (int i = 0; i < kBatch; ++i) {
                const std::lock_guard<std::mutex> lock(mutex);
                benchmark::DoNotOptimize(fnv1a(text));
            }
        },
        [&] {
            bool same = true;
            for (int i = 0; i < kBatch; ++i) {
                same &= InternedString(text) == first;
            }
            return same;
        });
    reportTimePerItem(state, times, kBatch, "intern", "lock_and_hash");
}
BENCHMARK(BM_InternPresentText_vsLockAndHash)->UseManualTime();

std::vector<std::string> sixteenKeys()
{
    std::vector<std::string> keys;
    for (int i = 0; i < 16; ++i) {
        keys.push_back("property_key_" + std::to_string(i));
    }
    return keys;
}

// Every key of a 16-entry map looked up, kBatch times, in a PropertyMap by
// interned key and in the peer, which holds the same keys, by std::string.
template <class Peer>
void lookupAgainst(benchmark::State& state, const Peer& peer, const char* name)
{
    const std::vector<std::string> keys = sixteenKeys();
    const auto baseline = [&] {
        for (int round = 0; round < kBatch; ++round) {
            for (const std::string& key : keys) {
                benchmark::DoNotOptimize(peer.find(key));
            }
        }
    };
    std::vector<InternedString> interned(keys.begin(), keys.end());
    PropertyMap map;
    for (int i = 0; i < 16; ++i) {
        map.insert(interned[i], PropertyNode(i));
    }
    const auto times = timeAgainstBaseline(state, baseline, [&] {
        std::size_t found = 0;
        for (int round = 0; round < kBatch; ++round) {
            for (const InternedString key : interned) {
                const PropertyNode* node = map.find(key);
                benchmark::DoNotOptimize(node);
                found += node != nullptr;
            }
        }
        return found == 16u * kBatch;
    });
    reportTimePerItem(state, times, 16.0 * kBatch, "PropertyMap_find", name);
}

// The same lookups by text, as the peer is given them: each key is interned
// (a lock and a hash) before the map is searched.
void BM_Lookup16ByText_vsStdMap(benchmark::State& state)
{
    const std::vector<std::string> keys = sixteenKeys();
    std::map<std::string, int> peer;
    PropertyMap map;
    for (int i = 0; i < 16; ++i) {
        peer.emplace(keys[i], i);
        map.insert(InternedString(keys[i]), PropertyNode(i));
    }
    const auto times = timeAgainstBaseline(
        state,
        [&] {
            for (int round = 0; round < kBatch; ++round) {
                for (const std::string& key : keys) {
                    benchmark::DoNotOptimize(peer.find(key));
                }
            }
        },
        [&] {
            std::size_t found = 0;
            for (int round = 0; round < kBatch; ++round) {
                for (const std::string& key : keys) {
                    found += map.find(InternedString(key)) != nullptr;
                }
            }
            return found == 16u * kBatch;
        });
    reportTimePerItem(state, times, 16.0 * kBatch, "intern_and_find", "std_map_find");
}
BENCHMARK(BM_Lookup16ByText_vsStdMap)->UseManualTime();

void BM_Lookup16_vsStdMap(benchmark::State& state)
{
    const std::vector<std::string> keys = sixteenKeys();
    std::map<std::string, int> peer;
    for (int i = 0; i < 16; ++i) {
        peer.emplace(keys[i], i);
    }
    lookupAgainst(state, peer, "std_map_find");
}
BENCHMARK(BM_Lookup16_vsStdMap)->UseManualTime();

// 100,000 integers in 1,000 maps of 100 keys, in a list.
constexpr int kMaps = 1000;
constexpr int kKeysPerMap = 100;

std::vector<std::string> treeKeys()
{
    std::vector<std::string> keys;
    for (int k = 0; k < kKeysPerMap; ++k) {
        keys.push_back("field_" + std::to_string(k));
    }
    return keys;
}

// Keys of type Key: interned in advance, or text interned at each insert as
// the peer is handed text.
template <class Key>
PropertyNode buildTree(const std::vector<Key>& keys)
{
    PropertyList maps;
    maps.reserve(kMaps);
    for (int m = 0; m < kMaps; ++m) {
        PropertyMap map;
        for (int k = 0; k < kKeysPerMap; ++k) {
            map.insert(InternedString(keys[k]), PropertyNode(m * kKeysPerMap + k));
        }
        maps.push_back(PropertyNode(std::move(map)));
    }
    return PropertyNode(std::move(maps));
}

// Copying the frozen tree (one increment) against a deep copy of the mutable
// one. The deep copy is a thousand times slower and manual time counts only
// the frozen copies, so the iterations are fixed and the copies batched.
void BM_CopyFrozenTree_vsDeepCopy(benchmark::State& state)
{
    const std::vector<std::string> names = treeKeys();
    const std::vector<InternedString> keys(names.begin(), names.end());
    const PropertyNode tree = buildTree(keys);
    const FPropertyNode frozen(tree);
    const auto times = timeAgainstBaseline(
        state, [&] { benchmark::DoNotOptimize(PropertyNode(tree)); },
        [&] {
            bool ok = true;
            for (int i = 0; i < kBatch; ++i) {
                const FPropertyNode copy = frozen;
                benchmark::DoNotOptimize(copy);
                ok &= copy.isList();
            }
            return ok;
        });
    const auto iterations = static_cast<double>(state.iterations());
    const double frozenCopy = times.subjectSeconds / (iterations * kBatch);
    const double deepCopy = times.baselineSeconds / iterations;
    state.counters["frozen_copy_ns"] = frozenCopy * 1e9;
    state.counters["deep_copy_ns"] = deepCopy * 1e9;
    state.counters["vs_deep_copy"] = frozenCopy / deepCopy;
}
BENCHMARK(BM_CopyFrozenTree_vsDeepCopy)->UseManualTime()->Iterations(30);

// Reading every key and value of the frozen tree node by node through the
// flat functions, as a module built apart does, against the same walk with
// FPropertyNode's own members. Both sum every value and key length.
void BM_FlatWalk_vsFPropertyNode(benchmark::State& state)
{
    const std::vector<std::string> names = treeKeys();
    const std::vector<InternedString> keys(names.begin(), names.end());
    const FPropertyNode frozen(buildTree(keys));
    std::int64_t expected = 0;
    for (int i = 0; i < kMaps * kKeysPerMap; ++i) {
        expected += i + static_cast<std::int64_t>(names[i % kKeysPerMap].size());
    }
    std::int64_t baselineSum = 0;
    const auto times = timeAgainstBaseline(
        state,
        [&] {
            baselineSum = 0;
            std::int64_t sum = 0;
            for (const FPropertyNode& map : frozen.list()) {
                for (const auto& [key, node] : map.map()) {
                    const ZVariant& value = node.value();
                    if (value.wellKnownDataType() != WellKnownType::Value::int32) {
                        return;
                    }
                    sum += *static_cast<const std::int32_t*>(value.constStoredData()) +
                           static_cast<std::int64_t>(key.size());
                }
            }
            baselineSum = sum;
        },
        [&] {
            ErrorRecord error;
            error.typeName = nullptr;
            const FPropertyNodeData* root = frozen.flatView();
            std::int64_t sum = 0;
            ZPropertyChild maps[64];
            ZPropertyChild entries[64];
            std::size_t gotMaps = 0;
            for (std::size_t m = 0; (gotMaps = FPropertyNodeData_C_API_children(&error, root, m, maps, 64)) != 0;
                 m += gotMaps) {
                for (std::size_t i = 0; i < gotMaps; ++i) {
                    std::size_t got = 0;
                    for (std::size_t e = 0;
                         (got = FPropertyNodeData_C_API_children(&error, maps[i].node, e, entries, 64)) != 0;
                         e += got) {
                        for (std::size_t j = 0; j < got; ++j) {
                            if (entries[j].type != ZWellKnownType_int32) {
                                return false;
                            }
                            sum += *static_cast<const std::int32_t*>(entries[j].data) +
                                   static_cast<std::int64_t>(entries[j].keySize);
                        }
                    }
                }
            }
            return error.typeName == nullptr && sum == expected && baselineSum == expected;
        });
    reportTimePerItem(state, times, 1, "flat_walk", "fpropertynode_walk");
}
BENCHMARK(BM_FlatWalk_vsFPropertyNode)->UseManualTime()->Unit(benchmark::kMillisecond);

#ifdef LUMCORE_BENCH_WITH_NLOHMANN_JSON

void BM_Lookup16_vsJson(benchmark::State& state)
{
    const std::vector<std::string> keys = sixteenKeys();
    nlohmann::json peer = nlohmann::json::object();
    for (int i = 0; i < 16; ++i) {
        peer[keys[i]] = i;
    }
    lookupAgainst(state, peer, "json_find");
}
BENCHMARK(BM_Lookup16_vsJson)->UseManualTime();

nlohmann::json buildJson(const std::vector<std::string>& keys)
{
    nlohmann::json maps = nlohmann::json::array();
    for (int m = 0; m < kMaps; ++m) {
        nlohmann::json map = nlohmann::json::object();
        for (int k = 0; k < kKeysPerMap; ++k) {
            map[keys[k]] = m * kKeysPerMap + k;
        }
        maps.push_back(std::move(map));
    }
    return maps;
}

// Building the tree (keys interned beforehand, as names of a schema are)
// against building the same in nlohmann::json; then building and freezing.
void BM_BuildTree_vsJson(benchmark::State& state)
{
    const std::vector<std::string> names = treeKeys();
    const std::vector<InternedString> keys(names.begin(), names.end());
    const auto times = timeAgainstBaseline(
        state, [&] { benchmark::DoNotOptimize(buildJson(names)); },
        [&] {
            const PropertyNode tree = buildTree(keys);
            return tree.list().size() == kMaps;
        });
    reportTimePerItem(state, times, 1, "build", "json_build");
}
BENCHMARK(BM_BuildTree_vsJson)->UseManualTime()->Unit(benchmark::kMillisecond);

// The same with the interning counted: every key arrives as text, as the
// peer's do, and is interned at its insert.
void BM_BuildTreeInterningKeys_vsJson(benchmark::State& state)
{
    const std::vector<std::string> names = treeKeys();
    const auto times = timeAgainstBaseline(
        state, [&] { benchmark::DoNotOptimize(buildJson(names)); },
        [&] {
            const PropertyNode tree = buildTree(names);
            return tree.list().size() == kMaps && tree.list()[7].map().size() == kKeysPerMap;
        });
    reportTimePerItem(state, times, 1, "build_interning", "json_build");
}
BENCHMARK(BM_BuildTreeInterningKeys_vsJson)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_BuildAndFreezeTree_vsJson(benchmark::State& state)
{
    const std::vector<std::string> names = treeKeys();
    const std::vector<InternedString> keys(names.begin(), names.end());
    const auto times = timeAgainstBaseline(
        state, [&] { benchmark::DoNotOptimize(buildJson(names)); },
        [&] {
            const FPropertyNode frozen(buildTree(keys));
            return frozen.list().size() == kMaps;
        });
    reportTimePerItem(state, times, 1, "build_and_freeze", "json_build");
}
BENCHMARK(BM_BuildAndFreezeTree_vsJson)->UseManualTime()->Unit(benchmark::kMillisecond);

#else

void BM_JsonPeer_NotInstalled(benchmark::State& state)
{
    for (auto _ : state) {
    }
    state.SkipWithError("nlohmann::json not found (Debian: nlohmann-json3-dev); its comparisons are skipped");
}
BENCHMARK(BM_JsonPeer_NotInstalled);

#endif

}  // namespace
