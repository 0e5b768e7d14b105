// ZString's members, but replaceAll (ReplaceAll.cpp), and the one
// instantiation of ZStringGeneric, from which they are exported.
//
// Reads work on the value's own pointer and length. Every builder copies with
// the bounded, NUL-stopping copy, so a derived value ends at the first NUL of
// what it was built from, while its record keeps the size it was made with.
#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "LumCore/ZString.hpp"
#include "strings/TextScan.hpp"

namespace Marlowen::Lum {

namespace Internal {

// The library's one empty text, in read-only data.
inline constexpr char kEmptyText[1] = {'\0'};

// A run of repeated bytes is refused beyond this count, as a byte vector
// would refuse it.
inline constexpr std::uint64_t kMaxByteRun = 0x7fffffffffffffffull;

inline void requireByteRunLength(std::uint64_t count)
{
    if (count > kMaxByteRun) {
        throw std::length_error("vector too long");
    }
}

}  // namespace Internal

template <class Data>
ZStringGeneric<Data>::ZStringGeneric() noexcept : m_text(Internal::kEmptyText), m_length(0)
{
}

// Every constructor that makes a record reads the length and the text
// pointer back once and keeps them; later reads never cross the boundary.
template <class Data>
ZStringGeneric<Data>::ZStringGeneric(const char* chars, size_type size)
    : m_data(chars, size), m_text(m_data.recordText()), m_length(m_data.recordLength())
{
}

template <class Data>
ZStringGeneric<Data>::ZStringGeneric(std::string_view text) : ZStringGeneric(text.data(), text.size())
{
}

template <class Data>
ZStringGeneric<Data>::ZStringGeneric(const std::string& text) : ZStringGeneric(text.data(), text.size())
{
}

// The source string is copied, not stolen: its bytes live on the caller's
// heap and a record must live on the library's.
template <class Data>
ZStringGeneric<Data>::ZStringGeneric(std::string&& text) : ZStringGeneric(text.data(), text.size())
{
}

template <class Data>
ZStringGeneric<Data>::ZStringGeneric(size_type count, char ch) : m_text(Internal::kEmptyText), m_length(0)
{
    Internal::requireByteRunLength(count);
    char* text = m_data.replaceWithWritable(count);
    std::memset(text, ch, count);
    text[count] = '\0';
    m_text = text;
    m_length = count;
}

template <class Data>
ZStringGeneric<Data> ZStringGeneric<Data>::from_char(char ch)
{
    return ZStringGeneric(1, ch);
}

template <class Data>
ZStringGeneric<Data>::ZStringGeneric(const ZStringGeneric& other, size_type pos, size_type count)
    : ZStringGeneric(other.substr(pos, count))
{
}

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
    return Internal::scanBackward(m_text, m_length, pos, [ch](char c) { return c == ch; });
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
typename ZStringGeneric<Data>::size_type ZStringGeneric<Data>::find_first_not_of(char ch, size_type pos) const noexcept
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
typename ZStringGeneric<Data>::size_type ZStringGeneric<Data>::find_last_not_of(char ch, size_type pos) const noexcept
{
    if (m_length == 0) {
        return npos;
    }
    return Internal::scanBackward(m_text, m_length, pos, [ch](char c) { return c != ch; });
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

namespace Internal {

// The one body of toLower and toUpper.
struct ZStringCaseMapping {
    template <class Data>
    static ZStringGeneric<Data> mapped(const ZStringGeneric<Data>& source, CaseMapping mapping)
    {
        ZStringGeneric<Data> result;
        char* text = result.m_data.replaceWithWritable(source.m_length);
        mapCase(text, source.m_text, source.m_length, mapping);
        text[source.m_length] = '\0';
        result.m_text = text;
        result.m_length = std::strlen(text);
        return result;
    }
};

}  // namespace Internal

template <class Data>
ZStringGeneric<Data> ZStringGeneric<Data>::toLower() const
{
    return Internal::ZStringCaseMapping::mapped(*this, Internal::CaseMapping::Lower);
}

template <class Data>
ZStringGeneric<Data> ZStringGeneric<Data>::toUpper() const
{
    return Internal::ZStringCaseMapping::mapped(*this, Internal::CaseMapping::Upper);
}

template class ZStringGeneric<Internal::ZStringDataSharable>;

}  // namespace Marlowen::Lum
