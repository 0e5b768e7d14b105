// The flat functions of frozen trees. A handle or view is the address of an
// FPropertyNode: an owned handle one in a block of its own (one share of the
// node's content), a view one inside a tree, which its holder keeps alive.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <sstream>

#include "LumCore/Cbor.hpp"
#include "LumCore/ConsoleFormatter.hpp"
#include "LumCore/Json.hpp"
#include "LumCore/c/PropertyTreeFlat.h"
#include "boundary/GuardedCall.hpp"
#include "boundary/ZStringData.hpp"
#include "exchange/CborWriter.hpp"
#include "exchange/DecodedNames.hpp"
#include "exchange/DecodedTree.hpp"
#include "exchange/Utf8.hpp"
#include "variant/CountedShare.hpp"

namespace {

using namespace Marlowen::Lum;
using namespace Marlowen::Lum::Internal;

const FPropertyNode& nodeOf(const FPropertyNodeData* handle) noexcept
{
    return *reinterpret_cast<const FPropertyNode*>(handle);
}

const FPropertyNodeData* viewOf(const FPropertyNode& node) noexcept
{
    return reinterpret_cast<const FPropertyNodeData*>(&node);
}

ZPropertyNodeKind kindOf(const FPropertyNode& node) noexcept
{
    return node.isValue() ? ZPropertyNodeKind_value
           : node.isList() ? ZPropertyNodeKind_list
           : node.isMap()  ? ZPropertyNodeKind_map
                           : ZPropertyNodeKind_null;
}

// The null node every module shares; never freed.
const FPropertyNode& nullNode() noexcept
{
    static const FPropertyNode s_null;
    return s_null;
}

FPropertyNodeData* owned(FPropertyNode&& node)
{
    return reinterpret_cast<FPropertyNodeData*>(new FPropertyNode(std::move(node)));
}

ZStringData* recordOf(const std::string& text)
{
    ZStringData* record = ZStringData::allocate(text.size());
    std::memcpy(record->text(), text.data(), text.size());
    record->text()[text.size()] = '\0';
    return record;
}

ZVariantData* shareOf(const ZVariant& value)
{
    return reinterpret_cast<ZVariantData*>(countedShare(*value.storage().data()));
}

}  // namespace

