// PropertyNode, PropertyList, PropertyMap: the mutable property tree. A node
// is null, a value (a ZVariant), a list of nodes or a map from interned names
// to nodes. It is a plain value: a copy copies the structure (variants share
// their heap-held elements), and whoever holds a tree owns it.
//
//     using namespace Marlowen::Lum;
//     PropertyMap sensor{{"name", ZString("probe")}, {"rate", 50.0}};
//     PropertyList sensors;
//     sensors.push_back(PropertyNode(std::move(sensor)));
//     PropertyNode root(PropertyMap{{"sensors", PropertyNode(std::move(sensors))}});
//     root.at(PropertyPath{"sensors", 0, "rate"}).value().as<double>();   // 50
//     root.map().at("missing");            // throws std::out_of_range: "Key not found: missing"
//     root.list();                         // throws std::out_of_range: "PropertyNode is not a list"
//
// Editing and looking up without exceptions:
//
//     root["site"] = "lab 2";              // a null node turns into a map; a new key is added
//     root.map().insert_or_assign("site", "lab 3");
//     root.valueOr({"sensors", 0, "gain"}, 1.0);   // 1.0: no such key
//     root.find({"sensors", 5});           // null: no such position
//     root.map().erase("site");
//     root == other;                       // same kinds, keys in order, identical variants
//
// A map is a small association list in insertion order; the first entry of a
// key wins, later ones are dropped without an error. Keys compare by pointer:
// a key is interned once (InternedString) and looked up freely after that.
// FPropertyTree.hpp has the frozen form, shared by one atomic increment.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iosfwd>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "LumCore/c/Export.h"
#include "LumCore/InternedString.hpp"
#include "LumCore/PropertyPath.hpp"
#include "LumCore/ZString.hpp"
#include "LumCore/ZVariant.hpp"

namespace Marlowen::Lum {

class PropertyNode;
class PropertyList;
class PropertyMap;
class FPropertyNode;
class FPropertyList;
class FPropertyMap;

namespace Internal {

// 1 for the node classes of both forms, 2 for the lists, 3 for the maps, 0
// for anything else: the operators below are written once for all six.
template <class T>
inline constexpr int kTreeClassKind =
    std::is_same_v<T, PropertyNode> || std::is_same_v<T, FPropertyNode>   ? 1
    : std::is_same_v<T, PropertyList> || std::is_same_v<T, FPropertyList> ? 2
    : std::is_same_v<T, PropertyMap> || std::is_same_v<T, FPropertyMap>   ? 3
                                                                           : 0;

[[noreturn]] inline void throwKeyNotFound(InternedString key)
{
    std::string message("Key not found: ");
    message.append(key.data(), key.size());
    throw std::out_of_range(message);
}

// "<list> index <i> is past the end (size <n>)", for both list forms.
[[noreturn]] inline void throwIndexPastEnd(const char* list, std::size_t index, std::size_t size)
{
    throw std::out_of_range(std::string(list) + " index " + std::to_string(index) + " is past the end (size " +
                            std::to_string(size) + ")");
}

// The node a path leads to from `node`, in either tree form: a name selects
// in a map by key, an index in a list; a segment of the wrong kind fails
// with the accessor's words.
template <class Node>
Node& walkPath(Node& node, const PropertyPath& path)
{
    Node* current = &node;
    for (const PropertyPathSegment& segment : path) {
        current = segment.isName() ? &current->map().at(segment.name())
                                   : &current->list().at(static_cast<std::size_t>(segment.index()));
    }
    return *current;
}

// The node a path leads to, or null where it leads nowhere: a key that is
// absent, a position past the end, a segment of the wrong kind.
template <class Node>
Node* findPath(Node& node, const PropertyPath& path) noexcept
{
    Node* current = &node;
    for (const PropertyPathSegment& segment : path) {
        if (segment.isName()) {
            if (!current->isMap()) {
                return nullptr;
            }
            current = current->map().find(*std::get_if<0>(&segment.alternatives()));
        } else {
            const std::uint64_t index = *std::get_if<1>(&segment.alternatives());
            if (!current->isList() || index >= current->list().size()) {
                return nullptr;
            }
            current = &current->list()[static_cast<std::size_t>(index)];
        }
        if (current == nullptr) {
            return nullptr;
        }
    }
    return current;
}

// The value at a path as T, or the fallback where the path leads nowhere or
// to a null node. A list or map there, or a value T cannot hold, throws.
template <class T, class Node>
T valueAtPathOr(const Node& node, const PropertyPath& path, const T& fallback)
{
    const Node* found = findPath(node, path);
    if (found == nullptr || found->isNull()) {
        return fallback;
    }
    return found->value().template as<T>();
}

// Equality of two trees of either form: the same kind at every node, lists
// of the same length, maps with the same keys in the same order, and values
// whose variants are identical (ZVariant::isIdenticalTo: type, shape,
// ordering and elements, so an int32 1 is not an int64 1).
template <class A, class B>
bool sameTree(const A& a, const B& b);

template <class ListA, class ListB>
bool sameList(const ListA& a, const ListB& b)
{
    if (a.size() != b.size()) {
        return false;
    }
    auto other = b.begin();
    for (const auto& node : a) {
        if (!sameTree(node, *other++)) {
            return false;
        }
    }
    return true;
}

template <class MapA, class MapB>
bool sameMap(const MapA& a, const MapB& b)
{
    if (a.size() != b.size()) {
        return false;
    }
    auto other = b.begin();
    for (const auto& entry : a) {
        if (!(entry.first == other->first) || !sameTree(entry.second, other->second)) {
            return false;
        }
        ++other;
    }
    return true;
}

template <class A, class B>
bool sameTree(const A& a, const B& b)
{
    if (a.isValue() || b.isValue()) {
        return a.isValue() && b.isValue() && a.value().isIdenticalTo(b.value());
    }
    if (a.isList() || b.isList()) {
        return a.isList() && b.isList() && sameList(a.list(), b.list());
    }
    if (a.isMap() || b.isMap()) {
        return a.isMap() && b.isMap() && sameMap(a.map(), b.map());
    }
    return true;  // both null
}

// Linear search by text pointer; the first equal key is the result.
template <class Entries>
auto findEntry(Entries& entries, InternedString key) noexcept -> decltype(entries.begin())
{
    auto it = entries.begin();
    while (it != entries.end() && !(it->first == key)) {
        ++it;
    }
    return it;
}

}  // namespace Internal

class PropertyList {
public:
    using value_type = PropertyNode;
    using iterator = std::vector<PropertyNode>::iterator;
    using const_iterator = std::vector<PropertyNode>::const_iterator;

