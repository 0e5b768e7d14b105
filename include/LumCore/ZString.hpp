// ZString: LumCore's immutable, shared text value.
//
// A ZString is three words: the handle of a shared record, a text pointer and
// a length. Copying an owned value is one atomic increment; every read works
// on the value's own pointer and length and never calls into the library.
// Records are made and freed only through the flat string functions, so a
// ZString can be handed between modules built with different runtimes.
//
//     using namespace Marlowen::Lum;
//     ZString name("Temperature", 11);        // one record
//     ZString shared = name;                  // a share: same c_str()
//     ZString lower = name.toLower();         // a new record, "temperature"
//     auto pos = name.find("per", 0, 3);      // 3
//     ZString empty;                          // no record, no allocation
//     ZString constant(ZStringLiteral("K"));  // no record, no allocation
//
// Operations that derive text return a new value; nothing changes a record in
// place. Positions and counts are unsigned 64-bit byte offsets.
#pragma once

#include <cstdint>
#include <cstring>
#include <iterator>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>

#include "LumCore/CaseSensitivity.hpp"
#include "LumCore/c/Export.h"
#include "LumCore/c/LumCoreFlat.h"
#include "LumCore/ZStringLiteral.hpp"
#include "LumCore/internal/FlatHandle.hpp"
#include "LumCore/internal/ThrowIfFailed.hpp"

namespace Marlowen::Lum {

namespace Internal {

struct ZStringCaseMapping;

// The owner of one reference to a shared string record, or of nothing. Each
// operation that has a record to work on makes exactly one flat call.
class LUM_API ZStringDataSharable {
public:
    ZStringDataSharable() noexcept = default;

    // A new record holding `size` bytes from `chars`.
    ZStringDataSharable(const char* chars, std::uint64_t size)
    {
        m_handle.adopt(
            checkedFlatCall([&](ErrorRecord* e) { return ZStringData_C_API_constructCString(e, chars, size); }));
    }

    // Replaces the record by a fresh writable one of `size` bytes and returns
    // its text; the caller writes `size` bytes and the NUL behind them.
    char* replaceWithWritable(std::uint64_t size)
    {
        const StringBufferResult result =
            checkedFlatCall([&](ErrorRecord* e) { return ZStringData_C_API_constructCStringWithSize(e, size); });
        m_handle.adopt(result.handle);
        return result.data;
    }

    [[nodiscard]] std::uint64_t recordLength() const
    {
        return checkedFlatCall([&](ErrorRecord* e) { return ZStringData_C_API_getLength(e, m_handle.get()); });
    }

    [[nodiscard]] const char* recordText() const
    {
        return checkedFlatCall(
            [&](ErrorRecord* e) { return ZStringData_C_API_getConstDataPointer(e, m_handle.get()); });
    }

    [[nodiscard]] bool ownsRecord() const noexcept { return m_handle.get() != nullptr; }

private:
    FlatHandle<ZStringData, ZStringData_C_API_copy, ZStringData_C_API_destruct> m_handle;
};

}  // namespace Internal

template <class Data>
class LUM_API ZStringGeneric {
public:
    using value_type = char;
    using size_type = std::uint64_t;
    using const_reference = const char&;
    using const_iterator = std::string_view::const_iterator;
    using iterator = const_iterator;
    using const_reverse_iterator = std::string_view::const_reverse_iterator;
    using reverse_iterator = const_reverse_iterator;

    static constexpr size_type npos = ~size_type{0};

    // ---- Construction -------------------------------------------------------

    ZStringGeneric() noexcept;
    ZStringGeneric(ZStringGeneric&& other) noexcept
        : m_data(static_cast<Data&&>(other.m_data)), m_text(other.m_text), m_length(other.m_length)
    {
    }
    ZStringGeneric(const ZStringGeneric& other) : m_data(other.m_data), m_text(other.m_text), m_length(other.m_length)
    {
    }
    ZStringGeneric(const ZStringGeneric& other, size_type pos, size_type count);
    ZStringGeneric(const std::string& text);
    ZStringGeneric(std::string&& text);
    ZStringGeneric(const ZStringLiteral& literal) noexcept : m_text(literal.data()), m_length(literal.size()) {}
    ZStringGeneric(const char* chars, size_type size);
    ZStringGeneric(std::string_view text);
    ZStringGeneric(size_type count, char ch);
    // NUL-terminated text.
    LUM_LOCAL ZStringGeneric(const char* text) : ZStringGeneric(text, std::strlen(text)) {}

    static ZStringGeneric from_char(char ch);

    ~ZStringGeneric() = default;