extern "C" {

LUM_API FPropertyNodeData* FPropertyNodeData_C_API_constructNull(void)
{
    return const_cast<FPropertyNodeData*>(viewOf(nullNode()));
}

LUM_API FPropertyNodeData* FPropertyNodeData_C_API_constructValue(ErrorRecord* error, ZVariantData* value)
{
    return guardedCall(error, [&] {
        const auto* data = reinterpret_cast<const IVariantData*>(value);
        return owned(FPropertyBuilder::value(ZVariant::adoptFlatHandle(
            reinterpret_cast<ZVariantData*>(countedShare(*data)))));
    });
}

LUM_API FPropertyNodeData* FPropertyNodeData_C_API_constructList(ErrorRecord* error,
                                                                 const FPropertyNodeData* const* nodes, size_t count)
{
    return guardedCall(error, [&] {
        std::vector<FPropertyNode> items;
        items.reserve(count);
        for (std::size_t i = 0; i < count; ++i) {
            items.push_back(nodeOf(nodes[i]));
        }
        return owned(FPropertyBuilder::list(std::move(items)));
    });
}

LUM_API FPropertyNodeData* FPropertyNodeData_C_API_constructMap(ErrorRecord* error, const char* const* keys,
                                                                const size_t* keySizes,
                                                                const FPropertyNodeData* const* nodes, size_t count)
{
    return guardedCall(error, [&] {
        DecodedEntries<FrozenTree> entries;
        entries.reserve(count);
        for (std::size_t i = 0; i < count; ++i) {
            if (!isValidUtf8(keys[i], keySizes[i])) {
                throw std::invalid_argument("Key " + std::to_string(i) + " of a map is not valid UTF-8.");
            }
            entries.add(InternedString(std::string_view(keys[i], keySizes[i])), FPropertyNode(nodeOf(nodes[i])));
        }
        return owned(entries.map());
    });
}

LUM_API FPropertyNodeData* FPropertyNodeData_C_API_copy(ErrorRecord* error, const FPropertyNodeData* node)
{
    return guardedCall(error, [&] { return owned(FPropertyNode(nodeOf(node))); });
}

LUM_API void FPropertyNodeData_C_API_destruct(ErrorRecord* error, FPropertyNodeData* node)
{
    guardedCall(error, [&] {
        if (node != nullptr && node != viewOf(nullNode())) {
            delete reinterpret_cast<FPropertyNode*>(node);
        }
    });
}

LUM_API ZPropertyNodeKind FPropertyNodeData_C_API_kind(ErrorRecord* error, const FPropertyNodeData* node)
{
    return guardedCall(error, [&] { return kindOf(nodeOf(node)); });
}

LUM_API ZVariantData* FPropertyNodeData_C_API_value(ErrorRecord* error, const FPropertyNodeData* node)
{
    return guardedCall(error, [&] { return shareOf(nodeOf(node).value()); });
}

LUM_API const ZVariantData* FPropertyNodeData_C_API_valueView(ErrorRecord* error, const FPropertyNodeData* node)
{
    return guardedCall(error, [&] { return static_cast<const ZVariantData*>(nodeOf(node).value().flatHandle()); });
}

LUM_API size_t FPropertyNodeData_C_API_size(ErrorRecord* error, const FPropertyNodeData* node)
{
    return guardedCall(error, [&]() -> std::size_t {
        const FPropertyNode& n = nodeOf(node);
        if (n.isList()) {
            return n.list().size();
        }
        if (n.isMap()) {
            return n.map().size();
        }
        throw std::out_of_range("FPropertyNode is not a list or a map");
    });
}

LUM_API const FPropertyNodeData* FPropertyNodeData_C_API_element(ErrorRecord* error, const FPropertyNodeData* list,
                                                                 size_t index)
{
    return guardedCall(error, [&] { return viewOf(nodeOf(list).list().at(index)); });
}

LUM_API const FPropertyNodeData* FPropertyNodeData_C_API_entryAt(ErrorRecord* error, const FPropertyNodeData* map,
                                                                 size_t index, const char** key, size_t* keySize)
{
    return guardedCall(error, [&] {
        const FPropertyMap& entries = nodeOf(map).map();
        if (index >= entries.size()) {
            throwIndexPastEnd("FPropertyMap", index, entries.size());
        }
        const auto& entry = *(entries.begin() + static_cast<std::ptrdiff_t>(index));
        if (key != nullptr) {  // either may be left out when only the node is wanted
            *key = entry.first.data();
        }
        if (keySize != nullptr) {
            *keySize = entry.first.size();
        }
        return viewOf(entry.second);
    });
}

LUM_API size_t FPropertyNodeData_C_API_children(ErrorRecord* error, const FPropertyNodeData* node, size_t first,
                                                ZPropertyChild* children, size_t capacity)
{
    return guardedCall(error, [&]() -> std::size_t {
        const FPropertyNode& parent = nodeOf(node);
        if (!parent.isList() && !parent.isMap()) {
            throw std::out_of_range("FPropertyNode is not a list or a map");
        }
        const std::size_t size = parent.isList() ? parent.list().size() : parent.map().size();
        if (first > size) {
            throwIndexPastEnd(parent.isList() ? "FPropertyList" : "FPropertyMap", first, size);
        }
        const std::size_t count = std::min(capacity, size - first);
        const auto describe = [](const FPropertyNode& child, ZPropertyChild& out) {
            out.node = viewOf(child);
            out.kind = kindOf(child);
            if (child.isValue()) {
                const ZVariant& value = child.value();
                out.type = value.wellKnownDataType().bits();
                out.value = value.flatHandle();
                out.data = value.constStoredData();
            } else {
                out.type = ZWellKnownType_unknown;
                out.value = nullptr;
                out.data = nullptr;
            }
        };
        if (parent.isList()) {
            const FPropertyList& items = parent.list();
            for (std::size_t i = 0; i < count; ++i) {
                children[i].key = nullptr;
                children[i].keySize = 0;
                describe(items[first + i], children[i]);
            }
        } else {
            auto entry = parent.map().begin() + static_cast<std::ptrdiff_t>(first);
            for (std::size_t i = 0; i < count; ++i, ++entry) {
                children[i].key = entry->first.data();
                children[i].keySize = entry->first.size();
                describe(entry->second, children[i]);
            }
        }
        return count;
    });
}

LUM_API const FPropertyNodeData* FPropertyNodeData_C_API_find(ErrorRecord* error, const FPropertyNodeData* map,
                                                              const char* key, size_t keySize)
{
    return guardedCall(error, [&]() -> const FPropertyNodeData* {
        const FPropertyMap& entries = nodeOf(map).map();
        const std::string_view text(key, keySize);
        // A text no map has as a key is not interned: looking it up interns nothing.
        if (!isInterned(text)) {
            return nullptr;
        }
        const FPropertyNode* found = entries.find(InternedString(text));
        return found != nullptr ? viewOf(*found) : nullptr;
    });
}

LUM_API ZVariantData* FPropertyNodeData_C_API_encodeCbor(ErrorRecord* error, const FPropertyNodeData* node)
{
    return guardedCall(error, [&] { return shareOf(encodeCbor(nodeOf(node))); });
}

LUM_API FPropertyNodeData* FPropertyNodeData_C_API_decodeCbor(ErrorRecord* error, const void* bytes, size_t size)
{
    return guardedCall(error, [&] { return owned(decodeCborTree(bytes, size)); });
}

LUM_API size_t FPropertyNodeData_C_API_encodeCborTo(ErrorRecord* error, const FPropertyNodeData* node,
                                                    ZAllocateBytes allocate, void* context)
{
    return guardedCall(error, [&] {
        return encodeCborInto(nodeOf(node), [&](std::size_t size) {
            void* block = allocate(context, size);
            if (block == nullptr) {
                throw std::bad_alloc();
            }
            return static_cast<std::uint8_t*>(block);
        });
    });
}

LUM_API ZStringData* FPropertyNodeData_C_API_encodeJson(ErrorRecord* error, const FPropertyNodeData* node)
{
    return guardedCall(error, [&] { return recordOf(writeJson(nodeOf(node))); });
}

LUM_API FPropertyNodeData* FPropertyNodeData_C_API_decodeJson(ErrorRecord* error, const char* text, size_t size)
{
    return guardedCall(error, [&] { return owned(readJsonTree(std::string_view(text, size))); });
}

LUM_API ZStringData* FPropertyNodeData_C_API_consoleText(ErrorRecord* error, const FPropertyNodeData* node,
                                                         bool outline)
{
    return guardedCall(error, [&] {
        std::ostringstream text;
        if (outline) {
            ConsoleFormatter::serialize(nodeOf(node), text);
        } else {
            PrintTo(nodeOf(node), &text);
        }
        return recordOf(text.str());
    });
}

}  // extern "C"
