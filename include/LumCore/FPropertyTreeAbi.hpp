// FPropertyNodeAbi: a frozen property tree held through the flat functions
// alone (LumCore/c/PropertyTreeFlat.h), so that a module built with another
// compiler or against another C++ runtime reads and builds trees with C++
// idioms. It holds one share of a node; FPropertyNodeAbiView is a view of a
// node inside a tree, valid while the tree is held, which reading hands out
// without counting or copying anything.
//
//     using namespace Marlowen::Lum;
//     FPropertyNodeAbi tree = FPropertyNodeAbi::fromJson(R"({"sensors": [{"rate": 50.0}]})");
//     for (FPropertyNodeAbiView sensor : tree.at("sensors").items()) {
//         double rate = sensor.at("rate").valueAs<double>();           // 50
//     }
//     for (const auto& [key, node] : tree.entries()) { ... }           // keys in the map's order
//     FPropertyNodeAbi built = FPropertyNodeAbi::map({{"gain", FPropertyNodeAbi::value(ZVariantAbi(1.5))}});
//
// Failures arrive as the caller's own standard exceptions.
#pragma once

#include <cstddef>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "LumCore/ZVariantAbi.hpp"
#include "LumCore/c/PropertyTreeFlat.h"
#include "LumCore/internal/FlatHandle.hpp"
#include "LumCore/internal/ThrowIfFailed.hpp"

namespace Marlowen::Lum {

class FPropertyNodeAbi;
class FPropertyNodeAbiView;
struct FPropertyNodeAbiEntry;
namespace Internal {
template <class Element, Element (*Read)(FPropertyNodeAbiView, std::size_t)>
class IndexedNodeRange;
FPropertyNodeAbiView itemAt(FPropertyNodeAbiView list, std::size_t index);
FPropertyNodeAbiEntry entryAt(FPropertyNodeAbiView map, std::size_t index);
}  // namespace Internal
// The elements of a list, and the entries of a map (a key and its node), as ranges.
using FPropertyNodeAbiItems = Internal::IndexedNodeRange<FPropertyNodeAbiView, &Internal::itemAt>;
using FPropertyNodeAbiEntries = Internal::IndexedNodeRange<FPropertyNodeAbiEntry, &Internal::entryAt>;

class FPropertyNodeAbiView {
public:
    enum class Kind { Null = ZPropertyNodeKind_null, Value = ZPropertyNodeKind_value, List = ZPropertyNodeKind_list,
                      Map = ZPropertyNodeKind_map };

    explicit FPropertyNodeAbiView(const FPropertyNodeData* node) noexcept : m_node(node) {}

    [[nodiscard]] Kind kind() const { return static_cast<Kind>(call(FPropertyNodeData_C_API_kind)); }
    [[nodiscard]] bool isNull() const { return kind() == Kind::Null; }
    [[nodiscard]] bool isValue() const { return kind() == Kind::Value; }
    [[nodiscard]] bool isList() const { return kind() == Kind::List; }
    [[nodiscard]] bool isMap() const { return kind() == Kind::Map; }

    // A value node's variant (a share); std::out_of_range for other nodes.
    [[nodiscard]] ZVariantAbi value() const
    {
        return ZVariantAbi::adoptFlatHandle(call(FPropertyNodeData_C_API_value));
    }
    // The one element of a value node as T, converted in `mode` if it is of
    // another class; read in place when it is of T.
    template <class T>
    [[nodiscard]] T valueAs(ConversionMode mode = ConversionMode::Cast) const
    {
        const ZVariantData* view = call(FPropertyNodeData_C_API_valueView);
        const bool same = Internal::checkedFlatCall([&](ErrorRecord* e) {
            return ZVariantData_C_API_wellKnownDataType(e, view);
        }) == WellKnownType(WellKnownTypeOf<T>::value).bits();
        if (same) {
            const auto count = Internal::checkedFlatCall([&](ErrorRecord* e) {
                return ZVariantData_C_API_numberAllocatedElements(e, view);
            });
            if (count == 1) {
                return *static_cast<const T*>(Internal::checkedFlatCall(
                    [&](ErrorRecord* e) { return ZVariantData_C_API_constStoredData(e, view); }));
            }
        }
        return value().template as<T>(mode);
    }

