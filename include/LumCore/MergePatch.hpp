// mergePatch: applies one tree to another by the rules of JSON merge patch
// (RFC 7396). Where the patch is a map, its entries are merged one by one: a
// null node removes the key, a map merges into the target's node of that key
// (made a map first if it is none), anything else replaces it. Where the patch
// is anything but a map, it replaces the target whole. Lists are never merged,
// only replaced.
//
//     using namespace Marlowen::Lum;
//     PropertyNode config = readJsonPropertyNode(R"({"rate": 50, "unit": "Hz", "limits": {"max": 9}})");
//     mergePatch(config, readJsonPropertyNode(R"({"unit": null, "limits": {"min": 1}})"));
//     // {"rate": 50, "limits": {"max": 9, "min": 1}}
//
// New keys are appended after the target's own. The patch is a mutable
// tree; a frozen one is read as a mutable tree first (decode it as one).
#pragma once

#include <utility>

#include "LumCore/PropertyTree.hpp"

namespace Marlowen::Lum {

namespace Internal {

inline void applyMergePatch(PropertyNode& target, PropertyNode&& patch)
{
    if (!patch.isMap()) {
        target = std::move(patch);
        return;
    }
    if (!target.isMap()) {
        target = PropertyMap();
    }
    PropertyMap& entries = target.map();
    for (auto& [key, node] : patch.map()) {
        if (node.isNull()) {
            entries.erase(key);
        } else {
            applyMergePatch(entries[key], std::move(node));
        }
    }
}

}  // namespace Internal

// Takes the patch by value: its nodes move into the target, so pass it with
// std::move when it is not needed after. (A patch taken from the target
// itself is a copy by then, and safe.)
inline void mergePatch(PropertyNode& target, PropertyNode patch)
{
    Internal::applyMergePatch(target, std::move(patch));
}

}  // namespace Marlowen::Lum