    PropertyList() = default;
    PropertyList(std::initializer_list<PropertyNode> nodes);

    void push_back(const PropertyNode& node);
    void push_back(PropertyNode&& node);
    template <class... Args>
    PropertyNode& emplace_back(Args&&... args);
    void reserve(std::size_t count);
    // Removes a node; later ones move up.
    iterator erase(const_iterator position);
    // Removes the node at `i`; throws std::out_of_range past the end.
    void erase(std::size_t i);

    [[nodiscard]] std::size_t size() const noexcept;
    [[nodiscard]] bool empty() const noexcept { return m_nodes.empty(); }
    PropertyNode& operator[](std::size_t i) noexcept;
    const PropertyNode& operator[](std::size_t i) const noexcept;
    // Throws std::out_of_range for a position past the end.
    [[nodiscard]] PropertyNode& at(std::size_t i);
    [[nodiscard]] const PropertyNode& at(std::size_t i) const;
    [[nodiscard]] iterator begin() noexcept { return m_nodes.begin(); }
    [[nodiscard]] iterator end() noexcept { return m_nodes.end(); }
    [[nodiscard]] const_iterator begin() const noexcept { return m_nodes.begin(); }
    [[nodiscard]] const_iterator end() const noexcept { return m_nodes.end(); }

private:
    std::vector<PropertyNode> m_nodes;
};

class PropertyMap {
public:
    using value_type = std::pair<InternedString, PropertyNode>;
    using iterator = std::vector<value_type>::iterator;
    using const_iterator = std::vector<value_type>::const_iterator;

    PropertyMap() = default;
    // The entries are added in order; a repeated key keeps its first entry.
    PropertyMap(std::initializer_list<value_type> entries);
    template <class InputIt>
    PropertyMap(InputIt first, InputIt last);

