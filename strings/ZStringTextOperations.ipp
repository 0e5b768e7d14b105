// ZString: text operations (included by ZString.cpp only).
//
// Reads work on the value's own pointer and length. Every builder copies with
// the bounded, NUL-stopping copy, so a derived value ends at the first NUL of
// what it was built from, while its record keeps the size it was made with.
#include <algorithm>
#include <cstring>
#include <locale>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "LumCore/ZString.hpp"
#include "strings/BoundedCopy.hpp"

namespace Marlowen::Lum {

namespace Internal {
namespace {

constexpr std::uint64_t kNotFound = ~std::uint64_t{0};

[[noreturn]] void throwInvalidViewPosition()
{
    throw std::out_of_range("invalid string_view position");
}

[[noreturn]] void throwInvalidPosition()
{
    throw std::out_of_range("invalid string position");
}

// The builders' bounded copy (strncpy_s with a destination of n + 1 bytes),
// returning how many bytes it copied so that the recount of a built value
// needs no second scan.
std::uint64_t copyUpToNul(char* dest, const char* src, std::uint64_t n) noexcept
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
std::uint64_t findBytes(const char* text, std::uint64_t length, const char* s, std::uint64_t n,
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
        const void* hit = std::memchr(cursor, static_cast<unsigned char>(s[0]),
                                      static_cast<std::size_t>(lastStart - cursor) + 1);
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
std::uint64_t scanForward(const char* text, std::uint64_t length, std::uint64_t pos, const ByteSet& set,
                          bool wanted) noexcept
{
    for (std::uint64_t i = pos; i < length; ++i) {
        if (set.contains(text[i]) == wanted) {
            return i;
        }
    }
    return kNotFound;
}

// Downward scan from min(length - 1, pos); the caller rules out length 0.
std::uint64_t scanBackward(const char* text, std::uint64_t length, std::uint64_t pos, const ByteSet& set,
                           bool wanted) noexcept
{
    for (std::uint64_t i = std::min(length - 1, pos) + 1; i-- > 0;) {
        if (set.contains(text[i]) == wanted) {
            return i;
        }
    }
    return kNotFound;
}

enum class CaseMapping { Lower, Upper };

// Maps n bytes from src to dest through the global locale's ctype facet.
// The locale is taken once per call (it must not change during the call
// anyway), and the facet's range form saves a virtual call per byte. For
// long text the facet maps all 256 byte values once, and a table lookup per
// byte does the rest in the same pass as the copy.
void mapCase(char* dest, const char* src, std::uint64_t n, CaseMapping mapping)
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

}  // namespace
}  // namespace Internal

// ---- Builders ------------------------------------------------------------------

template <class Data>
void ZStringGeneric<Data>::reserveAndAppend(const char* first, const char* second, size_type firstLength,
                                            size_type secondLength)
{
    const size_type total = firstLength + secondLength;
    char* text = m_data.replaceWithWritable(total);
    const size_type copiedFirst = Internal::copyUpToNul(text, first, firstLength);
    const size_type copiedSecond = Internal::copyUpToNul(text + firstLength, second, secondLength);
    text[total] = '\0';
    m_text = text;
    // The recount: text ends at the first NUL, which is where the first copy
    // stopped if it stopped early.
    m_length = copiedFirst < firstLength ? copiedFirst : firstLength + copiedSecond;
}

template <class Data>
void ZStringGeneric<Data>::reserveAndInsert(const char* first, const char* second, size_type firstLength, size_type pos,
                                            size_type secondLength)
{
    const size_type total = firstLength + secondLength;
    // The bound moves with secondLength and wraps for an empty result; the
    // check precedes any allocation.
    if (pos > total - 1) {
        Internal::throwInvalidPosition();
    }
    // A position past the end of `first` that passes the check is outside
    // the contract; inserting at the end keeps it inside the record.
    const size_type at = std::min(pos, firstLength);
    char* text = m_data.replaceWithWritable(total);
    const size_type copiedHead = Internal::copyUpToNul(text, first, at);
    const size_type copiedMiddle = Internal::copyUpToNul(text + at, second, secondLength);
    const size_type copiedTail = Internal::copyUpToNul(text + at + secondLength, first + at, firstLength - at);
    text[total] = '\0';
    m_text = text;
    if (copiedHead < at) {
        m_length = copiedHead;
    } else if (copiedMiddle < secondLength) {
        m_length = at + copiedMiddle;
    } else {
        m_length = at + secondLength + copiedTail;
    }
}

// ---- Reading -------------------------------------------------------------------

template <class Data>
const char& ZStringGeneric<Data>::at(size_type i) const
{
    if (i >= m_length) {
        Internal::throwInvalidViewPosition();
    }
    return m_text[i];
}

template <class Data>
typename ZStringGeneric<Data>::size_type ZStringGeneric<Data>::copy(char* dest, size_type count, size_type pos) const
{
    if (pos > m_length) {
        Internal::throwInvalidViewPosition();
    }
    const size_type n = std::min(count, m_length - pos);
    if (n != 0) {
        std::memcpy(dest, m_text + pos, n);
    }
    return n;
}

template <class Data>
int ZStringGeneric<Data>::compare(size_type pos, size_type count, const char* s, size_type n) const
{
    if (pos > m_length) {
        Internal::throwInvalidViewPosition();
    }
    const size_type rangeLength = std::min(m_length - pos, count);
    const size_type common = std::min(rangeLength, n);
    if (common != 0) {
        // The byte comparison's own result, not normalised to -1 or 1.
        if (const int order = std::memcmp(m_text + pos, s, common); order != 0) {
            return order;
        }
    }
    return rangeLength < n ? -1 : (rangeLength > n ? 1 : 0);
}

template <class Data>
typename ZStringGeneric<Data>::size_type ZStringGeneric<Data>::count_occurrences(char ch) const noexcept
{
    size_type count = 0;
    for (size_type i = 0; i < m_length; ++i) {
        count += m_text[i] == ch ? 1 : 0;
    }
    return count;
}

template <class Data>
bool ZStringGeneric<Data>::startsWith(char ch) const noexcept
{
    return m_length != 0 && m_text[0] == ch;
}

template <class Data>
bool ZStringGeneric<Data>::endsWith(char ch) const noexcept
{
    return m_length != 0 && m_text[m_length - 1] == ch;
}

// ---- Searching -----------------------------------------------------------------

template <class Data>
typename ZStringGeneric<Data>::size_type ZStringGeneric<Data>::find(char ch, size_type pos) const noexcept
{
    if (pos >= m_length) {
        return npos;
    }
    const void* hit = std::memchr(m_text + pos, static_cast<unsigned char>(ch), m_length - pos);
    return hit == nullptr ? npos : static_cast<size_type>(static_cast<const char*>(hit) - m_text);
}

template <class Data>
typename ZStringGeneric<Data>::size_type ZStringGeneric<Data>::find(const char* s, size_type pos,
                                                                     size_type n) const noexcept
{
    return Internal::findBytes(m_text, m_length, s, n, pos);
}

template <class Data>
typename ZStringGeneric<Data>::size_type ZStringGeneric<Data>::rfind(char ch, size_type pos) const noexcept
{
    if (m_length == 0) {
        return npos;
    }
    for (size_type i = std::min(m_length - 1, pos) + 1; i-- > 0;) {
        if (m_text[i] == ch) {
            return i;
        }
    }
    return npos;
}

template <class Data>
typename ZStringGeneric<Data>::size_type ZStringGeneric<Data>::rfind(const char* s, size_type pos,
                                                                      size_type n) const noexcept
{
    if (n == 0) {
        return std::min(m_length, pos);
    }
    if (n > m_length) {
        return npos;
    }
    for (size_type i = std::min(m_length - n, pos) + 1; i-- > 0;) {
        if (m_text[i] == s[0] && std::memcmp(m_text + i + 1, s + 1, n - 1) == 0) {
            return i;
        }
    }
    return npos;
}

template <class Data>
typename ZStringGeneric<Data>::size_type ZStringGeneric<Data>::find_first_of(char ch, size_type pos) const noexcept
{
    return find(ch, pos);
}

template <class Data>
typename ZStringGeneric<Data>::size_type ZStringGeneric<Data>::find_first_of(const char* s, size_type pos,
                                                                              size_type n) const noexcept
{
    if (n == 0 || pos >= m_length) {
        return npos;
    }
    return Internal::scanForward(m_text, m_length, pos, Internal::ByteSet(s, n), true);
}

template <class Data>
typename ZStringGeneric<Data>::size_type ZStringGeneric<Data>::find_first_not_of(char ch,
                                                                                  size_type pos) const noexcept
{
    for (size_type i = pos; i < m_length; ++i) {
        if (m_text[i] != ch) {
            return i;
        }
    }
    return npos;
}

template <class Data>
typename ZStringGeneric<Data>::size_type ZStringGeneric<Data>::find_first_not_of(const char* s, size_type pos,
                                                                                  size_type n) const noexcept
{
    if (pos >= m_length) {
        return npos;
    }
    return Internal::scanForward(m_text, m_length, pos, Internal::ByteSet(s, n), false);
}

template <class Data>
typename ZStringGeneric<Data>::size_type ZStringGeneric<Data>::find_last_of(char ch, size_type pos) const noexcept
{
    return rfind(ch, pos);
}

template <class Data>
typename ZStringGeneric<Data>::size_type ZStringGeneric<Data>::find_last_of(const char* s, size_type pos,
                                                                             size_type n) const noexcept
{
    if (n == 0 || m_length == 0) {
        return npos;
    }
    return Internal::scanBackward(m_text, m_length, pos, Internal::ByteSet(s, n), true);
}

template <class Data>
typename ZStringGeneric<Data>::size_type ZStringGeneric<Data>::find_last_not_of(char ch,
                                                                                 size_type pos) const noexcept
{
    if (m_length == 0) {
        return npos;
    }
    for (size_type i = std::min(m_length - 1, pos) + 1; i-- > 0;) {
        if (m_text[i] != ch) {
            return i;
        }
    }
    return npos;
}

template <class Data>
typename ZStringGeneric<Data>::size_type ZStringGeneric<Data>::find_last_not_of(const char* s, size_type pos,
                                                                                 size_type n) const noexcept
{
    if (m_length == 0) {
        return npos;
    }
    return Internal::scanBackward(m_text, m_length, pos, Internal::ByteSet(s, n), false);
}

// ---- Deriving ------------------------------------------------------------------

template <class Data>
ZStringGeneric<Data> ZStringGeneric<Data>::substr(size_type pos, size_type count) const
{
    if (pos > m_length) {
        Internal::throwInvalidViewPosition();
    }
    ZStringGeneric result;
    result.reserveAndAppend(m_text + pos, nullptr, std::min(m_length - pos, count), 0);
    return result;
}

template <class Data>
ZStringGeneric<Data> ZStringGeneric<Data>::left(size_type n) const
{
    ZStringGeneric result;
    result.reserveAndAppend(m_text, nullptr, std::min(m_length, n), 0);
    return result;
}

template <class Data>
ZStringGeneric<Data> ZStringGeneric<Data>::right(size_type n) const
{
    const size_type kept = std::min(m_length, n);
    return substr(m_length - kept, kept);
}

template <class Data>
ZStringGeneric<Data> ZStringGeneric<Data>::mid(size_type pos, size_type count) const
{
    return substr(std::min(m_length, pos), count);
}

template <class Data>
ZStringGeneric<Data> ZStringGeneric<Data>::remove_prefix(size_type n) const
{
    return substr(n, m_length);
}

// Removing more than there is wraps the subtraction and removes nothing; it
// is not clamped to an empty result on purpose.
template <class Data>
ZStringGeneric<Data> ZStringGeneric<Data>::remove_suffix(size_type n) const
{
    ZStringGeneric result;
    result.reserveAndAppend(m_text, nullptr, std::min(m_length, m_length - n), 0);
    return result;
}

template <class Data>
ZStringGeneric<Data> ZStringGeneric<Data>::remove(size_type pos, size_type count) const
{
    if (pos > m_length) {
        Internal::throwInvalidPosition();
    }
    // Only a count beyond the whole length is clamped; pos + count must
    // otherwise stay within the text.
    if (count > m_length) {
        count = m_length - pos;
    }
    const size_type tail = m_length - pos - count;
    ZStringGeneric result;
    result.reserveAndAppend(m_text, m_text + (m_length - tail), pos, tail);
    return result;
}

template <class Data>
ZStringGeneric<Data> ZStringGeneric<Data>::fill(size_type pos, char ch, size_type count) const
{
    Internal::requireByteRunLength(count);
    // Short runs come from the stack; only long ones need a heap buffer.
    char shortRun[64];
    std::vector<char> longRun;
    const char* run = shortRun;
    if (count <= sizeof shortRun) {
        std::memset(shortRun, ch, static_cast<std::size_t>(count));
    } else {
        longRun.assign(static_cast<std::size_t>(count), ch);
        run = longRun.data();
    }
    ZStringGeneric result;
    result.reserveAndInsert(m_text, run, m_length, pos, count);
    return result;
}

template <class Data>
ZStringGeneric<Data> ZStringGeneric<Data>::concat(char ch) const
{
    ZStringGeneric result;
    result.reserveAndAppend(m_text, &ch, m_length, 1);
    return result;
}

template <class Data>
ZStringGeneric<Data> ZStringGeneric<Data>::stripLeft(std::string_view set) const
{
    const size_type first = find_first_not_of(set.data(), 0, set.size());
    if (first == npos) {
        return ZStringGeneric();
    }
    return ZStringGeneric(m_text + first, ::strnlen(m_text + first, m_length - first));
}

template <class Data>
ZStringGeneric<Data> ZStringGeneric<Data>::stripRight(std::string_view set) const
{
    const size_type last = find_last_not_of(set.data(), npos, set.size());
    if (last == npos) {
        return ZStringGeneric();
    }
    return ZStringGeneric(m_text, last + 1);
}

// Left then right, as stripLeft(set).stripRight(set) would give, but with
// one record instead of two: the left step ends at the first NUL behind the
// first kept byte, and the right step looks only inside that range.
template <class Data>
ZStringGeneric<Data> ZStringGeneric<Data>::strip(std::string_view set) const
{
    const size_type first = find_first_not_of(set.data(), 0, set.size());
    if (first == npos) {
        return ZStringGeneric();
    }
    const size_type leftLength = ::strnlen(m_text + first, m_length - first);
    if (leftLength == 0) {
        return ZStringGeneric();
    }
    const Internal::ByteSet members(set.data(), set.size());
    const size_type last = Internal::scanBackward(m_text + first, leftLength, npos, members, false);
    return ZStringGeneric(m_text + first, last + 1);
}

template <class Data>
ZStringGeneric<Data> ZStringGeneric<Data>::toLower() const
{
    ZStringGeneric result;
    char* text = result.m_data.replaceWithWritable(m_length);
    Internal::mapCase(text, m_text, m_length, Internal::CaseMapping::Lower);
    text[m_length] = '\0';
    result.m_text = text;
    result.m_length = std::strlen(text);
    return result;
}

template <class Data>
ZStringGeneric<Data> ZStringGeneric<Data>::toUpper() const
{
    ZStringGeneric result;
    char* text = result.m_data.replaceWithWritable(m_length);
    Internal::mapCase(text, m_text, m_length, Internal::CaseMapping::Upper);
    text[m_length] = '\0';
    result.m_text = text;
    result.m_length = std::strlen(text);
    return result;
}

// ---- replaceAll ----------------------------------------------------------------
//
// The defined behaviour is a loop that, for each match from left to right,
// rebuilds the whole text as head + replacement + tail through the NUL-stopping
// builders, and resumes the search at match + to.size() in the rebuilt text.
// The replacement is `to` read up to its NUL; with case folding, the search
// runs over lower-cased copies and the needle is `from` read up to its NUL,
// while a match still spans from.size() bytes.
//
// Rebuilding per match is quadratic. The one pass below gives the same text:
// the rebuilt text is always (built part) + (a range of the input), the search
// never looks back into the built part (it resumes to.size() - strlen(to) >= 0
// bytes into the input range), and the input range only shrinks. The input is
// lower-cased once for the folding search. Where `to` runs past its view
// (strlen(to) > to.size()), the search would resume inside the inserted text;
// that case keeps the literal loop.

namespace Internal {
namespace {

// One kept run of input bytes, optionally followed by the replacement.
struct KeptRun {
    std::uint64_t offset;
    std::uint64_t length;
    bool replacementFollows;
};

// The folding search of replaceAll over the remaining input range: the
// lowered haystack ends at its first NUL, so the window is cut there. The
// position of that NUL is kept until the range moves past it, so the scans
// for it add up to one pass.
class FoldedWindow {
public:
    explicit FoldedWindow(const char* lowered) noexcept : m_lowered(lowered) {}

