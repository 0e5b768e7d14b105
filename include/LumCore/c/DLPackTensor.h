/* DLPack tensors in and out of LumCore, with no copy of the elements.
 *
 * The structures below have the layout of DLPack's dlpack.h (version 1.0):
 * a pointer to another library's DLManagedTensor or DLManagedTensorVersioned
 * may be cast to the ZDL type of the same name and back. They carry their own
 * names so that this header and dlpack.h can be included together.
 *
 *     ErrorRecord err;
 *     ZDLManagedTensorVersioned* t = ZVariantData_C_API_exportDLManagedTensorVersioned(&err, v);
 *     ... hand t to a consumer, which calls t->deleter(t) once when done ...
 *
 *     ZVariantData* w = ZVariantData_C_API_importDLManagedTensor(&err, producersTensor);
 *     ... w reads the producer's memory; its deleter runs when w's last share goes ...
 *
 * From C++, a ZVariant or ZVariantAbi hands its handle over with flatHandle(),
 * and ZVariant::adoptFlatHandle(w) takes over the handle an import returns.
 *
 * Export: bool, the eight integers, float, double, complexFloat and
 * complexDouble map to their DLPack types. The integer complex types export
 * as their real and imaginary parts: the integer type with one more, trailing
 * dimension of 2. A column-major variant exports its strides (in elements);
 * a scalar has no dimensions. Other element types (string, duration,
 * timePoint, complexBool, custom classes) and the null variant are refused.
 * The tensor holds one share of the variant, given up by its deleter; the
 * elements are the variant's, which the consumer must not write. The
 * versioned form says so with ZDLPACK_FLAG_READ_ONLY. A variant over memory
 * that a caller lent it (external storage, or a view of such a variant) is
 * copied first, since its owner may detach it at any time; the versioned
 * form then also carries ZDLPACK_FLAG_IS_COPIED.
 *
 * Import: a tensor in CPU memory whose data type is one of the above (the
 * integer complex types excepted) and whose strides are absent, row-major or
 * column-major becomes a variant over the same memory. The variant never
 * writes it: asking to write makes a private copy. The tensor's deleter is
 * called exactly once, on whichever thread gives up the variant's last share;
 * a tensor of no dimensions is read into a scalar and its deleter has run
 * when the import returns. When the import fails, the tensor stays the
 * caller's and its deleter has not run.
 *
 * Usable from C11 and C++17.
 */
#ifndef LUMCORE_DLPACK_TENSOR_H
#define LUMCORE_DLPACK_TENSOR_H

#include <stdint.h>

#include "LumCore/c/LumCoreFlat.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The version of the layout, as the versioned form states it. */
#define ZDLPACK_MAJOR_VERSION 1
#define ZDLPACK_MINOR_VERSION 0

/* Bits of ZDLManagedTensorVersioned::flags. */
#define ZDLPACK_FLAG_READ_ONLY ((uint64_t)1)
#define ZDLPACK_FLAG_IS_COPIED ((uint64_t)2)

/* The device types and data type codes this library reads and writes. */
enum { ZDLDeviceType_CPU = 1 };
enum {
    ZDLDataTypeCode_Int = 0,
    ZDLDataTypeCode_UInt = 1,
    ZDLDataTypeCode_Float = 2,
    ZDLDataTypeCode_Complex = 5,
    ZDLDataTypeCode_Bool = 6
};

typedef struct ZDLPackVersion {
    uint32_t major;
    uint32_t minor;
} ZDLPackVersion;

typedef struct ZDLDevice {
    int32_t device_type; /* an enum of int size in dlpack.h */
    int32_t device_id;
} ZDLDevice;

typedef struct ZDLDataType {
    uint8_t code;
    uint8_t bits;
    uint16_t lanes;
} ZDLDataType;

typedef struct ZDLTensor {
    void* data;
    ZDLDevice device;
    int32_t ndim;
    ZDLDataType dtype;
    int64_t* shape;
    int64_t* strides; /* in elements; null means row-major */
    uint64_t byte_offset;
} ZDLTensor;

typedef struct ZDLManagedTensor {
    ZDLTensor dl_tensor;
    void* manager_ctx;
    void (*deleter)(struct ZDLManagedTensor* self);
} ZDLManagedTensor;

typedef struct ZDLManagedTensorVersioned {
    ZDLPackVersion version;
    void* manager_ctx;
    void (*deleter)(struct ZDLManagedTensorVersioned* self);
    uint64_t flags;
    ZDLTensor dl_tensor;
} ZDLManagedTensorVersioned;

/* A new tensor over `handle`'s elements; `handle` stays the caller's. */
LUM_API ZDLManagedTensor* ZVariantData_C_API_exportDLManagedTensor(ErrorRecord* error, ZVariantData* handle);
LUM_API ZDLManagedTensorVersioned* ZVariantData_C_API_exportDLManagedTensorVersioned(ErrorRecord* error,
                                                                                     ZVariantData* handle);
/* A new variant over the tensor's elements; on success the variant owns the
 * tensor. A versioned tensor must be of major version 1. */
LUM_API ZVariantData* ZVariantData_C_API_importDLManagedTensor(ErrorRecord* error, ZDLManagedTensor* tensor);
LUM_API ZVariantData* ZVariantData_C_API_importDLManagedTensorVersioned(ErrorRecord* error,
                                                                        ZDLManagedTensorVersioned* tensor);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* LUMCORE_DLPACK_TENSOR_H */
