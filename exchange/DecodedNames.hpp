// DecodedNames: the map keys of one decode, interned once each. Interned
// text lives as long as the process, so names the process has never seen
// count against the decode's limit; a key met again in the same input is
// found in a table of its own, with no lock.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "LumCore/InternedString.hpp"

namespace Marlowen::Lum::Internal {

// Whether `text` is interned already (the set's lock, no insertion).
[[nodiscard]] bool isInterned(std::string_view text);

class DecodedNames {
public:
    explicit DecodedNames(std::size_t maxNewNames) : m_room(maxNewNames) {}

    // The interned key, or null when it would be one new name too many.
    [[nodiscard]] const InternedString* intern(std::string_view text)
    {
        const auto found = m_seen.find(text);
        if (found != m_seen.end()) {
            return &found->second;
        }
        if (!isInterned(text)) {
            if (m_room == 0) {
                return nullptr;
            }
            --m_room;
        }
        return &m_seen.emplace(std::string(text), InternedString(text)).first->second;
    }

private:
    // Found from a view of the input, with no copy of the text.
    struct ViewHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>()(text); }
    };

    std::size_t m_room;
    std::unordered_map<std::string, InternedString, ViewHash, std::equal_to<>> m_seen;
};

}  // namespace Marlowen::Lum::Internal
