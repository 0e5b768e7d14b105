// The one-line text of a variant, shared by every writer of this folder, for
// both value forms.
#pragma once

#include <complex>
#include <cstdint>
#include <ostream>
#include <type_traits>

#include "LumCore/Duration.hpp"
#include "LumCore/TimePoint.hpp"
#include "LumCore/WellKnownType.hpp"
#include "LumCore/ZString.hpp"
#include "LumCore/ZVariant.hpp"
#include "LumCore/internal/ElementTypeDispatch.hpp"

namespace Marlowen::Lum::Internal {

// The class that elements of class T are converted to for writing: text as
// text, both times as TimePoint, bool as bool, real numbers as double,
// integers as 64 bits of their signedness, every complex class as
// std::complex<double>.
template <class T>
auto textRowTag()
{
    if constexpr (std::is_same_v<T, ZString> || std::is_same_v<T, bool>) {
        return TypeTag<T>{};
    } else if constexpr (std::is_same_v<T, Duration> || std::is_same_v<T, TimePoint>) {
        return TypeTag<TimePoint>{};
    } else if constexpr (std::is_floating_point_v<T>) {
        return TypeTag<double>{};
    } else if constexpr (std::is_integral_v<T>) {
        return TypeTag<std::conditional_t<std::is_signed_v<T>, std::int64_t, std::uint64_t>>{};
    } else {
        return TypeTag<std::complex<double>>{};
    }
}
template <class T>
using TextRow = typename decltype(textRowTag<T>())::type;

inline void writeElement(std::ostream& out, const ZString& text)
{
    out << '\'';
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    out << '\'';
}
inline void writeElement(std::ostream& out, const TimePoint& time)
{
    out << "(s:" << time.s << ", f:" << time.f << ')';
}
template <class T>
void writeElement(std::ostream& out, const T& value)
{
    out << value;
}

// Elements in storage order, converted to their row's class once, with ", "
// between them; brackets unless there is exactly one. Custom data has no
// text of its own.
template <class Storage>
void writeVariantText(const ZVariantGeneric<Storage>& value, std::ostream& out)
{
    using Value = ZVariantGeneric<Storage>;
    const WellKnownType type = value.wellKnownDataType();
    const ArrayDimensionsView dimensions = value.dimensions();
    if (Value::isEmpty(dimensions)) {
        out << (value.isNull() ? "null" : "[]");
        return;
    }
    const bool single = Value::isSingleElement(dimensions);
    if (!single) {
        out << '[';
    }
    if (type == WellKnownType(WellKnownTypeValue::customType)) {
        out << "ZVariant with custom type data";
    } else {
        dispatchElementType(type, [&](auto tag) {
            using Row = TextRow<typename decltype(tag)::type>;
            const auto elements = value.template iterable<Row>(ConversionMode::Cast);
            if constexpr (std::is_same_v<Row, bool>) {
                out << std::boolalpha;  // left set on the caller's stream
            }
            const char* separator = "";
            for (const Row& element : elements) {
                out << separator;
                separator = ", ";
                writeElement(out, element);
            }
        });
    }
    if (!single) {
        out << ']';
    }
}

}  // namespace Marlowen::Lum::Internal
