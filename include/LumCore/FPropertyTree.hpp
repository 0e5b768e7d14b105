// FPropertyNode, FPropertyList, FPropertyMap: the frozen property tree. The
// same four kinds of node as PropertyTree.hpp, but built once from a mutable
// tree and never changed after, so each class is one shared reference: a copy
// of any node, however large the tree under it, is one atomic increment, and
// any number of threads may read, copy and drop it without a lock.
//
//     using namespace Marlowen::Lum;
//     PropertyNode tree(PropertyMap{{"a", 1}, {"b", PropertyList{2, 3}}});
//     FPropertyNode frozen(tree);          // deep, one allocation per node
//     FPropertyNode shared = frozen;       // one atomic increment
//     frozen.map().at("b").list()[1].value().as<int>();   // 3
//     PrintTo(frozen, &std::cout);         // {{'a', 1}, {'b', {2, 3}}}
//
// Lookup by path without exceptions, get-with-default and equality (also
// with a mutable tree) work as in PropertyTree.hpp:
//
//     frozen.find({"b", 5});               // null: no such position
//     frozen.valueOr({"c"}, 0.5);          // 0.5
//     frozen == tree;                      // true: same kinds, keys, identical values
//
// A null FPropertyList or FPropertyMap reads as empty. Values at the leaves
// share their heap-held elements with the tree they came from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <stdexcept>
#include <utility>
#include <variant>
#include <vector>

#include "LumCore/c/Export.h"
#include "LumCore/InternedString.hpp"
#include "LumCore/PropertyPath.hpp"
#include "LumCore/PropertyTree.hpp"
#include "LumCore/c/PropertyTreeFlat.h"
#include "LumCore/internal/ThrowIfFailed.hpp"
#include "LumCore/ZVariant.hpp"

namespace Marlowen::Lum {

namespace Internal {
class FPropertyNodeImpl;
class FPropertyListData;
class FPropertyMapData;
class FPropertyBuilder;
}  // namespace Internal

class FPropertyList;
class FPropertyMap;

class FPropertyNode {
public:
    // A null node.
    FPropertyNode() noexcept = default;
    // Freezes a copy of `node`: nothing for a null node, otherwise one
    // allocation for this node and one for each list, map and node under it.
    explicit FPropertyNode(const PropertyNode& node);

    [[nodiscard]] bool isNull() const noexcept;
    [[nodiscard]] bool isValue() const noexcept;
    [[nodiscard]] bool isList() const noexcept;
    [[nodiscard]] bool isMap() const noexcept;

    // Each throws std::out_of_range "FPropertyNode is not a value" (list, map)
    // when the node holds something else, a null node included.
    [[nodiscard]] const ZVariant& value() const;
    [[nodiscard]] const FPropertyList& list() const;
    [[nodiscard]] const FPropertyMap& map() const;

    // The node a path leads to, as PropertyNode::at.
    [[nodiscard]] const FPropertyNode& at(const PropertyPath& path) const;
    // The same, or null where it leads nowhere, as PropertyNode::find.
    [[nodiscard]] const FPropertyNode* find(const PropertyPath& path) const noexcept
    {
        return Internal::findPath(*this, path);
    }
    // The value at `path` as T, or `fallback`, as PropertyNode::valueOr.
    template <class T>
    [[nodiscard]] T valueOr(const PropertyPath& path, const T& fallback) const
    {
        return Internal::valueAtPathOr(*this, path, fallback);
    }
    [[nodiscard]] ZString valueOr(const PropertyPath& path, const char* fallback) const
    {
        return valueOr(path, ZString(fallback));
    }

    // The node as the flat functions take it (LumCore/c/PropertyTreeFlat.h):
    // a view, valid while this node is, and nothing counted or copied.
    [[nodiscard]] const FPropertyNodeData* flatView() const noexcept
    {
        return reinterpret_cast<const FPropertyNodeData*>(this);
    }
    // A share for a module built apart, which releases it (one count, no copy).
    [[nodiscard]] FPropertyNodeData* flatHandle() const
    {
        return Internal::checkedFlatCall([&](ErrorRecord* e) { return FPropertyNodeData_C_API_copy(e, flatView()); });
    }
    // Takes over a share that a flat function or another module handed out.
    [[nodiscard]] static FPropertyNode adoptFlatHandle(FPropertyNodeData* handle)
    {
        FPropertyNode node = *reinterpret_cast<const FPropertyNode*>(handle);
        Internal::releaseIgnoringFailure(FPropertyNodeData_C_API_destruct, handle);
        return node;
    }

private:
    friend class Internal::FPropertyBuilder;

