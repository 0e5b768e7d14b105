// The one-line forms of values and trees. The mutable trees print through
// their frozen form.
#include <ostream>

#include "LumCore/FPropertyTree.hpp"
#include "LumCore/PropertyTree.hpp"
#include "LumCore/ZVariant.hpp"
#include "format/VariantText.hpp"

namespace Marlowen::Lum {

// The text only reads the value, so no copy of it is taken.
void PrintTo(const ZVariant& value, std::ostream* stream) { Internal::writeVariantText(value, *stream); }

void PrintTo(const ZVariantAbi& value, std::ostream* stream) { Internal::writeVariantText(value, *stream); }

void PrintTo(const FPropertyNode& node, std::ostream* stream)
{
    if (node.isValue()) {
        Internal::writeVariantText(node.value(), *stream);
    } else if (node.isList()) {
        const FPropertyList list = node.list();  // held for the print
        PrintTo(list, stream);
    } else if (node.isMap()) {
        const FPropertyMap map = node.map();
        PrintTo(map, stream);
    } else {
        *stream << "<NULL>";
    }
}

void PrintTo(const FPropertyList& list, std::ostream* stream)
{
    std::ostream& out = *stream;
    out << '{';
    const char* separator = "";
    for (const FPropertyNode& node : list) {
        out << separator;
        separator = ", ";
        PrintTo(node, stream);
    }
    out << '}';
}

void PrintTo(const FPropertyMap& map, std::ostream* stream)
{
    std::ostream& out = *stream;
    out << '{';
    const char* separator = "";
    for (const auto& [key, node] : map) {
        out << separator << "{'" << key << "', ";
        separator = ", ";
        PrintTo(node, stream);
        out << '}';
    }
    out << '}';
}

void PrintTo(const PropertyNode& node, std::ostream* stream) { PrintTo(FPropertyNode(node), stream); }

void PrintTo(const PropertyList& list, std::ostream* stream) { PrintTo(FPropertyList(list), stream); }

void PrintTo(const PropertyMap& map, std::ostream* stream) { PrintTo(FPropertyMap(map), stream); }

}  // namespace Marlowen::Lum
