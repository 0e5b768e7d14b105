/* Compiles every public C header as strict C11. */
#include "LumCore/DLPackTensor.h"
#include "LumCore/ErrorRecord.h"
#include "LumCore/Export.h"
#include "LumCore/LumCoreFlat.h"

int lumcore_header_check_c11(void);
int lumcore_header_check_c11(void) { return (int)sizeof(ErrorRecord); }
