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

#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>

#include "LumCore/ErrorRecord.h"

namespace Marlowen::Lum::Internal {

// Raises the exception for a failed record. Kept out of line from the check
// so that the path of success stays one load and one compare.
[[noreturn]] inline void raiseRecordedFailure(const ErrorRecord& error)
{
    // The module's own copies of the words, built on the first failure only,
    // each with its own thread-safe once-only initialisation. If one of them
    // throws while being built, its guard stays unset and a later failure
    // tries again.
    static const std::string s_badAlloc("bad_alloc");
    static const std::string s_outOfRange("out_of_range");
    static const std::string s_invalidArgument("invalid_argument");
    static const std::string s_lengthError("length_error");
    static const std::string s_runtimeError("runtime_error");
    static const std::string s_exception("exception");

    const std::string_view word(error.typeName);
    if (word == s_badAlloc) {
        throw std::bad_alloc();  // the record's text is dropped on purpose
    }
    if (word == s_outOfRange) {
        throw std::out_of_range(error.message);
    }
    if (word == s_invalidArgument) {
        throw std::invalid_argument(error.message);
    }
    if (word == s_lengthError) {
        throw std::length_error(error.message);
    }
    if (word == s_runtimeError || word == s_exception) {
        throw std::runtime_error(error.message);
    }
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
