// DecodedNames: the map keys of one decode, interned once each. Interned
// text lives as long as the process, so names the process has never seen
// count against the decode's limit. A key met again in the same input is
// found in a direct-mapped table by its text, with no lock and no
// allocation; the table remembers the last key of each slot.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

#include "LumCore/InternedString.hpp"

namespace Marlowen::Lum::Internal {

// Whether `text` is interned already (the set's lock, no insertion).
[[nodiscard]] bool isInterned(std::string_view text);

class DecodedNames {
public:
    explicit DecodedNames(std::size_t maxNewNames) : m_room(maxNewNames) {}

    // The interned key, or nothing when it would be one new name too many.
    [[nodiscard]] std::optional<InternedString> intern(std::string_view text)
    {
        std::optional<InternedString>& slot = m_slots[slotOf(text)];
        if (slot && slot->size() == text.size() && std::memcmp(slot->data(), text.data(), text.size()) == 0) {
            return slot;
        }
        if (!isInterned(text)) {
            if (m_room == 0) {
                return std::nullopt;
            }
            --m_room;
        }
        slot = InternedString(text);
        return slot;
    }

private:
    static std::size_t slotOf(std::string_view text) noexcept
    {
        std::uint64_t hash = 0xcbf29ce484222325u;
        for (const char c : text) {
            hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3u;
        }
        return static_cast<std::size_t>(hash ^ (hash >> 32)) % kSlots;
    }

    static constexpr std::size_t kSlots = 1021;  // prime: keys that differ in one byte spread

    std::size_t m_room;
    std::array<std::optional<InternedString>, kSlots> m_slots{};
};

}  // namespace Marlowen::Lum::Internal
