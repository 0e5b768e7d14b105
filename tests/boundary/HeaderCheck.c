/* Compiles every C header as strict C11, seeing only the C folder. */
#include "LumCore/c/DLPackTensor.h"
#include "LumCore/c/ElementTypeList.h"
#include "LumCore/c/ErrorRecord.h"
#include "LumCore/c/Export.h"
#include "LumCore/c/LumCoreFlat.h"
#include "LumCore/c/PropertyTreeFlat.h"

int lumcore_header_check_c11(void);
int lumcore_header_check_c11(void) { return (int)sizeof(ErrorRecord) + ZWellKnownType_int32; }
