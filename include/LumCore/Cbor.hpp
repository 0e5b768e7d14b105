// CBOR (RFC 8949) of variants and trees, exact both ways: every element
// class, shape, ordering and node kind comes back as it was. Arrays travel
// as RFC 8746 typed arrays (tag 40 row-major, 1040 column-major, around
// their extents and one typed array of the elements, little-endian); the
// classes with no typed array name themselves under tag 27, and an
// application's class travels as its codec's name and tree (see
// CustomTypeCodec.hpp). The decoder also reads what other writers produce
// for the same content: float16, big-endian typed arrays, plain arrays of
// numbers, booleans or texts under tag 40, indefinite lengths.
//
//     using namespace Marlowen::Lum;
//     ZVariant bytes = encodeCbor(tree);                  // one-dimensional uint8
//     FPropertyNode back = decodeCborTree(bytes.constStoredData(), elementCount(bytes.dimensions()));
//     std::vector<std::uint8_t> mine(encodeCbor(value, nullptr, 0));   // the size first
//     encodeCbor(value, mine.data(), mine.size());
//
// Encoding throws std::invalid_argument for what has no form (an ordering
// other than the two); a class with no codec fails as encodeCustomType does.
// Decoding throws std::invalid_argument for malformed or unknown input and
// std::length_error beyond a DecodeLimits, each naming the byte offset.
#pragma once

#include <cstddef>

#include "LumCore/DecodeLimits.hpp"
#include "LumCore/c/Export.h"
#include "LumCore/FPropertyTree.hpp"
#include "LumCore/PropertyTree.hpp"
#include "LumCore/ZVariant.hpp"

namespace Marlowen::Lum {

// The encoding as a new one-dimensional uint8 array.
[[nodiscard]] LUM_API ZVariant encodeCbor(const ZVariant& value);
[[nodiscard]] LUM_API ZVariant encodeCbor(const PropertyNode& tree);
[[nodiscard]] LUM_API ZVariant encodeCbor(const FPropertyNode& tree);

// The encoding's size; the bytes are written to `buffer` only when they fit
// in `capacity`. (Each call encodes anew: one to learn the size and one to
// write run the codecs of application classes twice.)
LUM_API std::size_t encodeCbor(const ZVariant& value, void* buffer, std::size_t capacity);
LUM_API std::size_t encodeCbor(const PropertyNode& tree, void* buffer, std::size_t capacity);
LUM_API std::size_t encodeCbor(const FPropertyNode& tree, void* buffer, std::size_t capacity);

// One item, and nothing after it. A variant is any item but a list or a map;
// a tree is any item.
[[nodiscard]] LUM_API ZVariant decodeCborVariant(const void* bytes, std::size_t size,
                                                 const DecodeLimits& limits = DecodeLimits());
[[nodiscard]] LUM_API FPropertyNode decodeCborTree(const void* bytes, std::size_t size,
                                                   const DecodeLimits& limits = DecodeLimits());
[[nodiscard]] LUM_API PropertyNode decodeCborPropertyNode(const void* bytes, std::size_t size,
                                                          const DecodeLimits& limits = DecodeLimits());

}  // namespace Marlowen::Lum