    ZStringGeneric& operator=(ZStringGeneric&& other) noexcept
    {
        m_data = static_cast<Data&&>(other.m_data);
        m_text = other.m_text;
        m_length = other.m_length;
        return *this;
    }
    ZStringGeneric& operator=(const ZStringGeneric& other)
    {
        m_data = other.m_data;
        m_text = other.m_text;
        m_length = other.m_length;
        return *this;
    }

    // ---- Access -------------------------------------------------------------

    const char& operator[](size_type i) const noexcept { return m_text[i]; }
    [[nodiscard]] const char& at(size_type i) const;
    [[nodiscard]] const char* c_str() const noexcept { return m_text; }
    [[nodiscard]] const char* data() const noexcept { return m_text; }
    [[nodiscard]] size_type length() const noexcept { return m_length; }
    [[nodiscard]] size_type size() const noexcept { return m_length; }
    [[nodiscard]] bool empty() const noexcept { return m_length == 0; }
    [[nodiscard]] const char& front() const noexcept { return m_text[0]; }
    [[nodiscard]] const char& back() const noexcept { return m_text[m_length - 1]; }

    [[nodiscard]] const_iterator begin() const noexcept { return view().begin(); }
    [[nodiscard]] const_iterator end() const noexcept { return view().end(); }
    [[nodiscard]] const_iterator cbegin() const noexcept { return view().cbegin(); }
    [[nodiscard]] const_iterator cend() const noexcept { return view().cend(); }
    [[nodiscard]] const_reverse_iterator rbegin() const noexcept { return view().rbegin(); }
    [[nodiscard]] const_reverse_iterator rend() const noexcept { return view().rend(); }
    [[nodiscard]] const_reverse_iterator crbegin() const noexcept { return view().crbegin(); }
    [[nodiscard]] const_reverse_iterator crend() const noexcept { return view().crend(); }

    operator std::string() const { return to_string(); }
    [[nodiscard]] std::string to_string() const { return std::string(m_text, m_length); }
    operator std::string_view() const noexcept { return view(); }

    // ---- Reading ------------------------------------------------------------

    size_type copy(char* dest, size_type count, size_type pos = 0) const;
    [[nodiscard]] int compare(size_type pos, size_type count, const char* s, size_type n) const;
    [[nodiscard]] size_type count_occurrences(char ch) const noexcept;
    [[nodiscard]] bool startsWith(char ch) const noexcept;
    [[nodiscard]] bool endsWith(char ch) const noexcept;

    // ---- Searching ----------------------------------------------------------

    [[nodiscard]] size_type find(char ch, size_type pos = 0) const noexcept;
    [[nodiscard]] size_type find(const char* s, size_type pos, size_type n) const noexcept;
    [[nodiscard]] size_type rfind(char ch, size_type pos = npos) const noexcept;
    [[nodiscard]] size_type rfind(const char* s, size_type pos, size_type n) const noexcept;
    [[nodiscard]] size_type find_first_of(char ch, size_type pos = 0) const noexcept;
    [[nodiscard]] size_type find_first_of(const char* s, size_type pos, size_type n) const noexcept;
    [[nodiscard]] size_type find_first_not_of(char ch, size_type pos = 0) const noexcept;
    [[nodiscard]] size_type find_first_not_of(const char* s, size_type pos, size_type n) const noexcept;
    [[nodiscard]] size_type find_last_of(char ch, size_type pos = npos) const noexcept;
    [[nodiscard]] size_type find_last_of(const char* s, size_type pos, size_type n) const noexcept;
    [[nodiscard]] size_type find_last_not_of(char ch, size_type pos = npos) const noexcept;
    [[nodiscard]] size_type find_last_not_of(const char* s, size_type pos, size_type n) const noexcept;

    // ---- Deriving -----------------------------------------------------------

    [[nodiscard]] ZStringGeneric substr(size_type pos = 0, size_type count = npos) const;
    [[nodiscard]] ZStringGeneric left(size_type n) const;
    [[nodiscard]] ZStringGeneric right(size_type n) const;
    [[nodiscard]] ZStringGeneric mid(size_type pos, size_type count = npos) const;
    [[nodiscard]] ZStringGeneric remove_prefix(size_type n) const;
    [[nodiscard]] ZStringGeneric remove_suffix(size_type n) const;
    [[nodiscard]] ZStringGeneric remove(size_type pos, size_type count = npos) const;
    [[nodiscard]] ZStringGeneric fill(size_type pos, char ch, size_type count = 1) const;
    [[nodiscard]] ZStringGeneric concat(char ch) const;
    [[nodiscard]] ZStringGeneric replaceAll(std::string_view from, std::string_view to,
                                            CaseSensitivity cs = CaseSensitivity::CaseSensitive) const;
    [[nodiscard]] ZStringGeneric strip(std::string_view set) const;
    [[nodiscard]] ZStringGeneric stripLeft(std::string_view set) const;
    [[nodiscard]] ZStringGeneric stripRight(std::string_view set) const;
    [[nodiscard]] ZStringGeneric toLower() const;
    [[nodiscard]] ZStringGeneric toUpper() const;

