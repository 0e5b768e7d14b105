/* Frozen property trees through the flat interface, for modules built with
 * any compiler or runtime, and for C.
 *
 * A tree node is null, a value (a variant), a list of nodes or a map from
 * text keys to nodes, and never changes once made. Two kinds of handle:
 *   - FPropertyNodeData* is a share the caller owns: released exactly once
 *     with FPropertyNodeData_C_API_destruct (a null handle does nothing);
 *   - const FPropertyNodeData* is a view of a node inside a tree: valid
 *     while the handle it came from is held, and never released. Every
 *     reading function takes a view, and an owned handle is one; copy a
 *     view to keep it.
 * Reading a tree node by node allocates nothing and takes no count.
 *
 *     ErrorRecord err; err.typeName = NULL;
 *     FPropertyNodeData* items[2] = {FPropertyNodeData_C_API_constructValue(&err, rate),
 *                                    FPropertyNodeData_C_API_constructNull()};
 *     const char* keys[2] = {"rate", "spare"};
 *     size_t sizes[2] = {4, 5};
 *     FPropertyNodeData* map = FPropertyNodeData_C_API_constructMap(&err, keys, sizes, items, 2);
 *     const FPropertyNodeData* found = FPropertyNodeData_C_API_find(&err, map, "rate", 4);
 *     ZVariantData* value = FPropertyNodeData_C_API_value(&err, found);   // a share: release it
 *
 * Usable from C11 and C++17. */
#ifndef LUMCORE_PROPERTY_TREE_FLAT_H
#define LUMCORE_PROPERTY_TREE_FLAT_H

#include <stddef.h>
#include <stdint.h>

#include "LumCore/c/ErrorRecord.h"
#include "LumCore/c/Export.h"
#include "LumCore/c/LumCoreFlat.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Opaque: a node of a frozen tree. */
typedef struct FPropertyNodeData FPropertyNodeData;

typedef uint32_t ZPropertyNodeKind;
enum {
    ZPropertyNodeKind_null = 0,
    ZPropertyNodeKind_value = 1,
    ZPropertyNodeKind_list = 2,
    ZPropertyNodeKind_map = 3
};

/* The null node: a static handle, never a null pointer; needs no record,
 * and its release does nothing. */
LUM_API FPropertyNodeData* FPropertyNodeData_C_API_constructNull(void);
/* A value node holding a share of `value` (the caller keeps its own). */
LUM_API FPropertyNodeData* FPropertyNodeData_C_API_constructValue(ErrorRecord* error, ZVariantData* value);
/* A list of `count` nodes, each shared (the caller keeps its handles). */
LUM_API FPropertyNodeData* FPropertyNodeData_C_API_constructList(ErrorRecord* error,
                                                                 const FPropertyNodeData* const* nodes, size_t count);
/* A map of `count` entries: key i is keys[i] of keySizes[i] bytes of UTF-8
 * (invalid_argument otherwise); the first entry of a key wins. */
LUM_API FPropertyNodeData* FPropertyNodeData_C_API_constructMap(ErrorRecord* error, const char* const* keys,
                                                                const size_t* keySizes,
                                                                const FPropertyNodeData* const* nodes, size_t count);
/* A share of the node a handle or view stands for. */
LUM_API FPropertyNodeData* FPropertyNodeData_C_API_copy(ErrorRecord* error, const FPropertyNodeData* node);
LUM_API void FPropertyNodeData_C_API_destruct(ErrorRecord* error, FPropertyNodeData* node);

LUM_API ZPropertyNodeKind FPropertyNodeData_C_API_kind(ErrorRecord* error, const FPropertyNodeData* node);
/* A share of a value node's variant; out_of_range for any other node. */
LUM_API ZVariantData* FPropertyNodeData_C_API_value(ErrorRecord* error, const FPropertyNodeData* node);
/* A view of a value node's variant, for reading with the flat variant
 * functions while the tree is held: nothing counted, nothing copied. */