    // Length of the searchable window of the range [start, end).
    std::uint64_t length(std::uint64_t start, std::uint64_t end) noexcept
    {
        if (!m_zeroKnown || m_zero < start) {
            const void* zero = std::memchr(m_lowered + start, 0, static_cast<std::size_t>(end - start));
            m_zero = zero == nullptr ? end : static_cast<std::uint64_t>(static_cast<const char*>(zero) - m_lowered);
            m_zeroKnown = true;
        }
        return std::min(m_zero, end) - start;
    }

private:
    const char* m_lowered;
    std::uint64_t m_zero = 0;
    bool m_zeroKnown = false;
};

}  // namespace
}  // namespace Internal

template <class Data>
ZStringGeneric<Data> ZStringGeneric<Data>::replaceAll(std::string_view from, std::string_view to,
                                                      CaseSensitivity cs) const
{
    if (from.empty()) {
        return *this;
    }
    const bool folding = cs != CaseSensitivity::CaseSensitive;
    const size_type fromSize = from.size();
    const size_type toSize = to.size();
    const size_type replacementLength = to.data() == nullptr ? 0 : std::strlen(to.data());

    if (replacementLength > toSize) {
        // The literal loop, for a `to` whose text runs past its view.
        const ZStringGeneric replacement(to.data(), replacementLength);
        const ZStringGeneric foldedNeedle =
            folding ? ZStringGeneric(from.data(), std::strlen(from.data())) : ZStringGeneric();
        const auto search = [&](const ZStringGeneric& text, size_type start) {
            return folding ? text.find(foldedNeedle, start, cs)
                           : Internal::findBytes(text.m_text, text.m_length, from.data(), fromSize, start);
        };
        size_type pos = search(*this, 0);
        ZStringGeneric current(*this);
        while (pos != npos) {
            const size_type cut = std::min(current.m_length, pos + fromSize);
            ZStringGeneric headAndReplacement;
            headAndReplacement.reserveAndAppend(current.m_text, replacement.m_text, std::min(current.m_length, pos),
                                                replacement.m_length);
            ZStringGeneric next;
            next.reserveAndAppend(headAndReplacement.m_text, current.m_text + cut, headAndReplacement.m_length,
                                  current.m_length - cut);
            current = static_cast<ZStringGeneric&&>(next);
            pos = search(current, pos + toSize);
        }
        return current;
    }

    // The folding search compares lowered text with the lowered needle.
    std::unique_ptr<char[]> lowered;
    ZStringGeneric loweredNeedle;
    bool replacementEndsFoldedText = false;
    if (folding) {
        lowered.reset(new char[m_length + 1]);
        Internal::mapCase(lowered.get(), m_text, m_length, Internal::CaseMapping::Lower);
        loweredNeedle = ZStringGeneric(from.data(), std::strlen(from.data())).toLower();
        // A replacement whose lowered form holds a NUL ends every later
        // lowered text there, so nothing behind it can match.
        const ZStringGeneric loweredReplacement = ZStringGeneric(to.data(), replacementLength).toLower();
        replacementEndsFoldedText = loweredReplacement.m_length < replacementLength;
    }
    Internal::FoldedWindow window(lowered.get());

    // The remaining input range is [start, end); a search looks at it from
    // start + skip on.
    size_type start = 0;
    size_type end = m_length;
    const auto search = [&](size_type skip) -> size_type {
        if (!folding) {
            return Internal::findBytes(m_text + start, end - start, from.data(), fromSize, skip);
        }
        return Internal::findBytes(lowered.get() + start, window.length(start, end), loweredNeedle.m_text,
                                   loweredNeedle.m_length, skip);
    };

    size_type match = search(0);
    if (match == npos) {
        return *this;
    }

    std::vector<Internal::KeptRun> runs;
    size_type total = 0;
    bool firstRound = true;
    while (match != npos) {
        size_type skip;
        // Only the untouched input can hold a NUL in front of the match; the
        // head then ends there and the replacement is cut off with it.
        const void* nul = firstRound ? std::memchr(m_text + start, 0, static_cast<std::size_t>(match)) : nullptr;
        if (nul != nullptr) {
            const size_type kept = static_cast<size_type>(static_cast<const char*>(nul) - (m_text + start));
            runs.push_back({start, kept, false});
            total += kept;
            skip = match + toSize - kept;
        } else {
            runs.push_back({start, match, true});
            total += match + replacementLength;
            skip = toSize - replacementLength;
        }
        const size_type cut = start + std::min(end - start, match + fromSize);
        if (firstRound) {
            end = cut + ::strnlen(m_text + cut, end - cut);
            firstRound = false;
        }
        start = cut;
        if (folding && nul == nullptr && replacementEndsFoldedText) {
            break;
        }
        // An empty lowered needle matches at the end of a used-up range for
        // ever when the search resumes right there; the loop stops instead.
        if (folding && loweredNeedle.m_length == 0 && start == end && skip == 0) {
            break;
        }
        match = search(skip);
    }
    runs.push_back({start, end - start, false});
    total += end - start;

    ZStringGeneric result;
    char* text = result.m_data.replaceWithWritable(total);
    char* out = text;
    for (const Internal::KeptRun& run : runs) {
        if (run.length != 0) {
            std::memcpy(out, m_text + run.offset, run.length);
            out += run.length;
        }
        if (run.replacementFollows && replacementLength != 0) {
            std::memcpy(out, to.data(), replacementLength);
            out += replacementLength;
        }
    }
    *out = '\0';
    result.m_text = text;
    result.m_length = total;
    return result;
}

}  // namespace Marlowen::Lum
