// ConsoleFormatter: values and property trees as text for people.
//
//     using namespace Marlowen::Lum;
//     ConsoleFormatter::serialize(ZVariant(2.5), std::cout);         // 2.5
//     const int32_t v[] = {1, 2, 3, 4};
//     ConsoleFormatter::serialize(ZVariant(v, 4, dims2x2), std::cout);  // [1, 2, 3, 4]
//     PropertyNode tree(PropertyMap{{"a", 1}, {"b", PropertyMap{{"c", 2}}}});
//     ConsoleFormatter::serialize(tree, std::cout);
//     // |---> 'a': 1
//     // |---> 'b':
//     // |    `--> 'c': 2
//     PrintTo(FPropertyNode(tree), &std::cout);                     // {{'a', 1}, {'b', {{'c', 2}}}}
//
// A variant is one flat list of its elements in storage order (shape is not
// shown); a single element has no brackets; text is quoted; a bool sets
// std::boolalpha on the stream and leaves it set. The caller's flags,
// precision and locale apply to numbers. Nothing is truncated, and nothing
// here can be parsed back.
#pragma once

#include <iosfwd>

#include "LumCore/c/Export.h"
#include "LumCore/FPropertyTree.hpp"
#include "LumCore/PropertyTree.hpp"
#include "LumCore/ZVariant.hpp"

namespace Marlowen::Lum {

class LUM_API ConsoleFormatter {
public:
    ConsoleFormatter() = default;
    ConsoleFormatter(const ConsoleFormatter&) = default;
    ConsoleFormatter(ConsoleFormatter&&) = default;
    ConsoleFormatter& operator=(const ConsoleFormatter&);
    ConsoleFormatter& operator=(ConsoleFormatter&&) noexcept;
    ~ConsoleFormatter() = default;

    // A variant in one line, with no line end.
    static std::ostream& serialize(ZVariantAbi value, std::ostream& out);
    static std::ostream& serialize(ZVariant value, std::ostream& out);
    // A tree as an outline: one "|---> 'key': " line per map entry, nested
    // entries indented under "`-->", each value ending its line.
    static std::ostream& serialize(FPropertyNode node, std::ostream& out);
    static std::ostream& serialize(PropertyNode node, std::ostream& out);
};

}  // namespace Marlowen::Lum
