// ZString: text operations (included by ZString.cpp only).
#include <stdexcept>

#include "LumCore/ZString.hpp"
#include "strings/BoundedCopy.hpp"

namespace Marlowen::Lum {

template <class Data>
void ZStringGeneric<Data>::reserveAndAppend(const char* first, const char* second, size_type firstLength,
                                            size_type secondLength)
{
    const size_type total = firstLength + secondLength;
    char* text = m_data.replaceWithWritable(total);
    Internal::strncpy_s(text, firstLength + 1, first, firstLength);
    Internal::strncpy_s(text + firstLength, secondLength + 1, second, secondLength);
    text[total] = '\0';
    m_text = text;
    m_length = std::strlen(text);
}

template <class Data>
ZStringGeneric<Data> ZStringGeneric<Data>::substr(size_type pos, size_type count) const
{
    if (pos > m_length) {
        throw std::out_of_range("invalid string_view position");
    }
    ZStringGeneric result;
    result.reserveAndAppend(m_text + pos, nullptr, std::min(m_length - pos, count), 0);
    return result;
}

}  // namespace Marlowen::Lum