    // The entries of a list or a map.
    [[nodiscard]] std::size_t size() const { return call(FPropertyNodeData_C_API_size); }
    // A list's element; std::out_of_range past the end.
    [[nodiscard]] FPropertyNodeAbiView operator[](std::size_t index) const
    {
        return FPropertyNodeAbiView(Internal::checkedFlatCall(
            [&](ErrorRecord* e) { return FPropertyNodeData_C_API_element(e, m_node, index); }));
    }
    // A map's node of `key`, or nothing.
    [[nodiscard]] std::optional<FPropertyNodeAbiView> find(std::string_view key) const
    {
        const FPropertyNodeData* found = Internal::checkedFlatCall(
            [&](ErrorRecord* e) { return FPropertyNodeData_C_API_find(e, m_node, key.data(), key.size()); });
        return found != nullptr ? std::optional<FPropertyNodeAbiView>(FPropertyNodeAbiView(found)) : std::nullopt;
    }
    // A map's node of `key`; std::out_of_range "Key not found: <key>".
    [[nodiscard]] FPropertyNodeAbiView at(std::string_view key) const
    {
        if (const auto found = find(key)) {
            return *found;
        }
        throw std::out_of_range("Key not found: " + std::string(key));
    }

    // The elements of a list, as a range of views; the entries of a map, in
    // its order, as a range of its keys (text that lives as long as the
    // process) with views of their nodes.
    [[nodiscard]] FPropertyNodeAbiItems items() const;
    [[nodiscard]] FPropertyNodeAbiEntries entries() const;

    // The node as CBOR bytes (a one-dimensional uint8 array) and as JSON.
    [[nodiscard]] ZVariantAbi toCbor() const { return ZVariantAbi::adoptFlatHandle(call(FPropertyNodeData_C_API_encodeCbor)); }
    [[nodiscard]] std::string toJson() const
    {
        const Internal::FlatHandle<ZStringData, ZStringData_C_API_copy, ZStringData_C_API_destruct> text(
            call(FPropertyNodeData_C_API_encodeJson));
        const char* data = Internal::checkedFlatCall(
            [&](ErrorRecord* e) { return ZStringData_C_API_getConstDataPointer(e, text.get()); });
        const std::size_t size =
            Internal::checkedFlatCall([&](ErrorRecord* e) { return ZStringData_C_API_getLength(e, text.get()); });
        return std::string(data, size);
    }

    // A share of the node, to keep beyond the tree's holder.
    [[nodiscard]] FPropertyNodeAbi share() const;

    [[nodiscard]] const FPropertyNodeData* handle() const noexcept { return m_node; }

private:
    template <class Result>
    Result call(Result (*function)(ErrorRecord*, const FPropertyNodeData*)) const
    {
        return Internal::checkedFlatCall([&](ErrorRecord* e) { return function(e, m_node); });
    }

    const FPropertyNodeData* m_node;
};

// A map's entry: its key (text that lives as long as the process) and a view
// of its node.
struct FPropertyNodeAbiEntry {
    std::string_view key;
    FPropertyNodeAbiView node;
};

namespace Internal {

// The entries of a list or a map as a range, each read by `Read` from the
// node and its position when the iterator is dereferenced.
template <class Element, Element (*Read)(FPropertyNodeAbiView, std::size_t)>
class IndexedNodeRange {
public:
    class iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = Element;
        using difference_type = std::ptrdiff_t;
        using pointer = void;
        using reference = Element;
        iterator(FPropertyNodeAbiView node, std::size_t index) noexcept : m_node(node), m_index(index) {}
        Element operator*() const { return Read(m_node, m_index); }
        iterator& operator++() noexcept
        {
            ++m_index;
            return *this;
        }
        bool operator==(const iterator& other) const noexcept { return m_index == other.m_index; }
        bool operator!=(const iterator& other) const noexcept { return m_index != other.m_index; }

    private:
        FPropertyNodeAbiView m_node;
        std::size_t m_index;
    };
    explicit IndexedNodeRange(FPropertyNodeAbiView node) : m_node(node), m_size(node.size()) {}
    [[nodiscard]] iterator begin() const noexcept { return iterator(m_node, 0); }
    [[nodiscard]] iterator end() const noexcept { return iterator(m_node, m_size); }
    [[nodiscard]] std::size_t size() const noexcept { return m_size; }

private:
    FPropertyNodeAbiView m_node;
    std::size_t m_size;
};

inline FPropertyNodeAbiView itemAt(FPropertyNodeAbiView list, std::size_t index) { return list[index]; }

inline FPropertyNodeAbiEntry entryAt(FPropertyNodeAbiView map, std::size_t index)
{
    const char* key = nullptr;
    std::size_t size = 0;
    const FPropertyNodeData* node = checkedFlatCall(
        [&](ErrorRecord* e) { return FPropertyNodeData_C_API_entryAt(e, map.handle(), index, &key, &size); });
    return FPropertyNodeAbiEntry{std::string_view(key, size), FPropertyNodeAbiView(node)};
}

}  // namespace Internal

