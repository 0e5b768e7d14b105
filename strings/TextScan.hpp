// The byte scans, bounded copies and case mapping under ZString's text
// operations, shared by ZString.cpp and ReplaceAll.cpp.
#pragma once

#include <cstdint>
#include <cstring>
#include <locale>
#include <stdexcept>

#include "strings/BoundedCopy.hpp"

namespace Marlowen::Lum::Internal {

inline constexpr std::uint64_t kNotFound = ~std::uint64_t{0};

[[noreturn]] inline void throwInvalidViewPosition() { throw std::out_of_range("invalid string_view position"); }

[[noreturn]] inline void throwInvalidPosition() { throw std::out_of_range("invalid string position"); }

// The builders' bounded copy (strncpy_s with a destination of n + 1 bytes),
// returning how many bytes it copied so that the recount of a built value
// needs no second scan.
inline std::uint64_t copyUpToNul(char* dest, const char* src, std::uint64_t n) noexcept
{
    if (n == 0) {
        // The source may be null here; only the terminator is written.
        dest[0] = '\0';
        return 0;
    }
    Internal::strncpy_s(dest, n + 1, src, n);
    return ::strnlen(src, n);
}

// First match of the n bytes at s in text[0, length) at or after pos. A byte
// scan for the needle's first byte, confirmed by a comparison of the rest.
inline std::uint64_t findBytes(const char* text, std::uint64_t length, const char* s, std::uint64_t n,
                               std::uint64_t pos) noexcept
{
    if (n > length || pos > length - n) {
        return kNotFound;
    }
    if (n == 0) {
        return pos;
    }
    const char* cursor = text + pos;
    const char* const lastStart = text + (length - n);
    while (cursor <= lastStart) {
        const void* hit =
            std::memchr(cursor, static_cast<unsigned char>(s[0]), static_cast<std::size_t>(lastStart - cursor) + 1);
        if (hit == nullptr) {
            return kNotFound;
        }
        cursor = static_cast<const char*>(hit);
        if (std::memcmp(cursor + 1, s + 1, n - 1) == 0) {
            return static_cast<std::uint64_t>(cursor - text);
        }
        ++cursor;
    }
    return kNotFound;
}

// Membership of the n bytes at s, built once per call so that a set search
// costs one pass over the set and one over the text.
struct ByteSet {
    bool member[256] = {};

    ByteSet(const char* s, std::uint64_t n) noexcept
    {
        for (std::uint64_t i = 0; i < n; ++i) {
            member[static_cast<unsigned char>(s[i])] = true;
        }
    }
    [[nodiscard]] bool contains(char ch) const noexcept { return member[static_cast<unsigned char>(ch)]; }
};

// Forward scan from pos for the first byte whose membership equals `wanted`.
inline std::uint64_t scanForward(const char* text, std::uint64_t length, std::uint64_t pos, const ByteSet& set,
                                 bool wanted) noexcept
{
    for (std::uint64_t i = pos; i < length; ++i) {
        if (set.contains(text[i]) == wanted) {
            return i;
        }
    }
    return kNotFound;
}

// Downward scan from min(length - 1, pos) for the first byte that `matches`;
// the caller rules out length 0.
template <class Match>
std::uint64_t scanBackward(const char* text, std::uint64_t length, std::uint64_t pos, Match matches) noexcept
{
    for (std::uint64_t i = std::min(length - 1, pos) + 1; i-- > 0;) {
        if (matches(text[i])) {
            return i;
        }
    }
    return kNotFound;
}

// The same for the first byte whose membership equals `wanted`.
inline std::uint64_t scanBackward(const char* text, std::uint64_t length, std::uint64_t pos, const ByteSet& set,
                                  bool wanted) noexcept
{
    return scanBackward(text, length, pos, [&](char ch) { return set.contains(ch) == wanted; });
}

enum class CaseMapping { Lower, Upper };

// Maps n bytes from src to dest through the global locale's ctype facet.
// The locale is taken once per call (it must not change during the call
// anyway), and the facet's range form saves a virtual call per byte. For
// long text the facet maps all 256 byte values once, and a table lookup per
// byte does the rest in the same pass as the copy.
inline void mapCase(char* dest, const char* src, std::uint64_t n, CaseMapping mapping)
{
    const std::locale global;
    const auto& ctype = std::use_facet<std::ctype<char>>(global);
    const auto mapRange = [&](char* first, char* last) {
        if (mapping == CaseMapping::Lower) {
            ctype.tolower(first, last);
        } else {
            ctype.toupper(first, last);
        }
    };
    constexpr std::uint64_t kTableSize = 256;
    if (n < kTableSize) {
        if (n != 0) {
            std::memcpy(dest, src, static_cast<std::size_t>(n));
        }
        mapRange(dest, dest + n);
        return;
    }
    char table[kTableSize];
    for (std::uint64_t i = 0; i < kTableSize; ++i) {
        table[i] = static_cast<char>(i);
    }
    mapRange(table, table + kTableSize);
    for (std::uint64_t i = 0; i < n; ++i) {
        dest[i] = table[static_cast<unsigned char>(src[i])];
    }
}

}  // namespace Marlowen::Lum::Internal
