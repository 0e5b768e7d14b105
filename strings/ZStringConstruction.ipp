// ZString: construction from text and bytes (included by ZString.cpp only).
#include <cstring>
#include <stdexcept>

#include "LumCore/ZString.hpp"

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

}  // namespace Marlowen::Lum
