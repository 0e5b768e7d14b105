// guardedCall: the library-side half of the error boundary.
//
// Every flat function is a thin exported shell that hands its body to
// guardedCall. No exception leaves: a failure is written into the caller's
// ErrorRecord as a word and at most 199 characters of text, and the flat
// function returns the neutral value of its result type (null, 0, false, a
// zeroed two-word record, or nothing).
#pragma once

#include <cstring>
#include <exception>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "LumCore/c/ErrorRecord.h"

namespace Marlowen::Lum::Internal {

// The most characters of text a record carries; one byte stays for the NUL.
inline constexpr std::size_t kErrorMessageLimit = LUM_ERROR_MESSAGE_CAPACITY - 1;

// Writes a failure into a record whose message has just been cleared.
inline void recordFailure(ErrorRecord* error, const char* word, const char* text) noexcept
{
    error->typeName = word;
    std::strncat(error->message, text, kErrorMessageLimit);
}

template <class Body>
auto guardedCall(ErrorRecord* error, Body&& body) noexcept -> std::invoke_result_t<Body&>
{
    using Result = std::invoke_result_t<Body&>;
    error->typeName = nullptr;
    error->message[0] = '\0';
    // In the order of the list, most derived first.
    try {
        return body();
    }
#define LUMCORE_CATCH_WORD(word, Class)          \
    catch (const Class& e)                       \
    {                                            \
        recordFailure(error, #word, e.what());   \
    }
    LUMCORE_ERROR_WORDS(LUMCORE_CATCH_WORD)
#undef LUMCORE_CATCH_WORD
    catch (...) {
        recordFailure(error, "exception", "unknown exception");
    }
    if constexpr (!std::is_void_v<Result>) {
        return Result{};
    }
}

}  // namespace Marlowen::Lum::Internal
