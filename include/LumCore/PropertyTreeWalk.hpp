// forEachNode: visits every node of a tree, of either form, with its path
// from the root, parents before their children and in the order of lists and
// maps.
//
//     using namespace Marlowen::Lum;
//     forEachNode(tree, [](const PropertyPath& path, const PropertyNode& node) {
//         if (node.isValue()) std::cout << path << " = " << node.value() << '\n';
//     });
//     // {} first, then e.g. {sensors}, {sensors, 0}, {sensors, 0, rate} = 50
//
// The path is one object, extended and shortened as the walk goes: copy it
// to keep it past the call.
#pragma once

#include <cstddef>

#include "LumCore/PropertyPath.hpp"

namespace Marlowen::Lum {

namespace Internal {

template <class Node, class Visitor>
void walkNodes(const Node& node, PropertyPath& path, Visitor& visit)
{
    visit(static_cast<const PropertyPath&>(path), node);
    if (node.isList()) {
        std::size_t index = 0;
        for (const auto& child : node.list()) {
            path.append(index++);
            walkNodes(child, path, visit);
            path.removeLast();
        }
    } else if (node.isMap()) {
        for (const auto& entry : node.map()) {
            path.append(entry.first);
            walkNodes(entry.second, path, visit);
            path.removeLast();
        }
    }
}

}  // namespace Internal

// Calls visit(path, node) for every node under and including `root`, a
// PropertyNode or an FPropertyNode.
template <class Node, class Visitor>
void forEachNode(const Node& root, Visitor&& visit)
{
    PropertyPath path;
    Internal::walkNodes(root, path, visit);
}

}  // namespace Marlowen::Lum
