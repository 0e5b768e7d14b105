// The two tree forms a decoder builds from one walk (the frozen one with no
// mutable tree in between), and the rule both follow for a map's keys.
#pragma once

#include <algorithm>
#include <unordered_set>
#include <utility>
#include <vector>

#include "LumCore/FPropertyTree.hpp"
#include "LumCore/PropertyTree.hpp"
#include "LumCore/internal/FPropertyBuilder.hpp"

namespace Marlowen::Lum::Internal {

struct FrozenTree {
    using Node = FPropertyNode;
    using Entries = FPropertyBuilder::Entries;
    static Node value(ZVariant&& value) { return FPropertyBuilder::value(std::move(value)); }
    static Node list(std::vector<Node>&& nodes) { return FPropertyBuilder::list(std::move(nodes)); }
    static Node map(Entries&& entries) { return FPropertyBuilder::map(std::move(entries)); }
};

struct MutableTree {
    using Node = PropertyNode;
    using Entries = std::vector<std::pair<InternedString, PropertyNode>>;
    static Node value(ZVariant&& value) { return PropertyNode(std::move(value)); }
    static Node list(std::vector<Node>&& nodes)
    {
        PropertyList list;
        list.reserve(nodes.size());
        for (PropertyNode& node : nodes) {
            list.push_back(std::move(node));
        }
        return PropertyNode(std::move(list));
    }
    static Node map(Entries&& entries)  // keys unique already
    {
        PropertyMap map;
        for (auto& [key, node] : entries) {
            map.insert(key, std::move(node));
        }
        return PropertyNode(std::move(map));
    }
};

// A map's entries as they are read: the first entry of a key wins. Small
// maps are searched; from 16 entries on, the keys' addresses are kept.
template <class Tree>
class DecodedEntries {
public:
    void add(InternedString key, typename Tree::Node&& node)
    {
        bool present = false;
        if (m_entries.size() < 16) {
            present = std::any_of(m_entries.begin(), m_entries.end(), [&](const auto& e) { return e.first == key; });
        } else {
            if (m_keys.empty()) {
                for (const auto& entry : m_entries) {
                    m_keys.insert(entry.first.data());
                }
            }
            present = !m_keys.insert(key.data()).second;
        }
        if (!present) {
            m_entries.emplace_back(key, std::move(node));
        }
    }
    void reserve(std::size_t count) { m_entries.reserve(count); }
    [[nodiscard]] typename Tree::Node map() { return Tree::map(std::move(m_entries)); }

private:
    typename Tree::Entries m_entries;
    std::unordered_set<const char*> m_keys;
};

}  // namespace Marlowen::Lum::Internal
