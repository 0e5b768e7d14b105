/* Frozen trees from C: one of every node kind built, read back node by
 * node, through CBOR and JSON and back, and each misuse in the record. */
#include <stdlib.h>
#include <string.h>

#include "CBoundaryCheck.h"
#include "LumCore/c/PropertyTreeFlat.h"

static int failed_with(ErrorRecord* error, const char* word, const char* message)
{
    const int matches = error->typeName != NULL && strcmp(error->typeName, word) == 0 &&
                        (message == NULL || strcmp(error->message, message) == 0);
    error->typeName = NULL;
    return matches;
}

/* {"rate": 2.5, "items": [null, [1, 2]], "none": null} */
static FPropertyNodeData* sample_tree(ErrorRecord* error)
{
    const double rate = 2.5;
    const int pair[2] = {1, 2};
    const size_t two[1] = {2};
    const ZArrayDimensions shape = {two, 1};
    ZVariantData* scalar = ZVariantData_C_API_constructScalar(error, &rate, ZWellKnownType_double);
    ZVariantData* array = ZVariantData_C_API_constructArray(error, pair, ZWellKnownType_int32, 2, shape,
                                                            ZDataOrdering_RowMajor);
    FPropertyNodeData* value = FPropertyNodeData_C_API_constructValue(error, scalar);
    FPropertyNodeData* numbers = FPropertyNodeData_C_API_constructValue(error, array);
    const FPropertyNodeData* listItems[2] = {FPropertyNodeData_C_API_constructNull(), numbers};
    FPropertyNodeData* list = FPropertyNodeData_C_API_constructList(error, listItems, 2);
    const char* keys[4] = {"rate", "items", "none", "rate"};
    const size_t sizes[4] = {4, 5, 4, 4};
    const FPropertyNodeData* mapItems[4] = {value, list, FPropertyNodeData_C_API_constructNull(), list};
    FPropertyNodeData* map = FPropertyNodeData_C_API_constructMap(error, keys, sizes, mapItems, 4);
    FPropertyNodeData_C_API_destruct(error, list);
    FPropertyNodeData_C_API_destruct(error, numbers);
    FPropertyNodeData_C_API_destruct(error, value);
    ZVariantData_C_API_destruct(error, array);
    ZVariantData_C_API_destruct(error, scalar);
    return map;
}

static void reads_the_sample(ErrorRecord* error, const FPropertyNodeData* map)
{
    CHECK(FPropertyNodeData_C_API_kind(error, map) == ZPropertyNodeKind_map);
    CHECK(FPropertyNodeData_C_API_size(error, map) == 3); /* the first "rate" wins */
    const char* key = NULL;
    size_t keySize = 0;
    const FPropertyNodeData* second = FPropertyNodeData_C_API_entryAt(error, map, 1, &key, &keySize);
    CHECK(keySize == 5 && memcmp(key, "items", 5) == 0);
    CHECK(FPropertyNodeData_C_API_entryAt(error, map, 1, NULL, NULL) == second); /* the key not wanted */
    CHECK(FPropertyNodeData_C_API_kind(error, second) == ZPropertyNodeKind_list);
    CHECK(FPropertyNodeData_C_API_kind(error, FPropertyNodeData_C_API_element(error, second, 0)) ==
          ZPropertyNodeKind_null);
    /* JSON brings the pair back as int64: equivalent, not identical. */
    ZVariantData* pair = FPropertyNodeData_C_API_value(error, FPropertyNodeData_C_API_element(error, second, 1));
    const double expected[2] = {1, 2};
    ZVariantData* reference = ZVariantData_C_API_constructArray(error, expected, ZWellKnownType_double, 2,
                                                                ZVariantData_C_API_dimensions(error, pair),
                                                                ZDataOrdering_RowMajor);
    CHECK(ZVariantData_C_API_isEquivalentTo(error, pair, reference, ZConversionMode_Lossless));
    ZVariantData_C_API_destruct(error, reference);
    ZVariantData_C_API_destruct(error, pair);
    ZVariantData* rate = FPropertyNodeData_C_API_value(error, FPropertyNodeData_C_API_find(error, map, "rate", 4));
    CHECK(*(const double*)ZVariantData_C_API_constStoredData(error, rate) == 2.5);
    ZVariantData_C_API_destruct(error, rate);
    CHECK(FPropertyNodeData_C_API_find(error, map, "no such key, anywhere", 21) == NULL);

    /* The same children in batches: two, then the last, then none. */
    ZPropertyChild batch[2];
    CHECK(FPropertyNodeData_C_API_children(error, map, 0, batch, 2) == 2);
    CHECK(batch[0].kind == ZPropertyNodeKind_value && batch[0].type == ZWellKnownType_double &&
          *(const double*)batch[0].data == 2.5 && memcmp(batch[0].key, "rate", 4) == 0);
    CHECK(batch[1].node == second && batch[1].value == NULL && batch[1].data == NULL);
    CHECK(FPropertyNodeData_C_API_children(error, map, 2, batch, 2) == 1 && batch[0].kind == ZPropertyNodeKind_null);
    CHECK(FPropertyNodeData_C_API_children(error, map, 3, batch, 2) == 0);
    CHECK(FPropertyNodeData_C_API_children(error, second, 1, batch, 2) == 1 && batch[0].key == NULL &&
          FPropertyNodeData_C_API_size(error, second) == 2);
    CHECK(error->typeName == NULL);
}