LUM_API const ZVariantData* FPropertyNodeData_C_API_valueView(ErrorRecord* error, const FPropertyNodeData* node);
/* The entries of a list or a map; out_of_range for any other node. */
LUM_API size_t FPropertyNodeData_C_API_size(ErrorRecord* error, const FPropertyNodeData* node);
/* A view of a list's element; out_of_range past the end or for a non-list. */
LUM_API const FPropertyNodeData* FPropertyNodeData_C_API_element(ErrorRecord* error, const FPropertyNodeData* list,
                                                                 size_t index);
/* A view of a map's node at `index`, its key's text and size written to
 * `*key` and `*keySize` (the text lives as long as the process; either
 * pointer may be null). */
LUM_API const FPropertyNodeData* FPropertyNodeData_C_API_entryAt(ErrorRecord* error, const FPropertyNodeData* map,
                                                                 size_t index, const char** key, size_t* keySize);
/* One child of a list or a map as FPropertyNodeData_C_API_children reads it:
 * views all, valid while the tree is held. `key` is null for a list's
 * element. For a value node, `value` is its variant, `type` the element
 * type and `data` the elements (as ZVariantData_C_API_constStoredData gives
 * them), so a scalar is read with no further call; for any other node all
 * three are null or 0. */
typedef struct ZPropertyChild {
    const char* key;
    size_t keySize;
    const FPropertyNodeData* node;
    ZPropertyNodeKind kind;
    ZWellKnownType type;
    const ZVariantData* value;
    const void* data;
} ZPropertyChild;

/* The children of a list or a map from position `first`, as many as fit in
 * `capacity`; returns how many were written (0 from the end on). The one call
 * a walk needs per batch of children; out_of_range for any other node or for
 * `first` past the end.
 *
 *     ZPropertyChild batch[64];
 *     size_t got;
 *     for (size_t at = 0; (got = FPropertyNodeData_C_API_children(&err, map, at, batch, 64)) != 0; at += got)
 *         for (size_t i = 0; i < got; ++i)
 *             if (batch[i].type == ZWellKnownType_double) total += *(const double*)batch[i].data;
 */
LUM_API size_t FPropertyNodeData_C_API_children(ErrorRecord* error, const FPropertyNodeData* node, size_t first,
                                                ZPropertyChild* children, size_t capacity);
/* A view of a map's node of that key, or null with a clean record. */
LUM_API const FPropertyNodeData* FPropertyNodeData_C_API_find(ErrorRecord* error, const FPropertyNodeData* map,
                                                              const char* key, size_t keySize);

/* The exchange forms of LumCore/Cbor.hpp and LumCore/Json.hpp. */
LUM_API ZVariantData* FPropertyNodeData_C_API_encodeCbor(ErrorRecord* error, const FPropertyNodeData* node);
LUM_API FPropertyNodeData* FPropertyNodeData_C_API_decodeCbor(ErrorRecord* error, const void* bytes, size_t size);
/* The encoding written once, straight into the block `allocate(context,
 * size)` returns, so that a caller's own buffer (a Python bytes object, a
 * mapped file) holds it with no copy in between; returns the size, or 0
 * with bad_alloc in the record when `allocate` gives null. */
typedef void* (*ZAllocateBytes)(void* context, size_t size);
LUM_API size_t FPropertyNodeData_C_API_encodeCborTo(ErrorRecord* error, const FPropertyNodeData* node,
                                                    ZAllocateBytes allocate, void* context);
/* Compact JSON text, as a shared string. */
LUM_API ZStringData* FPropertyNodeData_C_API_encodeJson(ErrorRecord* error, const FPropertyNodeData* node);
LUM_API FPropertyNodeData* FPropertyNodeData_C_API_decodeJson(ErrorRecord* error, const char* text, size_t size);

/* The tree as text for people (LumCore/ConsoleFormatter.hpp): the outline
 * of ConsoleFormatter::serialize when `outline` is true, else the one-line
 * form of PrintTo. */
LUM_API ZStringData* FPropertyNodeData_C_API_consoleText(ErrorRecord* error, const FPropertyNodeData* node,
                                                         bool outline);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* LUMCORE_PROPERTY_TREE_FLAT_H */
