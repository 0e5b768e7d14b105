/* The flat interface of LumCore: plain C functions over opaque handles.
 *
 * A module built with any compiler or runtime can use LumCore through these
 * functions alone; nothing here throws and no standard-library object crosses
 * the boundary. Each function (but the release of a null handle, which is a
 * no-op) reports failure through the ErrorRecord passed first.
 *
 *     ErrorRecord err; err.typeName = NULL;
 *     ZStringData* s = ZStringData_C_API_constructCString(&err, "hello", 5);
 *     ZStringData* t = ZStringData_C_API_copy(&err, s);       // a share: same handle
 *     puts(ZStringData_C_API_getConstDataPointer(&err, t));
 *     ZStringData_C_API_destruct(&err, t);
 *     ZStringData_C_API_destruct(&err, s);                    // last release frees
 *
 * Every handle returned by a constructing function or by a copy is released
 * exactly once. Usable from C11 and C++17.
 *
 * Variants work the same way: a ZVariantData handle is shared by
 * ZVariantData_C_API_copy and released by ZVariantData_C_API_destruct; what
 * is shared is read-only, and ZVariantData_C_API_mutableStoredData hands
 * back the handle (possibly a new one) through which the caller may write:
 *
 *     size_t dims[2] = {2, 3};
 *     ZArrayDimensions shape = {dims, 2};
 *     ZVariantData* v = ZVariantData_C_API_createWithAllocatedArray(&err, ZWellKnownType_double,
 *                                                                   shape, ZDataOrdering_RowMajor);
 *     void* elements;
 *     v = ZVariantData_C_API_mutableStoredData(&err, v, &elements);   // replace the handle
 *     ((double*)elements)[0] = 1.5;
 *     ZVariantData_C_API_destruct(&err, v);
 */
#ifndef LUMCORE_FLAT_H
#define LUMCORE_FLAT_H

#include <stddef.h>
#include <stdint.h>
#ifndef __cplusplus
#include <stdbool.h>
#endif

#include "LumCore/c/ErrorRecord.h"
#include "LumCore/c/Export.h"
#include "LumCore/c/ElementTypeList.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Shared strings ------------------------------------------------------ */

/* Opaque handle of a shared, immutable string record. */
typedef struct ZStringData ZStringData;

/* Result of ZStringData_C_API_constructCStringWithSize: the new record and
 * its writable text, which the caller fills with size bytes and a NUL. */
typedef struct StringBufferResult {
    ZStringData* handle;
    char* data;
} StringBufferResult;

LUM_API ZStringData* ZStringData_C_API_constructCString(ErrorRecord* error, const char* chars, size_t size);
LUM_API StringBufferResult ZStringData_C_API_constructCStringWithSize(ErrorRecord* error, size_t size);
LUM_API ZStringData* ZStringData_C_API_copy(ErrorRecord* error, ZStringData* handle);
LUM_API void ZStringData_C_API_destruct(ErrorRecord* error, ZStringData* handle);
LUM_API const char* ZStringData_C_API_getConstDataPointer(ErrorRecord* error, ZStringData* handle);
LUM_API size_t ZStringData_C_API_getLength(ErrorRecord* error, ZStringData* handle);

/* ---- Variants -------------------------------------------------------------- */

/* Opaque handle of a variant's storage. */
typedef struct ZVariantData ZVariantData;

/* Opaque: a caller's object implementing the C++ ExternalVariantStorageInterface,
 * for code built against the library's own C++ runtime only. C and other
 * runtimes lend memory through ZVariantLender below. */
typedef struct ZExternalVariantStorage ZExternalVariantStorage;

/* A list of extents, two words passed by value. */
typedef struct ZArrayDimensions {
    const size_t* data;
    size_t size;
} ZArrayDimensions;

/* Element types: bits 0-3 numeric kind, 4-7 other kind, 14 unsigned, 15 complex.
 * One enumerator ZWellKnownType_<word> for each code of the element type
 * list (LumCore/c/ElementTypeList.h), with its value there:
 * ZWellKnownType_double is 0x0001, ZWellKnownType_int32 0x0006,
 * ZWellKnownType_complexUnsignedInt8 0xC004, and so on; ZWellKnownType_unknown
 * is 0. */
typedef uint16_t ZWellKnownType;
#define LUMCORE_C_TYPE_ENUMERATOR(word, enumerator, code, Class) ZWellKnownType_##word = code,
enum { ZWellKnownType_unknown = 0x0000, LUMCORE_TYPE_CODES(LUMCORE_C_TYPE_ENUMERATOR) };
#undef LUMCORE_C_TYPE_ENUMERATOR

/* The type codes with a word, one for each index from 0 in the order of the
 * list: the word of index `index` ("int32"), its code written to `*code`.
 * Past the last index, null and nothing written. Needs no record.
 *
 *     ZWellKnownType code;
 *     for (size_t i = 0; ZWellKnownType_C_API_wordAt(i, &code) != NULL; ++i) { ... }
 */
