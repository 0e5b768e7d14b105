// A test-only flat function that raises on demand, so that every clause of
// the guard and every word of the client's check can be driven from a test.
// Built as a module of its own; it is never installed.
#include <new>
#include <stdexcept>
#include <string>
#include <typeinfo>

#include "LumCore/c/ErrorRecord.h"
#include "LumCore/c/Export.h"
#include "boundary/GuardedCall.hpp"

extern "C" {

// Overflow derives from runtime_error, logic from none of the specific
// logic errors, and the foreign value from no standard exception.
enum LumTestRaise {
    LumTestRaiseNothing = 0,
    LumTestRaiseBadAlloc,
    LumTestRaiseBadArrayNewLength,
    LumTestRaiseOutOfRange,
    LumTestRaiseInvalidArgument,
    LumTestRaiseLengthError,
    LumTestRaiseRuntimeError,
    LumTestRaiseOverflowError,
    LumTestRaiseLogicError,
    LumTestRaiseBadCast,
    LumTestRaiseForeignValue,
};

LUM_API int LumTest_C_API_raise(ErrorRecord* error, int what, const char* text)
{
    return Marlowen::Lum::Internal::guardedCall(error, [&]() -> int {
        switch (what) {
            case LumTestRaiseBadAlloc: throw std::bad_alloc();
            case LumTestRaiseBadArrayNewLength: throw std::bad_array_new_length();
            case LumTestRaiseOutOfRange: throw std::out_of_range(text);
            case LumTestRaiseInvalidArgument: throw std::invalid_argument(text);
            case LumTestRaiseLengthError: throw std::length_error(text);
            case LumTestRaiseRuntimeError: throw std::runtime_error(text);
            case LumTestRaiseOverflowError: throw std::overflow_error(text);
            case LumTestRaiseLogicError: throw std::logic_error(text);
            case LumTestRaiseBadCast: throw std::bad_cast();
            case LumTestRaiseForeignValue: throw 42;
            default: return 7;
        }
    });
}

}  // extern "C"