    // Appends the entry unless the key is present: the position of the entry
    // with that key, and whether it was added.
    std::pair<iterator, bool> insert(InternedString key, PropertyNode node);

    // Sets the node of `key`: replaces it when the key is present, appends
    // the entry otherwise. Whether it was appended.
    std::pair<iterator, bool> insert_or_assign(InternedString key, PropertyNode node);
    // The node of `key`, after appending a null node for a new key.
    PropertyNode& operator[](InternedString key);
    // (A number names no key: map[0] must not read as a null text pointer.)
    PropertyNode& operator[](std::size_t) = delete;
    // Removes the entry of `key`, keeping the order of the others; whether
    // there was one.
    bool erase(InternedString key);
    iterator erase(const_iterator position);

    // The node of `key`, or null.
    [[nodiscard]] PropertyNode* find(InternedString key) noexcept;
    [[nodiscard]] const PropertyNode* find(InternedString key) const noexcept;
    // The node of `key`; throws std::out_of_range "Key not found: <key>".
    [[nodiscard]] PropertyNode& at(InternedString key);
    [[nodiscard]] const PropertyNode& at(InternedString key) const;
    [[nodiscard]] bool contains(InternedString key) const noexcept { return find(key) != nullptr; }

    [[nodiscard]] std::size_t size() const noexcept;
    [[nodiscard]] bool empty() const noexcept;
    [[nodiscard]] iterator begin() noexcept { return m_entries.begin(); }
    [[nodiscard]] iterator end() noexcept { return m_entries.end(); }
    [[nodiscard]] const_iterator begin() const noexcept { return m_entries.begin(); }
    [[nodiscard]] const_iterator end() const noexcept { return m_entries.end(); }

private:
    std::vector<value_type> m_entries;
};

class PropertyNode {
    using Content = std::variant<std::monostate, ZVariant, PropertyList, PropertyMap>;

public:
    // Null.
    PropertyNode() noexcept = default;

    // A value.
    PropertyNode(const ZVariant& value) : m_content(std::in_place_index<1>, value) {}
    PropertyNode(ZVariant&& value) : m_content(std::in_place_index<1>, std::move(value)) {}
    // A scalar value of a well-known element class (a number, a ZString...).
    template <class T, std::enable_if_t<Internal::kIsWellKnownElement<T>, int> = 0>
    PropertyNode(const T& value) : m_content(std::in_place_index<1>, ZVariant(value))
    {
    }
    // A scalar text value.
    PropertyNode(std::string_view text) : PropertyNode(ZString(text)) {}
    PropertyNode(const char* text) : PropertyNode(ZString(text)) {}

    // A list or a map; the source's elements are taken over and it is left empty.
    PropertyNode(PropertyList&& list) noexcept : m_content(std::in_place_index<2>, std::move(list)) {}
    PropertyNode(PropertyMap&& map) noexcept : m_content(std::in_place_index<3>, std::move(map)) {}
    PropertyNode(const PropertyList& list) : m_content(std::in_place_index<2>, list) {}
    PropertyNode(const PropertyMap& map) : m_content(std::in_place_index<3>, map) {}

    // Copies the structure; variants share heap-held elements.
    PropertyNode(const PropertyNode&) = default;
    // Never throws: a failure ends the process. The source keeps its kind; a
    // list or map is left empty.
    PropertyNode(PropertyNode&& other) noexcept : m_content(std::move(other.m_content)) {}
    PropertyNode& operator=(const PropertyNode&) = default;
    PropertyNode& operator=(PropertyNode&&) = default;
    ~PropertyNode() = default;

    [[nodiscard]] bool isNull() const noexcept { return m_content.index() == 0; }
    [[nodiscard]] bool isValue() const noexcept { return m_content.index() == 1; }
    [[nodiscard]] bool isList() const noexcept { return m_content.index() == 2; }
    [[nodiscard]] bool isMap() const noexcept { return m_content.index() == 3; }

