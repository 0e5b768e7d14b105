// DecodeLimits: what one decode of CBOR or JSON may build, so that bytes
// from anywhere are safe to read. Beyond a limit the decode throws
// std::length_error naming the limit and the byte offset (or line and
// column); nothing it built is kept.
//
//     Marlowen::Lum::DecodeLimits limits;
//     limits.maxNewNames = 100;          // a schema of known keys, and a few more
//     decodeCborTree(bytes, size, limits);
#pragma once

#include <cstddef>

namespace Marlowen::Lum {

struct DecodeLimits {
    // Arrays, maps and tags inside one another.
    std::size_t maxDepth = 512;
    // Map keys not yet interned in the process: interned names live until the
    // process ends, so a decode may add only this many.
    std::size_t maxNewNames = 65536;
};

}  // namespace Marlowen::Lum
