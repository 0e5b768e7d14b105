/* ErrorRecord: how a failure inside LumCore reaches the caller.
 *
 * Every flat function takes a caller-owned record as its first argument. On
 * return, a null typeName means success; otherwise typeName points to one of
 * the words "bad_alloc", "out_of_range", "invalid_argument", "length_error",
 * "runtime_error" or "exception" (compare by content, never by address) and
 * message holds at most 199 characters of text, NUL-terminated.
 *
 *     ErrorRecord err;
 *     err.typeName = NULL;
 *     ZStringData* s = ZStringData_C_API_constructCString(&err, "abc", 3);
 *     if (err.typeName) fprintf(stderr, "%s: %s\n", err.typeName, err.message);
 *
 * Usable from C11 and C++17.
 */
#ifndef LUMCORE_ERROR_RECORD_H
#define LUMCORE_ERROR_RECORD_H

#ifdef __cplusplus
extern "C" {
#endif

/* The words of a failure, listed once: X(word, Class), Class the standard
 * exception the word stands for (C never expands it). In the order a guard
 * tries them, most derived first; "exception" stands for any other. The
 * guard, the C++ rethrow and the Python module all take them from here (at
 * run time through ZErrorRecord_C_API_wordAt of LumCore/c/LumCoreFlat.h). */
#define LUMCORE_ERROR_WORDS(X)                  \
    X(bad_alloc, ::std::bad_alloc)               \
    X(out_of_range, ::std::out_of_range)         \
    X(invalid_argument, ::std::invalid_argument) \
    X(length_error, ::std::length_error)         \
    X(runtime_error, ::std::runtime_error)       \
    X(exception, ::std::exception)

/* Capacity of ErrorRecord::message, terminator included. */
#define LUM_ERROR_MESSAGE_CAPACITY 200

typedef struct ErrorRecord {
    const char* typeName;
    char message[LUM_ERROR_MESSAGE_CAPACITY];
} ErrorRecord;

#ifdef __cplusplus
} /* extern "C" */
static_assert(sizeof(ErrorRecord) == 208, "ErrorRecord is a fixed 208-byte layout shared across modules");
namespace Marlowen::Lum {
using ::ErrorRecord;
}
#else
_Static_assert(sizeof(ErrorRecord) == 208, "ErrorRecord is a fixed 208-byte layout shared across modules");
#endif

#endif /* LUMCORE_ERROR_RECORD_H */