    // Each throws std::out_of_range "PropertyNode is not a value" (list, map)
    // when the node holds something else, a null node included.
    [[nodiscard]] ZVariant& value() { return get<1>("PropertyNode is not a value"); }
    [[nodiscard]] const ZVariant& value() const { return get<1>("PropertyNode is not a value"); }
    [[nodiscard]] PropertyList& list() { return get<2>("PropertyNode is not a list"); }
    [[nodiscard]] const PropertyList& list() const { return get<2>("PropertyNode is not a list"); }
    [[nodiscard]] PropertyMap& map() { return get<3>("PropertyNode is not a map"); }
    [[nodiscard]] const PropertyMap& map() const { return get<3>("PropertyNode is not a map"); }

    // The node a path leads to: a name selects in a map by key, an index in
    // a list. The empty path is this node.
    [[nodiscard]] PropertyNode& at(const PropertyPath& path);
    [[nodiscard]] const PropertyNode& at(const PropertyPath& path) const;
    // The same, or null where the path leads nowhere (an absent key, a
    // position past the end, a segment of the wrong kind): no exception.
    [[nodiscard]] PropertyNode* find(const PropertyPath& path) noexcept { return Internal::findPath(*this, path); }
    [[nodiscard]] const PropertyNode* find(const PropertyPath& path) const noexcept
    {
        return Internal::findPath(*this, path);
    }
    // The value at `path` as T, or `fallback` where the path leads nowhere
    // or to a null node. A list or a map there throws "PropertyNode is not a
    // value"; a value that T cannot hold throws as ZVariant::as does.
    template <class T>
    [[nodiscard]] T valueOr(const PropertyPath& path, const T& fallback) const
    {
        return Internal::valueAtPathOr(*this, path, fallback);
    }
    [[nodiscard]] ZString valueOr(const PropertyPath& path, const char* fallback) const
    {
        return valueOr(path, ZString(fallback));
    }

    // The map entry of `key` (PropertyMap::operator[]); a null node turns
    // into an empty map first, so nested maps are made by assignment.
    PropertyNode& operator[](InternedString key);
    // A list's node at `i`, checked as PropertyList::at.
    PropertyNode& operator[](std::size_t i) { return list().at(i); }

private:
    template <std::size_t Tag>
    std::variant_alternative_t<Tag, Content>& get(const char* mismatch)
    {
        auto* found = std::get_if<Tag>(&m_content);
        if (found == nullptr) {
            throw std::out_of_range(mismatch);
        }
        return *found;
    }
    template <std::size_t Tag>
    const std::variant_alternative_t<Tag, Content>& get(const char* mismatch) const
    {
        return const_cast<PropertyNode*>(this)->get<Tag>(mismatch);
    }