inline FPropertyNodeAbiItems FPropertyNodeAbiView::items() const { return FPropertyNodeAbiItems(*this); }
inline FPropertyNodeAbiEntries FPropertyNodeAbiView::entries() const { return FPropertyNodeAbiEntries(*this); }

class FPropertyNodeAbi : public FPropertyNodeAbiView {
public:
    // The null node.
    FPropertyNodeAbi() noexcept : FPropertyNodeAbiView(FPropertyNodeData_C_API_constructNull()) {}
    // Takes over one share that a flat function returned.
    [[nodiscard]] static FPropertyNodeAbi adopt(FPropertyNodeData* handle) noexcept { return FPropertyNodeAbi(handle); }

    [[nodiscard]] static FPropertyNodeAbi value(const ZVariantAbi& value)
    {
        return make([&](ErrorRecord* e) { return FPropertyNodeData_C_API_constructValue(e, value.flatHandle()); });
    }
    [[nodiscard]] static FPropertyNodeAbi list(const std::vector<FPropertyNodeAbi>& nodes)
    {
        std::vector<const FPropertyNodeData*> handles;
        handles.reserve(nodes.size());
        for (const FPropertyNodeAbi& node : nodes) {
            handles.push_back(node.handle());
        }
        return make([&](ErrorRecord* e) { return FPropertyNodeData_C_API_constructList(e, handles.data(), handles.size()); });
    }
    // The first entry of a key wins.
    [[nodiscard]] static FPropertyNodeAbi map(const std::vector<std::pair<std::string_view, FPropertyNodeAbi>>& entries)
    {
        std::vector<const char*> keys;
        std::vector<std::size_t> sizes;
        std::vector<const FPropertyNodeData*> handles;
        for (const auto& [key, node] : entries) {
            keys.push_back(key.data());
            sizes.push_back(key.size());
            handles.push_back(node.handle());
        }
        return make([&](ErrorRecord* e) {
            return FPropertyNodeData_C_API_constructMap(e, keys.data(), sizes.data(), handles.data(), handles.size());
        });
    }
    [[nodiscard]] static FPropertyNodeAbi fromCbor(const void* bytes, std::size_t size)
    {
        return make([&](ErrorRecord* e) { return FPropertyNodeData_C_API_decodeCbor(e, bytes, size); });
    }
    [[nodiscard]] static FPropertyNodeAbi fromJson(std::string_view text)
    {
        return make([&](ErrorRecord* e) { return FPropertyNodeData_C_API_decodeJson(e, text.data(), text.size()); });
    }

    FPropertyNodeAbi(const FPropertyNodeAbi& other) : FPropertyNodeAbiView(copyOf(other.handle())) {}
    FPropertyNodeAbi(FPropertyNodeAbi&& other) noexcept : FPropertyNodeAbiView(other.handle())
    {
        other.FPropertyNodeAbiView::operator=(FPropertyNodeAbiView(FPropertyNodeData_C_API_constructNull()));
    }
    FPropertyNodeAbi& operator=(FPropertyNodeAbi other) noexcept
    {
        const FPropertyNodeAbiView mine = *this;
        FPropertyNodeAbiView::operator=(other);
        other.FPropertyNodeAbiView::operator=(mine);
        return *this;
    }
    ~FPropertyNodeAbi() { Internal::releaseIgnoringFailure(FPropertyNodeData_C_API_destruct, owned()); }

    // Hands the share over; this node is null after.
    [[nodiscard]] FPropertyNodeData* release() noexcept
    {
        FPropertyNodeData* handle = owned();
        FPropertyNodeAbiView::operator=(FPropertyNodeAbiView(FPropertyNodeData_C_API_constructNull()));
        return handle;
    }

private:
    explicit FPropertyNodeAbi(FPropertyNodeData* handle) noexcept : FPropertyNodeAbiView(handle) {}

    template <class Make>
    static FPropertyNodeAbi make(Make&& construct)
    {
        return FPropertyNodeAbi(Internal::checkedFlatCall(construct));
    }
    static FPropertyNodeData* copyOf(const FPropertyNodeData* node)
    {
        return Internal::checkedFlatCall([&](ErrorRecord* e) { return FPropertyNodeData_C_API_copy(e, node); });
    }
    // The handle this object owns (the view is of it).
    [[nodiscard]] FPropertyNodeData* owned() const noexcept { return const_cast<FPropertyNodeData*>(handle()); }
};

inline FPropertyNodeAbi FPropertyNodeAbiView::share() const
{
    return FPropertyNodeAbi::adopt(
        Internal::checkedFlatCall([&](ErrorRecord* e) { return FPropertyNodeData_C_API_copy(e, m_node); }));
}

}  // namespace Marlowen::Lum