LUM_API const char* ZWellKnownType_C_API_wordAt(size_t index, ZWellKnownType* code);

/* The words an ErrorRecord may carry, one for each index from 0 in the order
 * of LUMCORE_ERROR_WORDS ("bad_alloc", ...); past the last, null. */
LUM_API const char* ErrorRecord_C_API_wordAt(size_t index);

typedef uint32_t ZDataOrdering;
enum { ZDataOrdering_RowMajor = 0, ZDataOrdering_ColumnMajor = 1 };

typedef uint32_t ZConversionMode;
enum { ZConversionMode_Lossless = 0, ZConversionMode_Cast = 1, ZConversionMode_CastOrParse = 2 };

/* The null variant: needs no record and no release (a release does nothing). */
LUM_API ZVariantData* ZVariantData_C_API_constructNull(void);
/* One element of `type` read at `value` (text: ZVariantData_C_API_constructText). */
LUM_API ZVariantData* ZVariantData_C_API_constructScalar(ErrorRecord* error, const void* value, ZWellKnownType type);
/* A copy of `count` elements; an empty shape stands for [count]. */
LUM_API ZVariantData* ZVariantData_C_API_constructArray(ErrorRecord* error, const void* data, ZWellKnownType type,
                                                        size_t count, ZArrayDimensions dimensions,
                                                        ZDataOrdering ordering);
/* An array to fill through ZVariantData_C_API_mutableStoredData. */
LUM_API ZVariantData* ZVariantData_C_API_createWithAllocatedArray(ErrorRecord* error, ZWellKnownType type,
                                                                  ZArrayDimensions dimensions, ZDataOrdering ordering);
LUM_API ZVariantData* ZVariantData_C_API_createWithExternalStorage(ErrorRecord* error,
                                                                   ZExternalVariantStorage* storage);
/* A string scalar holding a copy of `size` bytes at `text`. */
LUM_API ZVariantData* ZVariantData_C_API_constructText(ErrorRecord* error, const char* text, size_t size);
/* A string array of `count` elements, element i a copy of sizes[i] bytes at
 * texts[i] (a null text is allowed with size 0); an empty shape stands for
 * [count]. */
LUM_API ZVariantData* ZVariantData_C_API_constructTextArray(ErrorRecord* error, const char* const* texts,
                                                            const size_t* sizes, size_t count,
                                                            ZArrayDimensions dimensions, ZDataOrdering ordering);
/* Element `index` of a string variant in storage order (0 for a scalar): its
 * bytes, NUL-terminated, with their number in `*size`. The text lives as long
 * as the handle. Another element type is an invalid_argument, an index past
 * the last element an out_of_range. */
LUM_API const char* ZVariantData_C_API_textElementAt(ErrorRecord* error, const ZVariantData* handle, size_t index,
                                                     size_t* size);
/* Views with no copy; they take over the caller's reference to `handle`. */
LUM_API ZVariantData* ZVariantData_C_API_constructTransmuteComplexToRealVariant(ErrorRecord* error,
                                                                                ZVariantData* handle);
LUM_API ZVariantData* ZVariantData_C_API_constructTransmuteRealToComplexVariant(ErrorRecord* error,
                                                                                ZVariantData* handle);
/* A share: returns the same handle with one more reference. */
LUM_API ZVariantData* ZVariantData_C_API_copy(ErrorRecord* error, const ZVariantData* handle);
/* Gives up one reference; a null handle is a no-op. */
LUM_API void ZVariantData_C_API_destruct(ErrorRecord* error, ZVariantData* handle);
LUM_API const void* ZVariantData_C_API_constStoredData(ErrorRecord* error, const ZVariantData* handle);
/* Consumes `handle` and returns the handle the caller owns alone; `*data`
 * receives its writable elements. */
LUM_API ZVariantData* ZVariantData_C_API_mutableStoredData(ErrorRecord* error, ZVariantData* handle, void** data);
/* A new reference to converted storage, the same handle for the same type,
 * or null with a clean record when `mode` refuses. */
LUM_API ZVariantData* ZVariantData_C_API_convertDataTo(ErrorRecord* error, const ZVariantData* handle, ZWellKnownType target,
                                                       ZConversionMode mode);
LUM_API ZDataOrdering ZVariantData_C_API_dataOrdering(ErrorRecord* error, const ZVariantData* handle);
/* Points into the object; valid until it is released or reshaped. */
LUM_API ZArrayDimensions ZVariantData_C_API_dimensions(ErrorRecord* error, const ZVariantData* handle);
LUM_API bool ZVariantData_C_API_isEquivalentTo(ErrorRecord* error, const ZVariantData* lhs, const ZVariantData* rhs,
                                               ZConversionMode mode);
