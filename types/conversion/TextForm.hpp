// Text forms of real elements, for conversions in CastOrParse mode.
//
// Number to text builds one string stream per element, with the precision of
// digits the class is guaranteed to hold, and the global locale of the
// moment. 8-bit integers are written as the one character of that byte.
// A float or double whose text has neither "." nor "e" gets ".0", so that
// it reads as floating: 3.0 gives "3.0", infinity "inf.0".
//
// Text to number reads with strtod and then applies the element cast from
// double, so every integer target truncates and wraps as that cast does:
// "300" to uint8 gives 44. Text to bool never fails.
#pragma once

#include <cstdint>

#include "LumCore/ZString.hpp"
#include "types/conversion/ElementCast.hpp"

namespace Marlowen::Lum::Internal {

[[nodiscard]] ZString elementText(bool value);
[[nodiscard]] ZString elementText(std::int8_t value);
[[nodiscard]] ZString elementText(std::int16_t value);
[[nodiscard]] ZString elementText(std::int32_t value);
[[nodiscard]] ZString elementText(std::int64_t value);
[[nodiscard]] ZString elementText(std::uint8_t value);
[[nodiscard]] ZString elementText(std::uint16_t value);
[[nodiscard]] ZString elementText(std::uint32_t value);
[[nodiscard]] ZString elementText(std::uint64_t value);
[[nodiscard]] ZString elementText(float value);
[[nodiscard]] ZString elementText(double value);

// strtod over the terminated text. `value` is what strtod returned; the
// result says whether it consumed anything. Trailing text is ignored.
[[nodiscard]] bool parseNumberText(const ZString& text, double& value) noexcept;

// Exactly "true" is true; otherwise any number other than zero, NaN
// included. Everything else is false.
[[nodiscard]] bool boolFromText(const ZString& text) noexcept;

// One element from text: false when the text holds no number (never for
// bool). The element is written either way.
template <class To>
[[nodiscard]] inline bool parseElementText(const ZString& text, To& element) noexcept
{
    static_assert(isRealElement<To>);
    if constexpr (std::is_same_v<To, bool>) {
        element = boolFromText(text);
        return true;
    } else {
        double value = 0.0;
        const bool consumed = parseNumberText(text, value);
        element = castReal<To>(value);
        return consumed;
    }
}

}  // namespace Marlowen::Lum::Internal
