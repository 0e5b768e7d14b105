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
 */
#ifndef LUMCORE_FLAT_H
#define LUMCORE_FLAT_H

#include <stddef.h>

#include "LumCore/ErrorRecord.h"
#include "LumCore/Export.h"

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

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* LUMCORE_FLAT_H */
