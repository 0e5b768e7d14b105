// Internal: compiled into callers through the public headers; carries no promise of stability.
// throwIfFailed: the client-side half of the error boundary.
//
// Every wrapper that makes a flat call (other than a release) goes through
// checkedFlatCall, which clears a local ErrorRecord, makes the call and hands
// the record to throwIfFailed; that raises the standard exception the
// record's word names:
//
//     ZStringData* handle = checkedFlatCall(
//         [&](ErrorRecord* e) { return ZStringData_C_API_constructCString(e, text, size); });
//
// This header is compiled into the caller's module on purpose: the exception
// is built by the caller's own runtime, so it can be caught there even when
// the library was built with another compiler or standard library.
#pragma once

#include <cstddef>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>

#include "LumCore/c/ErrorRecord.h"

namespace Marlowen::Lum::Internal {

// The exception a word stands for, raised in the caller's own runtime.
template <class Exception>
[[noreturn]] void raiseAs(const char* message)
{
    if constexpr (std::is_same_v<Exception, std::bad_alloc>) {
        throw std::bad_alloc();  // the record's text is dropped on purpose
    } else if constexpr (std::is_same_v<Exception, std::exception>) {
        throw std::runtime_error(message);
    } else {
        throw Exception(message);
    }
}

// Raises the exception for a failed record. Kept out of line from the check
// so that the path of success stays one load and one compare.
[[noreturn]] inline void raiseRecordedFailure(const ErrorRecord& error)
{
    // The module's own copies of the words, built on the first failure only,
    // with a thread-safe once-only initialisation. If one of them throws
    // while being built, the guard stays unset and a later failure tries
    // again.
    static const std::string s_words[] = {
#define LUMCORE_WORD_TEXT(word, Class) std::string(#word),
        LUMCORE_ERROR_WORDS(LUMCORE_WORD_TEXT)
#undef LUMCORE_WORD_TEXT
    };
    const std::string_view word(error.typeName);
    std::size_t index = 0;
#define LUMCORE_RAISE_WORD(w, Class)          \
    if (word == s_words[index++]) {           \
        raiseAs<Class>(error.message);        \
    }
    LUMCORE_ERROR_WORDS(LUMCORE_RAISE_WORD)
#undef LUMCORE_RAISE_WORD
    throw std::runtime_error("Unrecognized exception type");
}

// Returns when the record reports success, throws otherwise.
inline void throwIfFailed(const ErrorRecord& error)
{
    if (error.typeName != nullptr) {
        raiseRecordedFailure(error);
    }
}

// Makes one flat call with a fresh record and raises what the record reports.
template <class Call>
auto checkedFlatCall(Call&& call) -> decltype(call(static_cast<ErrorRecord*>(nullptr)))
{
    ErrorRecord error;
    error.typeName = nullptr;
    if constexpr (std::is_void_v<decltype(call(&error))>) {
        call(&error);
        throwIfFailed(error);
    } else {
        auto result = call(&error);
        throwIfFailed(error);
        return result;
    }
}

// Gives up a handle through its flat release function. A release never
// throws: its record is cleared, passed and never looked at. A null handle
// makes no call.
template <class Handle>
void releaseIgnoringFailure(void (*destruct)(ErrorRecord*, Handle*), Handle* handle) noexcept
{
    if (handle != nullptr) {
        ErrorRecord ignored;
        ignored.typeName = nullptr;
        destruct(&ignored, handle);
    }
}

}  // namespace Marlowen::Lum::Internal
