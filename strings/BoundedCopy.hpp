// strncpy_s: the bounded, always-terminating copy of the string builders.
//
// Linux's C library has no strncpy_s, so the library carries its own, with
// the semantics the builders rely on: copy at most `count` bytes of `src`,
// stop early at a NUL in `src`, and always write one NUL behind what was
// copied. Bytes of the range behind that NUL are left as they were. With a
// `count` of 0 the source is not read and may be null.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstring>

namespace Marlowen::Lum::Internal {

// Returns 0 on success. A destination too small for the copied text and its
// NUL is a constraint violation: dest[0] becomes NUL and ERANGE is returned.
inline int strncpy_s(char* dest, std::size_t destSize, const char* src, std::size_t count) noexcept
{
    if (dest == nullptr || destSize == 0) {
        return EINVAL;
    }
    const std::size_t copied = count == 0 ? 0 : ::strnlen(src, count);
    if (copied >= destSize) {
        dest[0] = '\0';
        return ERANGE;
    }
    if (copied != 0) {
        std::memcpy(dest, src, copied);  // src may be null when nothing is copied
    }
    dest[copied] = '\0';
    return 0;
}

}  // namespace Marlowen::Lum::Internal
