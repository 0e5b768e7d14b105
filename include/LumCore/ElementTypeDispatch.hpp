// dispatchElementType: the one run-time dispatch from a WellKnownType to its
// element class.
//
// Every operation that takes a type code at run time goes through here, so
// the order of comparisons, and the words thrown for codes that name no
// element class, are written once:
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

[[noreturn]] inline void throwNotNumericType()
{
    throw std::runtime_error("not a numeric type");
}

[[noreturn]] inline void throwUnknownType()
{
    throw std::runtime_error("unknown type");
}

// The numeric codes other than the two boolean ones, in the order they are
// tried.
template <class Visitor>
decltype(auto) dispatchNumericElementType(WellKnownType type, Visitor&& visit)
{
    using V = WellKnownTypeValue;
    switch (type.value()) {
    case V::double_: return visit(TypeTag<double>{});
    case V::float_: return visit(TypeTag<float>{});
    case V::int32: return visit(TypeTag<std::int32_t>{});
    case V::int64: return visit(TypeTag<std::int64_t>{});
    case V::unsignedInt32: return visit(TypeTag<std::uint32_t>{});
    case V::unsignedInt64: return visit(TypeTag<std::uint64_t>{});
    case V::unsignedInt8: return visit(TypeTag<std::uint8_t>{});
    case V::unsignedInt16: return visit(TypeTag<std::uint16_t>{});
    case V::int8: return visit(TypeTag<std::int8_t>{});
    case V::int16: return visit(TypeTag<std::int16_t>{});
    case V::complexDouble: return visit(TypeTag<std::complex<double>>{});
    case V::complexFloat: return visit(TypeTag<std::complex<float>>{});
    case V::complexInt32: return visit(TypeTag<Complex<std::int32_t>>{});
    case V::complexInt64: return visit(TypeTag<Complex<std::int64_t>>{});
    case V::complexUnsignedInt32: return visit(TypeTag<Complex<std::uint32_t>>{});
    case V::complexUnsignedInt64: return visit(TypeTag<Complex<std::uint64_t>>{});
    case V::complexInt8: return visit(TypeTag<Complex<std::int8_t>>{});
    case V::complexInt16: return visit(TypeTag<Complex<std::int16_t>>{});
    case V::complexUnsignedInt8: return visit(TypeTag<Complex<std::uint8_t>>{});
    case V::complexUnsignedInt16: return visit(TypeTag<Complex<std::uint16_t>>{});
    default: throwNotNumericType();
    }
}

// Calls visit(TypeTag<T>{}) for the element class of `type`. A code with
// numeric bits that names no class throws "not a numeric type"; any other
// code off the list, unknown and customType among them, "unknown type".
template <class Visitor>
decltype(auto) dispatchElementType(WellKnownType type, Visitor&& visit)
{
    using V = WellKnownTypeValue;
    if (type.value() == V::bool_) {
        return visit(TypeTag<bool>{});
    }
    if (type.value() == V::complexBool) {
        return visit(TypeTag<Complex<bool>>{});
    }
    if (type.isNumeric()) {
        return dispatchNumericElementType(type, visit);
    }
    switch (type.value()) {
    case V::string: return visit(TypeTag<ZString>{});
    case V::duration: return visit(TypeTag<Duration>{});
    case V::timePoint: return visit(TypeTag<TimePoint>{});
    default: throwUnknownType();
    }
}

}  // namespace Marlowen::Lum::Internal
