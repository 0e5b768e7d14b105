#include "types/conversion/TextForm.hpp"

#include <cstdlib>
#include <cstring>
#include <ios>
#include <limits>
#include <sstream>
#include <string>
#include <type_traits>

#include "LumCore/ZStringLiteral.hpp"

namespace Marlowen::Lum::Internal {

namespace {

// Decimal digits each class is guaranteed to hold. Integers ignore it; it is
// set anyway so that every class goes through the same steps.
template <class T>
constexpr std::streamsize textPrecision() noexcept
{
    if constexpr (std::is_same_v<T, float>) {
        return 6;
    } else if constexpr (std::is_same_v<T, double>) {
        return 15;
    } else {
        return std::numeric_limits<T>::digits10;  // 2, 4, 9, 18 (19 unsigned) for 8 to 64 bits
    }
}

template <class T>
ZString numberText(T value)
{
    std::ostringstream stream;
    stream.precision(textPrecision<T>());
    // int8_t and uint8_t take the character inserter: one byte, the value.
    stream << value;
    std::string text = std::move(stream).str();
    if constexpr (std::is_floating_point_v<T>) {
        if (text.find('.') == std::string::npos && text.find('e') == std::string::npos) {
            text += ".0";
        }
    }
    return ZString(text.data(), text.size());
}

}  // namespace

ZString elementText(bool value) { return value ? ZString(ZStringLiteral("true")) : ZString(ZStringLiteral("false")); }
ZString elementText(std::int8_t value) { return numberText(value); }
ZString elementText(std::int16_t value) { return numberText(value); }
ZString elementText(std::int32_t value) { return numberText(value); }
ZString elementText(std::int64_t value) { return numberText(value); }
ZString elementText(std::uint8_t value) { return numberText(value); }
ZString elementText(std::uint16_t value) { return numberText(value); }
ZString elementText(std::uint32_t value) { return numberText(value); }
ZString elementText(std::uint64_t value) { return numberText(value); }
ZString elementText(float value) { return numberText(value); }
ZString elementText(double value) { return numberText(value); }

bool parseNumberText(const ZString& text, double& value) noexcept
{
    const char* start = text.c_str();
    char* end = nullptr;
    value = std::strtod(start, &end);
    return end != start;
}

bool boolFromText(const ZString& text) noexcept
{
    if (text == std::string_view("true", 4)) {
        return true;
    }
    double value = 0.0;
    return parseNumberText(text, value) && value != 0.0;
}

}  // namespace Marlowen::Lum::Internal
