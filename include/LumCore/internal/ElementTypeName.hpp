// Internal: compiled into callers through the public headers; carries no promise of stability.
// Display names of element types, for messages such as
// "Cannot convert Marlowen::Lum::ZVariant of type 'double' (size: 1) to 'uint8_t'".
//
// A name reads the same whichever compiler built the caller: "int",
// "std::complex<double>", "Marlowen::Lum::Complex<__int64,void>". Most names
// come from the compiler's text of CtTypeExtractor<T>::n, rewritten into one
// spelling; the fixed-width integers and ZString, whose names differ between
// toolchains, are written out.
//
// Everything here is inline and compiled into the caller, which builds its
// messages on its own side; none of it is exported by the library.
//
//     using namespace Marlowen::Lum;
//     Internal::elementTypeName(WellKnownType(Internal::WellKnownTypeValue::int32));   // "int"
//     Internal::typeNameOf<Complex<std::uint64_t>>();   // "Marlowen::Lum::Complex<unsigned __int64,void>"
//     Internal::normaliseTypeName("class Marlowen::Lum::Duration>::n", 4);   // "Marlowen::Lum::Duration"
#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

#include "LumCore/Complex.hpp"
#include "LumCore/Duration.hpp"
#include "LumCore/TimePoint.hpp"
#include "LumCore/WellKnownType.hpp"
#include "LumCore/ZString.hpp"
#include "LumCore/ZStringLiteral.hpp"
#include "LumCore/internal/ElementTypeDispatch.hpp"

namespace Marlowen::Lum::Internal {

// Turns a compiler's type text into a stable name: the text less the last
// `cutFromEnd` characters, less trailing blanks (a nested template's text
// can end in "> "), without the "class " and "struct " that some compilers
// put in front of class names, and without the inline namespace "::__1" of
// a standard library where "::__1::" occurs.
inline std::string normaliseTypeName(const char* text, std::size_t cutFromEnd)
{
    const std::size_t total = std::strlen(text);
    std::size_t length = total > cutFromEnd ? total - cutFromEnd : 0;
    while (length > 0 && text[length - 1] == ' ') {
        --length;
    }
    // Done on the caller's own std::string rather than through ZString's
    // exported members, whose std::string_view parameters a module built on
    // another standard library could not link against. Removal resumes at
    // the place of the removed text, as a replacement by nothing does.
    std::string name(text, length);
    const auto removeAll = [&name](std::string_view piece) {
        for (std::size_t at = name.find(piece); at != std::string::npos; at = name.find(piece, at)) {
            name.erase(at, piece.size());
        }
    };
    removeAll("class ");
    removeAll("struct ");
    if (name.find("::__1::") != std::string::npos) {
        removeAll("::__1");
    }
    return name;
}

// ---- One spelling of builtin types for g++ and clang ----------------------

// The builtin integer words of one type, in whatever order and abbreviation
// a compiler prints them ("short unsigned int", "unsigned short", "long").
class BuiltinTypeWords {
public:
    static bool isBuiltinWord(std::string_view word) noexcept
    {
        return word == "signed" || word == "unsigned" || word == "short" || word == "long" || word == "int" ||
               word == "char" || word == "double";
    }

    void add(std::string_view word) noexcept
    {
        m_unsigned = m_unsigned || word == "unsigned";
        m_signed = m_signed || word == "signed";
        m_short = m_short || word == "short";
        m_char = m_char || word == "char";
        m_double = m_double || word == "double";
        m_longs += word == "long" ? 1 : 0;
    }

