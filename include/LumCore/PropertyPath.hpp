// PropertyPath: a place in a property tree, as a list of segments, each a
// name (a key of a map node) or an index (a position of a list node).
//
//     using namespace Marlowen::Lum;
//     PropertyPath path{"sensors", 2, "unit"};
//     PropertyPath same;
//     same.append("sensors").append(2).append("unit");
//     path == same;                        // true: names are interned
//     path[1].index();                     // 2
//     path[1].name();                      // throws std::out_of_range:
//     // "Property Path segment is an index, not a name."
//     std::cout << path;                   // {sensors, 2, unit}
//
// A path owns no text (names live in the interned set), so copying one is one
// allocation and a memory copy, and comparing costs one word per segment. A
// ZVariant can carry a path or an array of paths as custom data; the library
// registers their codec (CustomTypeCodec.hpp).
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iosfwd>
#include <stdexcept>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

#include "LumCore/c/Export.h"
#include "LumCore/InternedString.hpp"

namespace Marlowen::Lum {

class PropertyPathSegment {
public:
    PropertyPathSegment(InternedString name) noexcept : m_value(name) {}
    PropertyPathSegment(std::string_view name) : m_value(InternedString(name)) {}
    PropertyPathSegment(const char* name) : m_value(InternedString(name)) {}
    template <class Index, std::enable_if_t<std::is_integral_v<Index> && !std::is_same_v<Index, bool>, int> = 0>
    PropertyPathSegment(Index index) noexcept : m_value(std::in_place_index<1>, static_cast<std::uint64_t>(index))
    {
    }

    [[nodiscard]] bool isName() const noexcept { return m_value.index() == 0; }
    [[nodiscard]] bool isIndex() const noexcept { return m_value.index() == 1; }

    [[nodiscard]] InternedString name() const
    {
        if (!isName()) {
            throw std::out_of_range("Property Path segment is an index, not a name.");
        }
        return *std::get_if<0>(&m_value);
    }
    [[nodiscard]] std::uint64_t index() const
    {
        if (!isIndex()) {
            throw std::out_of_range("Property Path segment is a name, not an index.");
        }
        return *std::get_if<1>(&m_value);
    }

    // The kind first, then one word: the number, or the interned text pointer.
    friend bool operator==(const PropertyPathSegment& a, const PropertyPathSegment& b) noexcept
    {
        return a.m_value == b.m_value;
    }
    friend bool operator!=(const PropertyPathSegment& a, const PropertyPathSegment& b) noexcept { return !(a == b); }

    // The alternatives, for std::visit.
    [[nodiscard]] const std::variant<InternedString, std::uint64_t>& alternatives() const noexcept { return m_value; }

private:
    std::variant<InternedString, std::uint64_t> m_value;
};

class PropertyPath {
public:
    using value_type = PropertyPathSegment;
    using const_iterator = std::vector<PropertyPathSegment>::const_iterator;

    PropertyPath() = default;
    PropertyPath(std::initializer_list<PropertyPathSegment> segments) : m_segments(segments) {}

    PropertyPath& append(InternedString name)
    {
        m_segments.emplace_back(name);
        return *this;
    }
    PropertyPath& append(std::string_view name) { return append(InternedString(name)); }
    PropertyPath& append(const char* name) { return append(InternedString(name)); }
    PropertyPath& append(std::uint64_t index)
    {
        m_segments.emplace_back(index);
        return *this;
    }
    template <class Index, std::enable_if_t<std::is_integral_v<Index> && !std::is_same_v<Index, bool> &&
                                                !std::is_same_v<Index, std::uint64_t>,
                                            int> = 0>
    PropertyPath& append(Index index)
    {
        return append(static_cast<std::uint64_t>(index));
    }

    // Drops the last segment; the path must not be empty.
    void removeLast() noexcept { m_segments.pop_back(); }

    [[nodiscard]] std::size_t size() const noexcept { return m_segments.size(); }
    [[nodiscard]] bool empty() const noexcept { return m_segments.empty(); }
    const PropertyPathSegment& operator[](std::size_t i) const noexcept { return m_segments[i]; }
    [[nodiscard]] const_iterator begin() const noexcept { return m_segments.begin(); }
    [[nodiscard]] const_iterator end() const noexcept { return m_segments.end(); }

    friend bool operator==(const PropertyPath& a, const PropertyPath& b) noexcept
    {
        return a.m_segments == b.m_segments;
    }
    friend bool operator!=(const PropertyPath& a, const PropertyPath& b) noexcept { return !(a == b); }

private:
    std::vector<PropertyPathSegment> m_segments;
};

// "{", the segments separated by ", ", "}": names as raw text, indices as
// numbers. For people; there is no parser.
LUM_API void PrintTo(const PropertyPath& path, std::ostream* stream);

inline std::ostream& operator<<(std::ostream& out, const PropertyPath& path)
{
    PrintTo(path, &out);
    return out;
}

}  // namespace Marlowen::Lum
