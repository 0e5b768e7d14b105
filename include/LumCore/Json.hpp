// JSON of trees, for people and configuration files: exact for the values
// JSON can carry. Maps are objects in their order, lists and arrays are
// JSON arrays (an n-dimensional array nested row by row, whatever its
// storage order), integers are written exactly and floating values in the
// shortest text that reads back the same (an integral double keeps a ".0",
// so that it comes back a double).
//
//     using namespace Marlowen::Lum;
//     std::string text = writeJson(tree);                        // {"rate":50.0,"gain":[1,2]}
//     FPropertyNode back = readJsonTree(text);
//     writeJson(tree, JsonOptions{true});                        // indented by two spaces
//
// Reading: objects become maps (the first of a repeated key wins), integers
// int64 (uint64 above its range, double beyond), other numbers double; an
// array that is rectangular and holds only numbers becomes an n-dimensional
// array (int64 when all are integers of int64's range, else double), one of
// only texts a string array, of only booleans a bool array; any other array,
// and [], a list.
//
// Writing throws std::invalid_argument for what JSON cannot carry: NaN and
// the infinities (unless nonFiniteAsNull), complex numbers, times,
// application classes, text that is not UTF-8, an ordering other than the
// two. Reading throws std::invalid_argument for malformed text and
// std::length_error beyond a DecodeLimits, each naming line and column.
#pragma once

#include <string>
#include <string_view>

#include "LumCore/DecodeLimits.hpp"
#include "LumCore/c/Export.h"
#include "LumCore/FPropertyTree.hpp"
#include "LumCore/PropertyTree.hpp"

namespace Marlowen::Lum {

struct JsonOptions {
    // One entry a line, two spaces a level; compact (no space at all) otherwise.
    bool indented = false;
    // NaN and the infinities written as null instead of refused.
    bool nonFiniteAsNull = false;
};

[[nodiscard]] LUM_API std::string writeJson(const PropertyNode& tree, const JsonOptions& options = JsonOptions());
[[nodiscard]] LUM_API std::string writeJson(const FPropertyNode& tree, const JsonOptions& options = JsonOptions());

// One value, with nothing but white space around it.
[[nodiscard]] LUM_API FPropertyNode readJsonTree(std::string_view text, const DecodeLimits& limits = DecodeLimits());
[[nodiscard]] LUM_API PropertyNode readJsonPropertyNode(std::string_view text,
                                                        const DecodeLimits& limits = DecodeLimits());

}  // namespace Marlowen::Lum
