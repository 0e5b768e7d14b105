// The one place where the storage classes of the known element classes are
// instantiated; see StorageInstances.hpp.
#define LUMCORE_STORAGE_INSTANCE template
#include "variant/StorageInstances.hpp"