    // ---- Header-only conveniences (not part of the library's exports) -------

    // Whether `text` (NUL-terminated) occurs in this value; with a non-zero
    // `cs` both sides are lower-cased first.
    [[nodiscard]] LUM_LOCAL bool contains(const char* text, CaseSensitivity cs = CaseSensitivity::CaseSensitive) const
    {
        return find(ZStringGeneric(text), 0, cs) != npos;
    }
    [[nodiscard]] LUM_LOCAL size_type find(const ZStringGeneric& needle, size_type pos, CaseSensitivity cs) const
    {
        if (cs == CaseSensitivity::CaseSensitive) {
            return find(needle.data(), pos, needle.size());
        }
        const ZStringGeneric haystack = toLower();
        const ZStringGeneric lowered = ZStringGeneric(needle.c_str()).toLower();
        return haystack.find(lowered.data(), pos, lowered.size());
    }
    [[nodiscard]] LUM_LOCAL size_type find(std::string_view needle, size_type pos = 0) const noexcept
    {
        return find(needle.data(), pos, needle.size());
    }
    [[nodiscard]] LUM_LOCAL int compare(std::string_view other) const noexcept
    {
        return compare(0, m_length, other.data(), other.size());
    }
    [[nodiscard]] LUM_LOCAL bool startsWith(std::string_view prefix) const noexcept
    {
        return view().substr(0, prefix.size()) == prefix;
    }
    [[nodiscard]] LUM_LOCAL bool endsWith(std::string_view suffix) const noexcept
    {
        return m_length >= suffix.size() && view().substr(m_length - suffix.size()) == suffix;
    }
    // Appends a view; like every builder, the result ends at its first NUL.
    [[nodiscard]] LUM_LOCAL ZStringGeneric concat(std::string_view tail) const
    {
        ZStringGeneric result;
        result.reserveAndAppend(m_text, tail.data(), m_length, tail.size());
        return result;
    }

private:
    friend struct Internal::ZStringCaseMapping;

    [[nodiscard]] std::string_view view() const noexcept { return std::string_view(m_text, m_length); }

    void reserveAndAppend(const char* first, const char* second, size_type firstLength, size_type secondLength);
    void reserveAndInsert(const char* first, const char* second, size_type firstLength, size_type pos,
                          size_type secondLength);

    Data m_data;
    const char* m_text;
    size_type m_length;
};

// The library instantiates ZString once and exports its members. Callers
// instantiate only the inline ones themselves (there is deliberately no
// extern template here: the header-only conveniences are not exported and
// must be compiled into the caller, at any optimisation level).
using ZString = ZStringGeneric<Internal::ZStringDataSharable>;

// Equality is equality of length and bytes; ordering is that of the bytes.
inline bool operator==(const ZString& a, const ZString& b) noexcept
{
    return std::string_view(a) == std::string_view(b);
}
inline bool operator!=(const ZString& a, const ZString& b) noexcept { return !(a == b); }
inline bool operator<(const ZString& a, const ZString& b) noexcept { return std::string_view(a) < std::string_view(b); }
inline bool operator==(const ZString& a, std::string_view b) noexcept { return std::string_view(a) == b; }
inline bool operator!=(const ZString& a, std::string_view b) noexcept { return !(a == b); }
// NUL-terminated text, so that `text == "abc"` is never ambiguous. A
// template, so that it matches a ZString exactly and never lends itself to
// text that would first have to be converted to one.
template <class Z, std::enable_if_t<std::is_same_v<Z, ZString>, int> = 0>
bool operator==(const Z& a, const char* b) noexcept
{
    return std::string_view(a) == std::string_view(b);
}
template <class Z, std::enable_if_t<std::is_same_v<Z, ZString>, int> = 0>
bool operator!=(const Z& a, const char* b) noexcept
{
    return !(a == b);
}
inline std::ostream& operator<<(std::ostream& out, const ZString& text) { return out << std::string_view(text); }

}  // namespace Marlowen::Lum

template <>
struct std::hash<Marlowen::Lum::ZString> {
    std::size_t operator()(const Marlowen::Lum::ZString& text) const noexcept
    {
        return std::hash<std::string_view>()(std::string_view(text));
    }
};