    std::shared_ptr<const Internal::FPropertyNodeImpl> m_impl;
};

class FPropertyList {
public:
    using value_type = FPropertyNode;
    using const_iterator = std::vector<FPropertyNode>::const_iterator;
    using iterator = const_iterator;

    // An empty list, with no allocation.
    FPropertyList() noexcept = default;
    // Freezes a copy of `list`; never a null reference, even when empty.
    explicit FPropertyList(const PropertyList& list);

    [[nodiscard]] std::size_t size() const noexcept;
    [[nodiscard]] bool empty() const noexcept;
    const FPropertyNode& operator[](std::size_t i) const noexcept;
    // Throws std::out_of_range for a position past the end.
    [[nodiscard]] const FPropertyNode& at(std::size_t i) const;
    [[nodiscard]] const_iterator begin() const noexcept;
    [[nodiscard]] const_iterator end() const noexcept;

private:
    friend class Internal::FPropertyBuilder;

    // Stands in for a null reference, so that readers need not test for one.
    LUM_API static const Internal::FPropertyListData s_nullListData;

    [[nodiscard]] const Internal::FPropertyListData& data() const noexcept;

    std::shared_ptr<const Internal::FPropertyListData> m_data;
};

class FPropertyMap {
public:
    using value_type = std::pair<InternedString, FPropertyNode>;
    using const_iterator = std::vector<value_type>::const_iterator;
    using iterator = const_iterator;

    // An empty map, with no allocation.
    FPropertyMap() noexcept = default;
    // Freezes a copy of `map`, in its order; a repeated key keeps its first entry.
    explicit FPropertyMap(const PropertyMap& map);

    // The node of `key`, or null.
    [[nodiscard]] const FPropertyNode* find(InternedString key) const noexcept;
    // The node of `key`; throws std::out_of_range "Key not found: <key>".
    [[nodiscard]] const FPropertyNode& at(InternedString key) const;

    [[nodiscard]] std::size_t size() const noexcept;
    [[nodiscard]] bool empty() const noexcept;
    [[nodiscard]] const_iterator begin() const noexcept;
    [[nodiscard]] const_iterator end() const noexcept;

private:
    friend class Internal::FPropertyBuilder;

    // Stands in for a null reference, so that readers need not test for one.
    LUM_API static const Internal::FPropertyMapData s_nullMapData;

    [[nodiscard]] const Internal::FPropertyMapData& data() const noexcept;

    std::shared_ptr<const Internal::FPropertyMapData> m_data;
};

namespace Internal {

class FPropertyListData {
public:
    FPropertyListData() = default;
    explicit FPropertyListData(const PropertyList& source)
    {
        nodes.reserve(source.size());
        for (const PropertyNode& node : source) {
            nodes.emplace_back(node);
        }
    }

    std::vector<FPropertyNode> nodes;
};

class FPropertyMapData {
public:
    FPropertyMapData() = default;
    explicit FPropertyMapData(const PropertyMap& source)
    {
        entries.reserve(source.size());  // a map's keys are unique already
        for (const auto& [key, node] : source) {
            insert(key, node);
        }
    }

    // Only while the object is being built: appends the entry unless the key
    // is present. The entry's position, and whether it was added.
    std::pair<std::size_t, bool> insert(InternedString key, const PropertyNode& node)
    {
        FPropertyNode frozen(node);
        const auto found = findEntry(entries, key);
        if (found != entries.end()) {
            return {static_cast<std::size_t>(found - entries.begin()), false};
        }
        entries.emplace_back(key, std::move(frozen));
        return {entries.size() - 1, true};
    }

    std::vector<std::pair<InternedString, FPropertyNode>> entries;
};

class FPropertyNodeImpl {
public:
    using Content = std::variant<std::monostate, ZVariant, FPropertyList, FPropertyMap>;

    template <std::size_t Tag, class Source>
    FPropertyNodeImpl(std::in_place_index_t<Tag> tag, Source&& source) : content(tag, std::forward<Source>(source))
    {
    }