    Content m_content;
};

// ---- Definitions that need PropertyNode complete ------------------------------

inline PropertyList::PropertyList(std::initializer_list<PropertyNode> nodes) : m_nodes(nodes) {}
inline void PropertyList::push_back(const PropertyNode& node) { m_nodes.push_back(node); }
inline void PropertyList::push_back(PropertyNode&& node) { m_nodes.push_back(std::move(node)); }
// (These are defined here, where PropertyNode is complete, as clang demands
// of members that instantiate the containers' operations.)
inline void PropertyList::reserve(std::size_t count) { m_nodes.reserve(count); }
inline std::size_t PropertyList::size() const noexcept { return m_nodes.size(); }
inline std::size_t PropertyMap::size() const noexcept { return m_entries.size(); }
inline bool PropertyMap::empty() const noexcept { return m_entries.empty(); }
template <class... Args>
PropertyNode& PropertyList::emplace_back(Args&&... args)
{
    return m_nodes.emplace_back(std::forward<Args>(args)...);
}
inline PropertyNode& PropertyList::operator[](std::size_t i) noexcept { return m_nodes[i]; }
inline const PropertyNode& PropertyList::operator[](std::size_t i) const noexcept { return m_nodes[i]; }
inline PropertyNode& PropertyList::at(std::size_t i)
{
    if (i >= m_nodes.size()) {
        Internal::throwIndexPastEnd("PropertyList", i, m_nodes.size());
    }
    return m_nodes[i];
}
inline const PropertyNode& PropertyList::at(std::size_t i) const { return const_cast<PropertyList*>(this)->at(i); }
inline PropertyList::iterator PropertyList::erase(const_iterator position) { return m_nodes.erase(position); }
inline PropertyMap::iterator PropertyMap::erase(const_iterator position) { return m_entries.erase(position); }
inline void PropertyList::erase(std::size_t i)
{
    m_nodes.erase(m_nodes.begin() + static_cast<std::ptrdiff_t>(&at(i) - m_nodes.data()));
}

inline PropertyMap::PropertyMap(std::initializer_list<value_type> entries) : PropertyMap(entries.begin(), entries.end())
{
}
template <class InputIt>
PropertyMap::PropertyMap(InputIt first, InputIt last)
{
    for (; first != last; ++first) {
        insert(first->first, first->second);
    }
}
inline std::pair<PropertyMap::iterator, bool> PropertyMap::insert(InternedString key, PropertyNode node)
{
    auto found = Internal::findEntry(m_entries, key);
    if (found != m_entries.end()) {
        return {found, false};
    }
    m_entries.emplace_back(key, std::move(node));
    return {m_entries.end() - 1, true};
}
inline std::pair<PropertyMap::iterator, bool> PropertyMap::insert_or_assign(InternedString key, PropertyNode node)
{
    auto found = Internal::findEntry(m_entries, key);
    if (found != m_entries.end()) {
        found->second = std::move(node);
        return {found, false};
    }
    m_entries.emplace_back(key, std::move(node));
    return {m_entries.end() - 1, true};
}
inline PropertyNode& PropertyMap::operator[](InternedString key)
{
    return insert(key, PropertyNode()).first->second;
}
inline bool PropertyMap::erase(InternedString key)
{
    auto found = Internal::findEntry(m_entries, key);
    if (found == m_entries.end()) {
        return false;
    }
    m_entries.erase(found);
    return true;
}
inline PropertyNode* PropertyMap::find(InternedString key) noexcept
{
    auto found = Internal::findEntry(m_entries, key);
    return found == m_entries.end() ? nullptr : &found->second;
}
inline const PropertyNode* PropertyMap::find(InternedString key) const noexcept
{
    return const_cast<PropertyMap*>(this)->find(key);
}
inline PropertyNode& PropertyMap::at(InternedString key)
{
    PropertyNode* node = find(key);
    if (node == nullptr) {
        Internal::throwKeyNotFound(key);
    }
    return *node;
}
inline const PropertyNode& PropertyMap::at(InternedString key) const { return const_cast<PropertyMap*>(this)->at(key); }

inline PropertyNode& PropertyNode::at(const PropertyPath& path) { return Internal::walkPath(*this, path); }
inline const PropertyNode& PropertyNode::at(const PropertyPath& path) const { return Internal::walkPath(*this, path); }
inline PropertyNode& PropertyNode::operator[](InternedString key)
{
    if (isNull()) {
        m_content.emplace<3>();
    }
    return map()[key];
}

// Equality of nodes, lists or maps of either form, by the rule of sameTree.
template <class A, class B,
          std::enable_if_t<Internal::kTreeClassKind<A> != 0 && Internal::kTreeClassKind<A> == Internal::kTreeClassKind<B>,
                           int> = 0>
bool operator==(const A& a, const B& b)
{
    if constexpr (Internal::kTreeClassKind<A> == 1) {
        return Internal::sameTree(a, b);
    } else if constexpr (Internal::kTreeClassKind<A> == 2) {
        return Internal::sameList(a, b);
    } else {
        return Internal::sameMap(a, b);
    }
}
template <class A, class B,
          std::enable_if_t<Internal::kTreeClassKind<A> != 0 && Internal::kTreeClassKind<A> == Internal::kTreeClassKind<B>,
                           int> = 0>
bool operator!=(const A& a, const B& b)
{
    return !(a == b);
}

// One line, through the frozen form: "<NULL>", a value's text, {a, b},
// {{'key', node}, ...}. Declared here so that test frameworks find them.
LUM_API void PrintTo(const PropertyNode& node, std::ostream* stream);
LUM_API void PrintTo(const PropertyList& list, std::ostream* stream);
LUM_API void PrintTo(const PropertyMap& map, std::ostream* stream);

// The same text on a stream, for all six tree classes: std::cout << tree.
template <class Tree, std::enable_if_t<Internal::kTreeClassKind<Tree> != 0, int> = 0>
std::ostream& operator<<(std::ostream& out, const Tree& tree)
{
    PrintTo(tree, &out);
    return out;
}

}  // namespace Marlowen::Lum
