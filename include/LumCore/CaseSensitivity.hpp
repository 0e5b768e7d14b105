// CaseSensitivity: whether a text search folds case.
//
// Only CaseSensitive (0) compares bytes as they are; any other value makes
// the search lower-case both sides under the global locale first.
#pragma once

#include <cstdint>

namespace Marlowen::Lum {

enum class CaseSensitivity : std::uint32_t {
    CaseSensitive = 0,
    CaseInsensitive = 1,
};

}  // namespace Marlowen::Lum
