// The keys the library interns once, at start: "path", read by the codec of
// PropertyPath, and "type" and "elements", kept for users of the encoded form.
#pragma once

#include "LumCore/InternedString.hpp"

namespace Marlowen::Lum::Internal {

InternedString pathKey() noexcept;

}  // namespace Marlowen::Lum::Internal
