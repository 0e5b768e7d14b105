// ConsoleFormatter: a variant in one line, a tree as an outline.
#include "LumCore/ConsoleFormatter.hpp"

#include <ostream>
#include <string>

#include "format/VariantText.hpp"

namespace Marlowen::Lum {

namespace {

// One step of the outline. A map entry writes lead, indent, branch and its
// key, then the node beneath it with a lead that starts a new line and one
// more level of indent; a value ends the line. A list writes nothing of its
// own, and its elements start again as at the top. Both tree forms have the
// same reading members.
template <class Node>
void writeOutline(const Node& node, std::ostream& out, const std::string& lead, const std::string& indent,
                  const std::string& branch)
{
    if (node.isValue()) {
        Internal::writeVariantText(node.value(), out);
        out << '\n';
    } else if (node.isList()) {
        for (const Node& element : node.list()) {
            writeOutline(element, out, "|--->", std::string(), std::string());
        }
    } else if (node.isMap()) {
        const std::string nestedIndent = indent + "    ";
        for (const auto& [key, child] : node.map()) {
            out << lead << indent << branch << " '" << key << "': ";
            writeOutline(child, out, "\n|", nestedIndent, "`-->");
        }
    }
}

}  // namespace

ConsoleFormatter& ConsoleFormatter::operator=(const ConsoleFormatter&) = default;
ConsoleFormatter& ConsoleFormatter::operator=(ConsoleFormatter&&) noexcept = default;

std::ostream& ConsoleFormatter::serialize(ZVariantAbi value, std::ostream& out)
{
    Internal::writeVariantText(value, out);
    return out;
}

std::ostream& ConsoleFormatter::serialize(ZVariant value, std::ostream& out)
{
    Internal::writeVariantText(value, out);
    return out;
}

std::ostream& ConsoleFormatter::serialize(FPropertyNode node, std::ostream& out)
{
    writeOutline(node, out, "|--->", std::string(), std::string());
    return out;
}

std::ostream& ConsoleFormatter::serialize(PropertyNode node, std::ostream& out)
{
    writeOutline(node, out, "|--->", std::string(), std::string());
    return out;
}

}  // namespace Marlowen::Lum