LUM_API bool ZVariantData_C_API_isIdenticalTo(ErrorRecord* error, const ZVariantData* lhs, const ZVariantData* rhs);
LUM_API bool ZVariantData_C_API_isScalarStorage(ErrorRecord* error, const ZVariantData* handle);
LUM_API size_t ZVariantData_C_API_numberAllocatedElements(ErrorRecord* error, const ZVariantData* handle);
/* Consumes `handle` on success and returns the reordered storage. */
LUM_API ZVariantData* ZVariantData_C_API_reorderData(ErrorRecord* error, ZVariantData* handle, ZDataOrdering ordering);
LUM_API void ZVariantData_C_API_reshapeNoRealloc(ErrorRecord* error, ZVariantData* handle, ZArrayDimensions dimensions);
/* A new array of `handle`'s type and the given shape filled from `source`;
 * consumes `source` on success. */
LUM_API ZVariantData* ZVariantData_C_API_reshapeToZVariant(ErrorRecord* error, ZVariantData* handle,
                                                           ZVariantData* source, ZArrayDimensions dimensions,
                                                           ZDataOrdering ordering);
LUM_API ZWellKnownType ZVariantData_C_API_wellKnownDataType(ErrorRecord* error, const ZVariantData* handle);

/* One dimension of a slice: `count` positions from `first`, `step` apart; a
 * negative step walks the dimension backward, as Python's and NumPy's
 * slices do (positions first, first + step, ...). */
typedef struct ZSliceRange {
    uint64_t first;
    uint64_t count;
    int64_t step;
} ZSliceRange;

/* The elements of `handle` at one range per dimension (`rangeCount` of
 * them, as many as it has dimensions), as a new array of the extents
 * [count, ...] in the variant's own ordering. A range past its dimension
 * or of step 0 is "slice dimensions are out of bounds"; another number of
 * ranges "slice dimensions don't match ZVariant dimensions" (both
 * invalid_argument). */
LUM_API ZVariantData* ZVariantData_C_API_copySlice(ErrorRecord* error, const ZVariantData* handle,
                                                   const ZSliceRange* ranges, size_t rangeCount);

/* ---- Memory lent by the caller --------------------------------------------- */

/* A caller's block of elements, lent to a variant with no copy, from C or
 * from a module of any runtime. The library copies this record and calls its
 * functions with `context` for as long as the loan lasts.
 *
 *     ZVariantLender lender = {&samples, ZWellKnownType_double, ZDataOrdering_RowMajor,
 *                              count_fn, dims_fn, const_fn, mutable_fn, NULL, released_fn};
 *     ZVariantLoan* loan;
 *     ZVariantData* v = ZVariantData_C_API_createWithLender(&err, &lender, &loan);
 *     ... hand v around ...
 *     if (!samples.released) ZVariantData_C_API_detachLender(&err, loan);   // before the memory goes
 *
 * A loan ends one of two ways, each exactly once. Either the caller calls
 * ZVariantData_C_API_detachLender before its memory goes away (the variants
 * then hold a private copy and never call the lender again), or every variant
 * lets go first and the library calls `released`, after which the loan is
 * gone and must not be detached. */
typedef struct ZVariantLender {
    void* context;
    ZWellKnownType type; /* a numeric or bool type: text needs the library's own strings */
    ZDataOrdering ordering;
    size_t (*numberAllocatedElements)(void* context);
    /* The extents need to stay valid only until the call returns. */
    ZArrayDimensions (*dimensions)(void* context);
    const void* (*constStoredData)(void* context);
    void* (*mutableStoredData)(void* context);
    /* Takes a new shape that the library has checked fits the block, or
     * returns false to refuse it; null refuses every reshape. */
    bool (*reshapeNoRealloc)(void* context, ZArrayDimensions dimensions);
    /* Every variant let go before a detach; may be null. */
    void (*released)(void* context);
} ZVariantLender;

/* Opaque: one loan, ended by ZVariantData_C_API_detachLender. */
typedef struct ZVariantLoan ZVariantLoan;

/* A variant over the lender's memory, and in `*loan` the loan to detach. */
LUM_API ZVariantData* ZVariantData_C_API_createWithLender(ErrorRecord* error, const ZVariantLender* lender,
                                                          ZVariantLoan** loan);
/* The variants over the loan take a private copy and let go of the lender's
 * memory; the loan is gone. On failure (bad_alloc) the loan stays. */
LUM_API void ZVariantData_C_API_detachLender(ErrorRecord* error, ZVariantLoan* loan);

/* The value as CBOR (RFC 8949, typed arrays of RFC 8746; LumCore/Cbor.hpp
 * has the form): a new one-dimensional unsignedInt8 array of the bytes. */
LUM_API ZVariantData* ZVariantData_C_API_encodeCbor(ErrorRecord* error, const ZVariantData* value);
/* The value of one CBOR item, and nothing after it; malformed input is an
 * invalid_argument, a limit passed a length_error, each naming the byte. */
LUM_API ZVariantData* ZVariantData_C_API_decodeCbor(ErrorRecord* error, const void* bytes, size_t size);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* LUMCORE_FLAT_H */
