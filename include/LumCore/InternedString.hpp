// InternedString: text stored once for the whole process, so that equal texts
// share one address and compare as one pointer.
//
//     using namespace Marlowen::Lum;
//     InternedString key("temperature");      // interned under a lock, once
//     InternedString same(std::string("temperature"));
//     key == same;                            // true: the same text pointer
//     std::string_view text = key;            // the stored text, NUL-terminated
//
// Interning takes a process-wide lock, so intern names at setup or while
// decoding, keep the InternedString, and compare it freely afterwards. The set
// only grows: it is meant for a bounded vocabulary of names, not for data.
// Interned text lives until the last InternedStringSetManager guard is gone,
// which is at the end of static destruction: a static that holds an
// InternedString sits behind the guard this header places in its unit.
#pragma once

#include <cstdint>
#include <ostream>
#include <string_view>

#include "LumCore/c/Export.h"

namespace Marlowen::Lum {

namespace Internal {

// Keeps the interned set alive. The first guard constructed builds the set,
// the last one destroyed tears it down, whatever the order in which modules
// start and stop. One byte wide, no state of its own.
class LUM_API InternedStringSetManager {
public:
    InternedStringSetManager();
    ~InternedStringSetManager();
    InternedStringSetManager(const InternedStringSetManager&) = delete;
    InternedStringSetManager& operator=(const InternedStringSetManager&) = delete;
};

// Every unit that includes this header holds a guard, constructed ahead of any
// interned constant that the unit defines below the include.
static const InternedStringSetManager s_internedStringSetManager;

}  // namespace Internal

class InternedString {
public:
    // Interns `text`: the view of the one stored copy of these bytes (NUL
    // bytes included).
    InternedString(std::string_view text) : m_view(create(text.data(), text.size())) {}
    InternedString(const char* text) : InternedString(std::string_view(text)) {}

    [[nodiscard]] const char* data() const noexcept { return m_view.data(); }
    [[nodiscard]] std::size_t size() const noexcept { return m_view.size(); }
    [[nodiscard]] bool empty() const noexcept { return m_view.empty(); }
    [[nodiscard]] std::string_view view() const noexcept { return m_view; }
    operator std::string_view() const noexcept { return m_view; }

    // One pointer comparison: equal text has one address in the set.
    friend bool operator==(InternedString a, InternedString b) noexcept { return a.m_view.data() == b.m_view.data(); }
    friend bool operator!=(InternedString a, InternedString b) noexcept { return !(a == b); }

    // The raw bytes, no quotes.
    friend std::ostream& operator<<(std::ostream& out, InternedString s)
    {
        return out.write(s.m_view.data(), static_cast<std::streamsize>(s.m_view.size()));
    }

private:
    LUM_API static std::string_view create(const char* text, std::uint64_t size);

    std::string_view m_view;
};

}  // namespace Marlowen::Lum
