// Internal: compiled into callers through the public headers; carries no promise of stability.
// dispatchElementType: the one run-time dispatch from a WellKnownType to its
// element class.
//
// Every operation that takes a type code at run time goes through here, so
// the cases (one per entry of the element type list) and the words thrown
// for codes that name no element class are written once:
//
//     dispatchElementType(type, [&](auto tag) {
//         using T = typename decltype(tag)::type;
//         ...
//     });
#pragma once

#include <complex>
#include <cstdint>
#include <stdexcept>

#include "LumCore/Complex.hpp"
#include "LumCore/Duration.hpp"
#include "LumCore/TimePoint.hpp"
#include "LumCore/WellKnownType.hpp"
#include "LumCore/ZString.hpp"

namespace Marlowen::Lum::Internal {

template <class T>
struct TypeTag {
    using type = T;
};

[[noreturn]] inline void throwNotNumericType() { throw std::runtime_error("not a numeric type"); }

[[noreturn]] inline void throwUnknownType() { throw std::runtime_error("unknown type"); }

// Calls visit(TypeTag<T>{}) for the element class of `type`. A code with
// numeric bits that names no class throws "not a numeric type"; any other
// code off the list, unknown and customType among them, "unknown type".
template <class Visitor>
decltype(auto) dispatchElementType(WellKnownType type, Visitor&& visit)
{
    // clang-format off
    switch (type.value()) {
#define LUMCORE_DISPATCH_CASE(word, enumerator, code, Class) \
    case WellKnownTypeValue::enumerator: return visit(TypeTag<Class>{});
    LUMCORE_ELEMENT_TYPES(LUMCORE_DISPATCH_CASE)
#undef LUMCORE_DISPATCH_CASE
    default: break;
    }
    // clang-format on
    if (type.isNumeric()) {
        throwNotNumericType();
    }
    throwUnknownType();
}

}  // namespace Marlowen::Lum::Internal