    Content content;
};

}  // namespace Internal

// ---- Definitions that need the data classes complete --------------------------

inline FPropertyNode::FPropertyNode(const PropertyNode& node)
{
    if (node.isValue()) {
        m_impl = std::make_shared<const Internal::FPropertyNodeImpl>(std::in_place_index<1>, node.value());
    } else if (node.isList()) {
        m_impl = std::make_shared<const Internal::FPropertyNodeImpl>(std::in_place_index<2>, node.list());
    } else if (node.isMap()) {
        m_impl = std::make_shared<const Internal::FPropertyNodeImpl>(std::in_place_index<3>, node.map());
    }
}

inline bool FPropertyNode::isNull() const noexcept { return m_impl == nullptr || m_impl->content.index() == 0; }
inline bool FPropertyNode::isValue() const noexcept { return m_impl != nullptr && m_impl->content.index() == 1; }
inline bool FPropertyNode::isList() const noexcept { return m_impl != nullptr && m_impl->content.index() == 2; }
inline bool FPropertyNode::isMap() const noexcept { return m_impl != nullptr && m_impl->content.index() == 3; }

inline const ZVariant& FPropertyNode::value() const
{
    if (!isValue()) {
        throw std::out_of_range("FPropertyNode is not a value");
    }
    return *std::get_if<1>(&m_impl->content);
}
inline const FPropertyList& FPropertyNode::list() const
{
    if (!isList()) {
        throw std::out_of_range("FPropertyNode is not a list");
    }
    return *std::get_if<2>(&m_impl->content);
}
inline const FPropertyMap& FPropertyNode::map() const
{
    if (!isMap()) {
        throw std::out_of_range("FPropertyNode is not a map");
    }
    return *std::get_if<3>(&m_impl->content);
}
inline const FPropertyNode& FPropertyNode::at(const PropertyPath& path) const
{
    return Internal::walkPath(*this, path);
}

inline FPropertyList::FPropertyList(const PropertyList& list)
    : m_data(std::make_shared<const Internal::FPropertyListData>(list))
{
}
inline const Internal::FPropertyListData& FPropertyList::data() const noexcept
{
    return m_data != nullptr ? *m_data : s_nullListData;
}
inline std::size_t FPropertyList::size() const noexcept { return data().nodes.size(); }
inline bool FPropertyList::empty() const noexcept { return data().nodes.empty(); }
inline const FPropertyNode& FPropertyList::operator[](std::size_t i) const noexcept { return data().nodes[i]; }
inline const FPropertyNode& FPropertyList::at(std::size_t i) const
{
    if (i >= size()) {
        Internal::throwIndexPastEnd("FPropertyList", i, size());
    }
    return data().nodes[i];
}
inline FPropertyList::const_iterator FPropertyList::begin() const noexcept { return data().nodes.begin(); }
inline FPropertyList::const_iterator FPropertyList::end() const noexcept { return data().nodes.end(); }

inline FPropertyMap::FPropertyMap(const PropertyMap& map)
    : m_data(std::make_shared<const Internal::FPropertyMapData>(map))
{
}
inline const Internal::FPropertyMapData& FPropertyMap::data() const noexcept
{
    return m_data != nullptr ? *m_data : s_nullMapData;
}
inline const FPropertyNode* FPropertyMap::find(InternedString key) const noexcept
{
    const auto& entries = data().entries;
    const auto found = Internal::findEntry(entries, key);
    return found == entries.end() ? nullptr : &found->second;
}
inline const FPropertyNode& FPropertyMap::at(InternedString key) const
{
    const FPropertyNode* node = find(key);
    if (node == nullptr) {
        Internal::throwKeyNotFound(key);
    }
    return *node;
}
inline std::size_t FPropertyMap::size() const noexcept { return data().entries.size(); }
inline bool FPropertyMap::empty() const noexcept { return data().entries.empty(); }
inline FPropertyMap::const_iterator FPropertyMap::begin() const noexcept { return data().entries.begin(); }
inline FPropertyMap::const_iterator FPropertyMap::end() const noexcept { return data().entries.end(); }

// One line: "<NULL>" for a null node, a value's text, {a, b} for a list,
// {{'key', node}, ...} for a map; "{}" for an empty or null list or map.
LUM_API void PrintTo(const FPropertyNode& node, std::ostream* stream);
LUM_API void PrintTo(const FPropertyList& list, std::ostream* stream);
LUM_API void PrintTo(const FPropertyMap& map, std::ostream* stream);

// `==`, `!=` and `<<` of these classes, also against the mutable ones, are
// the templates of PropertyTree.hpp.

}  // namespace Marlowen::Lum
