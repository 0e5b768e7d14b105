// The empty data objects that stand in for null references of the frozen tree.
#include "LumCore/FPropertyTree.hpp"

namespace Marlowen::Lum {

const Internal::FPropertyListData FPropertyList::s_nullListData;
const Internal::FPropertyMapData FPropertyMap::s_nullMapData;

}  // namespace Marlowen::Lum
