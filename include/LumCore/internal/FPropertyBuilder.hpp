// Internal: compiled into callers through the public headers; carries no promise of stability.
// FPropertyBuilder: frozen nodes made straight from their parts, for code
// that builds a tree from outside data (a decoder) with no mutable tree to
// freeze in between: one allocation per node, list and map, nothing copied.
//
//     std::vector<FPropertyNode> items{FPropertyBuilder::value(ZVariant(1.5))};
//     FPropertyNode list = FPropertyBuilder::list(std::move(items));
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "LumCore/FPropertyTree.hpp"

namespace Marlowen::Lum::Internal {

class FPropertyBuilder {
public:
    using Entries = std::vector<std::pair<InternedString, FPropertyNode>>;

    [[nodiscard]] static FPropertyNode value(ZVariant&& value)
    {
        return node(std::in_place_index<1>, std::move(value));
    }

    [[nodiscard]] static FPropertyNode list(std::vector<FPropertyNode>&& nodes)
    {
        auto data = std::make_shared<FPropertyListData>();
        data->nodes = std::move(nodes);
        FPropertyList list;
        list.m_data = std::move(data);
        return node(std::in_place_index<2>, std::move(list));
    }

    // `entries` hold each key once, in the map's order.
    [[nodiscard]] static FPropertyNode map(Entries&& entries)
    {
        auto data = std::make_shared<FPropertyMapData>();
        data->entries = std::move(entries);
        FPropertyMap map;
        map.m_data = std::move(data);
        return node(std::in_place_index<3>, std::move(map));
    }

private:
    template <std::size_t Tag, class Content>
    static FPropertyNode node(std::in_place_index_t<Tag> tag, Content&& content)
    {
        FPropertyNode made;
        made.m_impl = std::make_shared<const FPropertyNodeImpl>(tag, std::forward<Content>(content));
        return made;
    }
};

}  // namespace Marlowen::Lum::Internal
