// The six flat string functions. Each is a shell around guardedCall.
#include <cstring>

#include "LumCore/c/LumCoreFlat.h"
#include "boundary/GuardedCall.hpp"
#include "boundary/ZStringData.hpp"

using Marlowen::Lum::Internal::guardedCall;

extern "C" {

LUM_API ZStringData* ZStringData_C_API_constructCString(ErrorRecord* error, const char* chars, size_t size)
{
    return guardedCall(error, [&] {
        ZStringData* record = ZStringData::allocate(size);
        if (size != 0) {
            std::memcpy(record->text(), chars, size);
        }
        record->text()[size] = '\0';
        return record;
    });
}

LUM_API StringBufferResult ZStringData_C_API_constructCStringWithSize(ErrorRecord* error, size_t size)
{
    return guardedCall(error, [&] {
        ZStringData* record = ZStringData::allocate(size);
        return StringBufferResult{record, record->text()};
    });
}

LUM_API ZStringData* ZStringData_C_API_copy(ErrorRecord* error, ZStringData* handle)
{
    return guardedCall(error, [&] {
        handle->refCount.fetch_add(1);
        return handle;
    });
}

LUM_API void ZStringData_C_API_destruct(ErrorRecord* error, ZStringData* handle)
{
    guardedCall(error, [&] {
        if (handle != nullptr) {
            handle->release();
        }
    });
}

LUM_API const char* ZStringData_C_API_getConstDataPointer(ErrorRecord* error, ZStringData* handle)
{
    return guardedCall(error, [&]() -> const char* { return handle->text(); });
}

LUM_API size_t ZStringData_C_API_getLength(ErrorRecord* error, ZStringData* handle)
{
    return guardedCall(error, [&]() -> size_t { return handle->length; });
}

}  // extern "C"
