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

#include "LumCore/ErrorRecord.h"

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
    // Most specific first: the first four classes derive from the later ones.
    try {
        return body();
    } catch (const std::bad_alloc& e) {
        recordFailure(error, "bad_alloc", e.what());
    } catch (const std::out_of_range& e) {
        recordFailure(error, "out_of_range", e.what());
    } catch (const std::invalid_argument& e) {
        recordFailure(error, "invalid_argument", e.what());
    } catch (const std::length_error& e) {
        recordFailure(error, "length_error", e.what());
    } catch (const std::runtime_error& e) {
        recordFailure(error, "runtime_error", e.what());
    } catch (const std::exception& e) {
        recordFailure(error, "exception", e.what());
    } catch (...) {
        recordFailure(error, "exception", "unknown exception");
    }
    if constexpr (!std::is_void_v<Result>) {
        return Result{};
    }
}

}  // namespace Marlowen::Lum::Internal
