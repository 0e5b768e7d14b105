// The text form of a path.
#include "LumCore/PropertyPath.hpp"

#include <ostream>
#include <variant>

namespace Marlowen::Lum {

void PrintTo(const PropertyPath& path, std::ostream* stream)
{
    std::ostream& out = *stream;
    out << '{';
    const char* separator = "";
    for (const PropertyPathSegment& segment : path) {
        out << separator;
        separator = ", ";
        // std::visit, so that a valueless segment raises bad_variant_access.
        std::visit([&](const auto& alternative) { out << alternative; }, segment.alternatives());
    }
    out << '}';
}

}  // namespace Marlowen::Lum
