// Whether bytes are well-formed UTF-8 (RFC 3629: no overlong forms, no
// surrogates, nothing above U+10FFFF); ASCII runs are skipped eight bytes
// at a time. Both exchange forms check every text they read or write.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Marlowen::Lum::Internal {

// The offset of the first byte that is not part of a well-formed sequence,
// or `size` when all are.
[[nodiscard]] inline std::size_t firstInvalidUtf8(const unsigned char* text, std::size_t size) noexcept
{
    std::size_t i = 0;
    while (i < size) {
        if (i + 8 <= size) {
            std::uint64_t word;
            std::memcpy(&word, text + i, 8);
            if ((word & 0x8080808080808080u) == 0) {
                i += 8;
                continue;
            }
        }
        const unsigned char lead = text[i];
        if (lead < 0x80) {
            ++i;
            continue;
        }
        std::size_t length = 0;
        unsigned char low = 0x80;
        unsigned char high = 0xBF;
        if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3;
            low = lead == 0xE0 ? 0xA0 : 0x80;  // no overlong forms
            high = lead == 0xED ? 0x9F : 0xBF;  // no surrogates
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4;
            low = lead == 0xF0 ? 0x90 : 0x80;
            high = lead == 0xF4 ? 0x8F : 0xBF;  // nothing above U+10FFFF
        } else {
            return i;
        }
        if (i + length > size || text[i + 1] < low || text[i + 1] > high) {
            return i;
        }
        for (std::size_t k = 2; k < length; ++k) {
            if ((text[i + k] & 0xC0) != 0x80) {
                return i;
            }
        }
        i += length;
    }
    return size;
}

[[nodiscard]] inline bool isValidUtf8(const char* text, std::size_t size) noexcept
{
    return firstInvalidUtf8(reinterpret_cast<const unsigned char*>(text), size) == size;
}

}  // namespace Marlowen::Lum::Internal
