// The two tree forms a decoder builds from one walk (the frozen one with no
// mutable tree in between), and the rule both follow for a map's keys.
#pragma once

#include <algorithm>
#include <cstdint>
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
// maps are searched; from 16 entries on, the keys' addresses (interned, so
// equal text is one address) go into a flat table of their own.
template <class Tree>
class DecodedEntries {
public:
    void add(InternedString key, typename Tree::Node&& node)
    {
        if (m_entries.size() < kSearched) {
            if (std::any_of(m_entries.begin(), m_entries.end(), [&](const auto& e) { return e.first == key; })) {
                return;
            }
        } else if (!remember(key.data())) {
            return;
        }
        m_entries.emplace_back(key, std::move(node));
        if (m_entries.size() == kSearched) {
            for (const auto& entry : m_entries) {
                remember(entry.first.data());
            }
        }
    }
    void reserve(std::size_t count) { m_entries.reserve(count); }
    [[nodiscard]] typename Tree::Node map() { return Tree::map(std::move(m_entries)); }

private:
    static constexpr std::size_t kSearched = 16;

    // False when `key` is in the table already; open addressing, kept at
    // most half full.
    bool remember(const char* key)
    {
        if (2 * (m_used + 1) > m_table.size()) {
            std::vector<const char*> old(std::max<std::size_t>(64, 2 * m_table.size()), nullptr);
            old.swap(m_table);
            m_used = 0;
            for (const char* kept : old) {
                if (kept != nullptr) {
                    remember(kept);
                }
            }
        }
        const std::size_t mask = m_table.size() - 1;
        for (std::size_t i = (reinterpret_cast<std::uintptr_t>(key) >> 4) & mask;; i = (i + 1) & mask) {
            if (m_table[i] == key) {
                return false;
            }
            if (m_table[i] == nullptr) {
                m_table[i] = key;
                ++m_used;
                return true;
            }
        }
    }

    typename Tree::Entries m_entries;
    std::vector<const char*> m_table;
    std::size_t m_used = 0;
};

}  // namespace Marlowen::Lum::Internal
