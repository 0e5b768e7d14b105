// Property trees built from the input, frozen, printed and navigated. The
// frozen tree must print as the mutable one does, and resolve the paths the
// mutable one resolves, to nodes that print the same.
#include <fuzzer/FuzzedDataProvider.h>

#include <sstream>
#include <stdexcept>
#include <string>

#include "FuzzSupport.hpp"
#include "LumCore/ConsoleFormatter.hpp"
#include "LumCore/FPropertyTree.hpp"
#include "LumCore/PropertyPath.hpp"
#include "LumCore/PropertyTree.hpp"

namespace {

using namespace Marlowen::Lum;
using LumFuzz::require;

// A few keys, so that maps meet repeated ones.
constexpr const char* kKeys[] = {"a", "b", "rate", "name", "", "a.b"};

ZVariant pickValue(FuzzedDataProvider& in)
{
    switch (in.ConsumeIntegralInRange(0, 4)) {
        case 0: return ZVariant(in.ConsumeIntegral<std::int32_t>());
        case 1: return ZVariant(in.ConsumeFloatingPoint<double>());
        case 2: return ZVariant(ZString(in.ConsumeRandomLengthString(16)));
        case 3: return ZVariant(in.ConsumeBool());
        default: {
            std::vector<std::int16_t> values(in.ConsumeIntegralInRange(0, 6));
            for (auto& value : values) {
                value = in.ConsumeIntegral<std::int16_t>();
            }
            return ZVariant(values.data(), values.size());
        }
    }
}

PropertyNode pickNode(FuzzedDataProvider& in, int depth)
{
    const int kind = depth >= 4 ? in.ConsumeIntegralInRange(0, 1) : in.ConsumeIntegralInRange(0, 3);
    switch (kind) {
        case 0: return PropertyNode();
        case 1: return PropertyNode(pickValue(in));
        case 2: {
            PropertyList list;
            const int size = in.ConsumeIntegralInRange(0, 4);
            for (int i = 0; i < size; ++i) {
                list.push_back(pickNode(in, depth + 1));
            }
            return PropertyNode(std::move(list));
        }
        default: {
            PropertyMap map;
            const int size = in.ConsumeIntegralInRange(0, 4);
            for (int i = 0; i < size; ++i) {
                const InternedString key = InternedString(std::string_view(in.PickValueInArray(kKeys)));
                map.insert(key, pickNode(in, depth + 1));
            }
            return PropertyNode(std::move(map));
        }
    }
}

PropertyPath pickPath(FuzzedDataProvider& in)
{
    PropertyPath path;
    const int size = in.ConsumeIntegralInRange(0, 4);
    for (int i = 0; i < size; ++i) {
        if (in.ConsumeBool()) {
            path.append(InternedString(std::string_view(in.PickValueInArray(kKeys))));
        } else {
            path.append(in.ConsumeIntegralInRange<std::uint64_t>(0, 5));
        }
    }
    return path;
}

template <class Node>
std::string oneLine(const Node& node)
{
    std::ostringstream out;
    PrintTo(node, &out);
    return out.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider in(data, size);
    const PropertyNode tree = pickNode(in, 0);
    const FPropertyNode frozen(tree);
    const FPropertyNode shared = frozen;
    require(oneLine(tree) == oneLine(frozen), "the frozen tree prints as the mutable one");
    require(oneLine(shared) == oneLine(frozen), "a share prints as its source");

    std::ostringstream outline;
    ConsoleFormatter::serialize(tree, outline);
    ConsoleFormatter::serialize(frozen, outline);

    const PropertyPath path = pickPath(in);
    bool resolved = true;
    std::string found;
    try {
        found = oneLine(tree.at(path));
    } catch (const std::out_of_range&) {
        resolved = false;
    }
    try {
        const std::string frozenFound = oneLine(frozen.at(path));
        require(resolved, "the frozen tree resolves only what the mutable one does");
        require(frozenFound == found, "the frozen tree resolves the path alike");
    } catch (const std::out_of_range&) {
        require(!resolved, "the frozen tree resolves what the mutable one does");
    }
    return 0;
}