    // The spelling of the other toolchains: "short", "unsigned short",
    // "signed char", and "__int64" for every 64-bit integer.
    [[nodiscard]] std::string spelling(std::string_view asPrinted) const
    {
        if (m_double) {
            return std::string(asPrinted);  // "double" or "long double": one spelling already
        }
        if (m_char) {
            return m_signed ? "signed char" : m_unsigned ? "unsigned char" : "char";
        }
        const std::string sign = m_unsigned ? "unsigned " : "";
        if (m_short) {
            return sign + "short";
        }
        if (m_longs >= 2 || (m_longs == 1 && sizeof(long) == 8)) {
            return sign + "__int64";
        }
        if (m_longs == 1) {
            return sign + "long";
        }
        return sign + "int";
    }

private:
    bool m_unsigned = false;
    bool m_signed = false;
    bool m_short = false;
    bool m_char = false;
    bool m_double = false;
    int m_longs = 0;
};

inline bool isIdentifierCharacter(char c) noexcept
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// A g++ or clang type text in the spelling of the names table: builtin
// integers spelled one way, and no blank behind a comma.
inline std::string portableTypeSpelling(std::string_view text)
{
    std::string out;
    std::size_t i = 0;
    while (i < text.size()) {
        if (!isIdentifierCharacter(text[i])) {
            out += text[i];
            if (text[i] == ',') {
                while (i + 1 < text.size() && text[i + 1] == ' ') {
                    ++i;
                }
            }
            ++i;
            continue;
        }
        // The longest run of builtin words from here, blanks between them.
        BuiltinTypeWords words;
        bool anyWord = false;
        std::size_t runEnd = i;
        std::size_t next = i;
        for (;;) {
            std::size_t wordEnd = next;
            while (wordEnd < text.size() && isIdentifierCharacter(text[wordEnd])) {
                ++wordEnd;
            }
            const std::string_view word = text.substr(next, wordEnd - next);
            if (!BuiltinTypeWords::isBuiltinWord(word)) {
                break;
            }
            words.add(word);
            anyWord = true;
            runEnd = wordEnd;
            if (wordEnd + 1 < text.size() && text[wordEnd] == ' ' && isIdentifierCharacter(text[wordEnd + 1])) {
                next = wordEnd + 1;
            } else {
                break;
            }
        }
        if (anyWord) {
            out += words.spelling(text.substr(i, runEnd - i));
            i = runEnd;
        } else {
            while (i < text.size() && isIdentifierCharacter(text[i])) {
                out += text[i++];
            }
        }
    }
    return out;
}

// Template arguments that g++ and clang may leave out of a type's text
// because they are the defaults (g++ prints them only once the class has been
// completed somewhere), as the names table shows them.
template <class T>
struct DefaultedTemplateArguments {
    static constexpr std::string_view text{};
};
template <class Part>
struct DefaultedTemplateArguments<Complex<Part, void>> {
    static constexpr std::string_view text = ",void";
};

// Whether a type text ends in a template argument list of one argument.
inline bool hasSingleOuterArgument(std::string_view type) noexcept
{
    if (type.empty() || type.back() != '>') {
        return false;
    }
    int depth = 0;
    for (std::size_t i = type.size(); i-- > 0;) {
        const char c = type[i];
        if (c == '>') {
            ++depth;
        } else if (c == '<' && --depth == 0) {
            return true;
        } else if (c == ',' && depth == 1) {
            return false;
        }
    }
    return false;
}

inline constexpr std::string_view kExtractorPrefix = "Marlowen::Lum::Internal::CtTypeExtractor<";
inline constexpr std::string_view kExtractorSuffix = ">::n";

// The extractor's signature from a __PRETTY_FUNCTION__ text, which ends in
// "[with T = <type>]" on g++ and "[T = <type>]" on clang.
inline std::string extractorSignature(std::string_view prettyFunction, std::string_view defaultedArguments)
{
    constexpr std::string_view marker = "T = ";
    const std::size_t bracket = prettyFunction.find("::n() [");
    const std::size_t begin = prettyFunction.find(marker, bracket == std::string_view::npos ? 0 : bracket);
    std::string type;
    if (begin != std::string_view::npos && prettyFunction.size() > begin + marker.size()) {
        const std::size_t first = begin + marker.size();
        type = portableTypeSpelling(prettyFunction.substr(first, prettyFunction.size() - 1 - first));
    }
    if (!defaultedArguments.empty() && hasSingleOuterArgument(type)) {
        type.insert(type.size() - 1, defaultedArguments);
    }
    std::string signature(kExtractorPrefix);
    signature += type;
    signature += kExtractorSuffix;
    return signature;
}

// n() gives the text "Marlowen::Lum::Internal::CtTypeExtractor<" type ">::n",
// made by the compiler, with the type spelled alike by every toolchain.
template <class T>
struct CtTypeExtractor {
    static const char* n()
    {
#if defined(_MSC_VER) && !defined(__clang__)
        return __FUNCTION__;
#else
        static const std::string signature =
            extractorSignature(__PRETTY_FUNCTION__, DefaultedTemplateArguments<T>::text);
        return signature.c_str();
#endif
    }
};

// ---- Names ------------------------------------------------------------------

// Types whose name is written out: the fixed-width integers are typedefs of
// different builtins on different toolchains, and ZString is a typedef of a
// template. Headers of further such classes add their own specialisation.
template <class T>
struct FixedTypeName {
    static constexpr std::string_view text{};
};
#define LUMCORE_FIXED_TYPE_NAME(Type, Name)            \
    template <>                                        \
    struct FixedTypeName<Type> {                       \
        static constexpr std::string_view text = Name; \
    }
LUMCORE_FIXED_TYPE_NAME(std::int8_t, "int8_t");
LUMCORE_FIXED_TYPE_NAME(std::uint8_t, "uint8_t");
LUMCORE_FIXED_TYPE_NAME(std::int16_t, "int16_t");
LUMCORE_FIXED_TYPE_NAME(std::uint16_t, "uint16_t");
LUMCORE_FIXED_TYPE_NAME(std::int64_t, "int64_t");
LUMCORE_FIXED_TYPE_NAME(std::uint64_t, "uint64_t");
LUMCORE_FIXED_TYPE_NAME(ZString, "Marlowen::Lum::ZString");

// The display name of class T.
template <class T>
ZString typeNameOf()
{
    if constexpr (!FixedTypeName<T>::text.empty()) {
        return ZString(ZStringLiteral(FixedTypeName<T>::text.data(), FixedTypeName<T>::text.size()));
    } else {
        const char* signature = CtTypeExtractor<T>::n();
        constexpr std::string_view opening = "CtTypeExtractor<";
        const char* name = std::strstr(signature, opening.data());
        name = name == nullptr ? signature : name + opening.size();
        const std::string normalised = normaliseTypeName(name, kExtractorSuffix.size());
        return ZString(normalised.data(), normalised.size());
    }
}

// The display name of the element class of `type`. Throws
// std::runtime_error, "not a numeric type" for a numeric kind that is none
// of the element types, and "unknown type" for unknown, customType and
// everything else off the list.
inline ZString elementTypeName(WellKnownType type)
{
    return dispatchElementType(type, [](auto tag) { return typeNameOf<typename decltype(tag)::type>(); });
}

}  // namespace Marlowen::Lum::Internal
