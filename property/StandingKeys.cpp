#include "property/StandingKeys.hpp"

namespace Marlowen::Lum::Internal {

namespace {
// Behind this unit's InternedStringSetManager guard, which the header above
// placed first.
const InternedString s_pathKey("path");
const InternedString s_typeKey("type");
const InternedString s_elementsKey("elements");
}  // namespace

InternedString pathKey() noexcept { return s_pathKey; }
InternedString typeKey() noexcept { return s_typeKey; }
InternedString elementsKey() noexcept { return s_elementsKey; }

}  // namespace Marlowen::Lum::Internal
