#include "property/StandingKeys.hpp"

namespace Marlowen::Lum::Internal {

namespace {
// Behind this unit's InternedStringSetManager guard, which the header above
// placed first. Only "path" is read by the library itself.
const InternedString s_pathKey("path");
const InternedString s_typeKey("type");
const InternedString s_elementsKey("elements");
}  // namespace

InternedString pathKey() noexcept { return s_pathKey; }

}  // namespace Marlowen::Lum::Internal
