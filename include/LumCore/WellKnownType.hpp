// WellKnownType: the element type of a variant, from a closed list.
//
// The 16-bit value is structured: bits 0-3 give the numeric kind (1 double,
// 2 float, 3 bool, 4..7 integers of 8..64 bits), bits 4-7 the non-numeric
// kind (1 string, 2 custom, 3 duration, 4 time point), bit 14 marks unsigned
// (bool counts as unsigned) and bit 15 complex. The values cross the flat
// interface and never change.
//
//     using namespace Marlowen::Lum;
//     WellKnownType t("Int32");                  // parsed, case-insensitively
//     t.toString();                              // "int32"
//     WellKnownType::getCommonWellKnownType(WellKnownType(WellKnownTypeValue::int8),
//                                           WellKnownType(WellKnownTypeValue::unsignedInt8));  // int16
//     WellKnownTypeOf<std::complex<float>>::value;   // complexFloat
#pragma once

#include <complex>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include "LumCore/Complex.hpp"
#include "LumCore/Duration.hpp"
#include "LumCore/c/Export.h"
#include "LumCore/TimePoint.hpp"
#include "LumCore/c/ElementTypeList.h"

namespace Marlowen::Lum {

template <class Data>
class ZStringGeneric;
namespace Internal {
class ZStringDataSharable;
}
using ZString = ZStringGeneric<Internal::ZStringDataSharable>;

namespace Internal {

enum class WellKnownTypeValue : std::uint16_t {
    unknown = 0x0000,
#define LUMCORE_TYPE_ENUMERATOR(word, enumerator, code, Class) enumerator = code,
    LUMCORE_TYPE_CODES(LUMCORE_TYPE_ENUMERATOR)
#undef LUMCORE_TYPE_ENUMERATOR
};

// The bit fields of a WellKnownTypeValue.
inline constexpr std::uint16_t kNumericKindMask = 0x000F;
inline constexpr std::uint16_t kNonNumericKindMask = 0x00F0;
inline constexpr std::uint16_t kUnsignedBit = 0x4000;
inline constexpr std::uint16_t kComplexBit = 0x8000;

}  // namespace Internal

class WellKnownType {
public:
    using Value = Internal::WellKnownTypeValue;

    constexpr WellKnownType() noexcept : m_value(Value::unknown) {}
    constexpr WellKnownType(Value value) noexcept : m_value(value) {}
    // The type that a word names ("double", "Int32", "string8", ...), or
    // unknown when the word names none.
    explicit WellKnownType(std::string_view word) : m_value(parseValueString(word)) {}

    [[nodiscard]] constexpr Value value() const noexcept { return m_value; }
    [[nodiscard]] constexpr std::uint16_t bits() const noexcept { return static_cast<std::uint16_t>(m_value); }
    [[nodiscard]] static constexpr WellKnownType fromBits(std::uint16_t bits) noexcept
    {
        return WellKnownType(static_cast<Value>(bits));
    }

    [[nodiscard]] constexpr bool isNumeric() const noexcept { return (bits() & Internal::kNumericKindMask) != 0; }
    [[nodiscard]] constexpr bool isComplex() const noexcept { return (bits() & Internal::kComplexBit) != 0; }
    [[nodiscard]] constexpr bool isUnsigned() const noexcept { return (bits() & Internal::kUnsignedBit) != 0; }

    // The word of the type; "unknown" for unknown and any value off the list.
    [[nodiscard]] LUM_API std::string_view toString() const;

    // The type both should be converted to for comparing them; unknown when
    // they have none.
    [[nodiscard]] LUM_API static WellKnownType getCommonWellKnownType(WellKnownType a, WellKnownType b);

    friend constexpr bool operator==(WellKnownType a, WellKnownType b) noexcept { return a.m_value == b.m_value; }
    friend constexpr bool operator!=(WellKnownType a, WellKnownType b) noexcept { return a.m_value != b.m_value; }

private:
    LUM_API static Value parseValueString(std::string_view word);

    Value m_value;
};

static_assert(sizeof(WellKnownType) == 2, "a WellKnownType crosses the flat interface as 16 bits");

// WellKnownTypeOf<T>::value: the type a variant reports for element class T.
// Classes off the list are carried by codecs and report customType.
template <class T>
struct WellKnownTypeOf {
    static constexpr Internal::WellKnownTypeValue value = Internal::WellKnownTypeValue::customType;
};

#define LUMCORE_WELL_KNOWN_TYPE_OF(word, enumerator, code, Class)                                       \
    template <>                                                                                         \
    struct WellKnownTypeOf<Class> {                                                                     \
        static constexpr Internal::WellKnownTypeValue value = Internal::WellKnownTypeValue::enumerator; \
    };
LUMCORE_ELEMENT_TYPES(LUMCORE_WELL_KNOWN_TYPE_OF)
#undef LUMCORE_WELL_KNOWN_TYPE_OF

namespace Internal {
// The element classes a variant can be made of and converted to.
template <class T>
inline constexpr bool kIsWellKnownElement =
    !std::is_void_v<T> && WellKnownTypeOf<T>::value != WellKnownTypeValue::customType;
}  // namespace Internal

}  // namespace Marlowen::Lum
