// The CBOR writer's one-pass entry for callers that supply the block the
// bytes go to (the flat interface hands that choice to its caller).
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "LumCore/FPropertyTree.hpp"

namespace Marlowen::Lum::Internal {

// Encodes `tree` once and copies the bytes into the block `allocate(size)`
// returns (nothing when it returns null); returns the size.
std::size_t encodeCborInto(const FPropertyNode& tree, const std::function<std::uint8_t*(std::size_t)>& allocate);

}  // namespace Marlowen::Lum::Internal
