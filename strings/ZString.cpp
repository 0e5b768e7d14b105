// The one instantiation of ZStringGeneric, from which its members are
// exported. The member definitions live in the .ipp files beside this one.
#include "strings/ZStringConstruction.ipp"
#include "strings/ZStringTextOperations.ipp"

namespace Marlowen::Lum {
template class ZStringGeneric<Internal::ZStringDataSharable>;
}
