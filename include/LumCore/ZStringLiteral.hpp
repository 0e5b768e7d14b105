// ZStringLiteral: text with static lifetime that becomes a ZString without
// allocating.
//
//     using namespace Marlowen::Lum::Literals;
//     constexpr Marlowen::Lum::ZStringLiteral kName = "temperature"_zl;
//     Marlowen::Lum::ZString name(kName);   // no allocation, no flat call
//
// The text must outlive every ZString made from it, and should end in a NUL
// so that c_str() gives terminated text; a string literal does both.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Marlowen::Lum {

class ZStringLiteral {
public:
    constexpr ZStringLiteral(const char* text, std::uint64_t length) noexcept : m_text(text), m_length(length) {}

    // From a string literal; the length excludes the terminating NUL.
    template <std::size_t N>
    constexpr ZStringLiteral(const char (&text)[N]) noexcept : m_text(text), m_length(N - 1)
    {
    }

    [[nodiscard]] constexpr const char* data() const noexcept { return m_text; }
    [[nodiscard]] constexpr std::uint64_t size() const noexcept { return m_length; }

private:
    const char* m_text;
    std::uint64_t m_length;
};

namespace Literals {
// "text"_zl: a ZStringLiteral whose pointer and length are fixed at compile time.
constexpr ZStringLiteral operator""_zl(const char* text, std::size_t length) noexcept
{
    return ZStringLiteral(text, length);
}
}  // namespace Literals

}  // namespace Marlowen::Lum