static void* last_block;
static void* allocate_block(void* context, size_t size)
{
    (void)context;
    return last_block = malloc(size);
}
static void* refuse_block(void* context, size_t size)
{
    (void)context;
    (void)size;
    return NULL;
}

void run_tree_checks(void)
{
    ErrorRecord error;
    error.typeName = NULL;
    FPropertyNodeData* map = sample_tree(&error);
    CHECK(error.typeName == NULL);
    reads_the_sample(&error, map);

    /* Through CBOR and JSON and back, read the same way. */
    ZVariantData* bytes = FPropertyNodeData_C_API_encodeCbor(&error, map);
    FPropertyNodeData* fromCbor = FPropertyNodeData_C_API_decodeCbor(
        &error, ZVariantData_C_API_constStoredData(&error, bytes), ZVariantData_C_API_dimensions(&error, bytes).data[0]);
    reads_the_sample(&error, fromCbor);
    ZStringData* text = FPropertyNodeData_C_API_encodeJson(&error, map);
    CHECK(strcmp(ZStringData_C_API_getConstDataPointer(&error, text),
                 "{\"rate\":2.5,\"items\":[null,[1,2]],\"none\":null}") == 0);
    FPropertyNodeData* fromJson = FPropertyNodeData_C_API_decodeJson(
        &error, ZStringData_C_API_getConstDataPointer(&error, text), ZStringData_C_API_getLength(&error, text));
    reads_the_sample(&error, fromJson);

    /* Straight into the caller's block, the same bytes; a refused block is bad_alloc. */
    size_t size = FPropertyNodeData_C_API_encodeCborTo(&error, map, allocate_block, NULL);
    CHECK(size == ZVariantData_C_API_dimensions(&error, bytes).data[0] &&
          memcmp(last_block, ZVariantData_C_API_constStoredData(&error, bytes), size) == 0);
    free(last_block);
    CHECK(FPropertyNodeData_C_API_encodeCborTo(&error, map, refuse_block, NULL) == 0);
    CHECK(failed_with(&error, "bad_alloc", NULL));

    /* Text for people: the one-line form and the outline. */
    ZStringData* line = FPropertyNodeData_C_API_consoleText(&error, map, false);
    CHECK(strcmp(ZStringData_C_API_getConstDataPointer(&error, line),
                 "{{'rate', 2.5}, {'items', {<NULL>, [1, 2]}}, {'none', <NULL>}}") == 0);
    ZStringData* outline = FPropertyNodeData_C_API_consoleText(&error, map, true);
    CHECK(strcmp(ZStringData_C_API_getConstDataPointer(&error, outline),
                 "|---> 'rate': 2.5\n|---> 'items': [1, 2]\n|---> 'none': ") == 0);
    ZStringData_C_API_destruct(&error, outline);
    ZStringData_C_API_destruct(&error, line);

    /* Misuse: a value asked of a map, a position past the end, children of
     * a null node, a key that is not text, text that is no JSON. */
    CHECK(FPropertyNodeData_C_API_value(&error, map) == NULL);
    CHECK(failed_with(&error, "out_of_range", "FPropertyNode is not a value"));
    CHECK(FPropertyNodeData_C_API_entryAt(&error, map, 3, NULL, NULL) == NULL);
    CHECK(failed_with(&error, "out_of_range", "FPropertyMap index 3 is past the end (size 3)"));
    CHECK(FPropertyNodeData_C_API_element(&error, map, 0) == NULL);
    CHECK(failed_with(&error, "out_of_range", "FPropertyNode is not a list"));
    ZPropertyChild child;
    CHECK(FPropertyNodeData_C_API_children(&error, map, 4, &child, 1) == 0);
    CHECK(failed_with(&error, "out_of_range", "FPropertyMap index 4 is past the end (size 3)"));
    CHECK(FPropertyNodeData_C_API_children(&error, FPropertyNodeData_C_API_constructNull(), 0, &child, 1) == 0);
    CHECK(failed_with(&error, "out_of_range", "FPropertyNode is not a list or a map"));
    const char* badKey[1] = {"\xff"};
    const size_t badSize[1] = {1};
    const FPropertyNodeData* one[1] = {map};
    CHECK(FPropertyNodeData_C_API_constructMap(&error, badKey, badSize, one, 1) == NULL);
    CHECK(failed_with(&error, "invalid_argument", "Key 0 of a map is not valid UTF-8."));
    CHECK(FPropertyNodeData_C_API_decodeJson(&error, "{\"a\" 1}", 7) == NULL);
    CHECK(failed_with(&error, "invalid_argument", "JSON at line 1, column 6: a missing ':' after a key"));

    FPropertyNodeData_C_API_destruct(&error, fromJson);
    ZStringData_C_API_destruct(&error, text);
    FPropertyNodeData_C_API_destruct(&error, fromCbor);
    ZVariantData_C_API_destruct(&error, bytes);
    FPropertyNodeData_C_API_destruct(&error, map);
    FPropertyNodeData_C_API_destruct(&error, FPropertyNodeData_C_API_constructNull()); /* does nothing */
    FPropertyNodeData_C_API_destruct(&error, NULL);
    CHECK(error.typeName == NULL);
}
