/* DLPack tensors from C: every mappable type out and back in without a copy,
 * the layouts of column-major and integer complex arrays, producers' tensors
 * read in place and given back once, and the refusals with their words. */
#include <stdint.h>
#include <string.h>

#include "CBoundaryCheck.h"
#include "LumCore/c/DLPackTensor.h"

static ZArrayDimensions dims_of(const size_t* extents, size_t count)
{
    ZArrayDimensions dims;
    dims.data = extents;
    dims.size = count;
    return dims;
}

static int failed_with(const ErrorRecord* error, const char* word, const char* text)
{
    return error->typeName != NULL && strcmp(error->typeName, word) == 0 && strcmp(error->message, text) == 0;
}

/* The types that map directly, with their DLPack code and element size. */
static const struct {
    ZWellKnownType type;
    uint8_t code;
    uint8_t bytes;
} k_direct[] = {
    {ZWellKnownType_bool, ZDLDataTypeCode_Bool, 1},
    {ZWellKnownType_int8, ZDLDataTypeCode_Int, 1},
    {ZWellKnownType_int16, ZDLDataTypeCode_Int, 2},
    {ZWellKnownType_int32, ZDLDataTypeCode_Int, 4},
    {ZWellKnownType_int64, ZDLDataTypeCode_Int, 8},
    {ZWellKnownType_unsignedInt8, ZDLDataTypeCode_UInt, 1},
    {ZWellKnownType_unsignedInt16, ZDLDataTypeCode_UInt, 2},
    {ZWellKnownType_unsignedInt32, ZDLDataTypeCode_UInt, 4},
    {ZWellKnownType_unsignedInt64, ZDLDataTypeCode_UInt, 8},
    {ZWellKnownType_float, ZDLDataTypeCode_Float, 4},
    {ZWellKnownType_double, ZDLDataTypeCode_Float, 8},
    {ZWellKnownType_complexFloat, ZDLDataTypeCode_Complex, 8},
    {ZWellKnownType_complexDouble, ZDLDataTypeCode_Complex, 16},
};

/* 2 x 3 elements of `type` whose bytes are 0 and 1 (valid for bool too). */
static ZVariantData* small_array(ErrorRecord* error, ZWellKnownType type, size_t bytes, ZDataOrdering ordering)
{
    unsigned char data[6 * 16];
    const size_t extents[2] = {2, 3};
    for (size_t i = 0; i < sizeof data; ++i) {
        data[i] = (unsigned char)((i / bytes) % 2 == 1 && i % bytes == 0);
    }
    return ZVariantData_C_API_constructArray(error, data, type, 6, dims_of(extents, 2), ordering);
}

static void every_direct_type_goes_out_and_back_in_place(void)
{
    ErrorRecord error;
    for (size_t k = 0; k < sizeof k_direct / sizeof k_direct[0]; ++k) {
        ZVariantData* array = small_array(&error, k_direct[k].type, k_direct[k].bytes, ZDataOrdering_RowMajor);
        const void* elements = ZVariantData_C_API_constStoredData(&error, array);

        ZDLManagedTensor* plain = ZVariantData_C_API_exportDLManagedTensor(&error, array);
        CHECK(error.typeName == NULL && plain != NULL);
        ZDLManagedTensorVersioned* versioned = ZVariantData_C_API_exportDLManagedTensorVersioned(&error, array);
        CHECK(error.typeName == NULL && versioned != NULL);
        if (plain == NULL || versioned == NULL) {
            continue;
        }
        const ZDLTensor* t = &plain->dl_tensor;
        CHECK(t->data == elements && t->byte_offset == 0);
        CHECK(t->device.device_type == ZDLDeviceType_CPU && t->device.device_id == 0);
        CHECK(t->dtype.code == k_direct[k].code && t->dtype.bits == 8 * k_direct[k].bytes && t->dtype.lanes == 1);
        CHECK(t->ndim == 2 && t->shape[0] == 2 && t->shape[1] == 3 && t->strides[0] == 3 && t->strides[1] == 1);
        CHECK(versioned->version.major == 1 && versioned->version.minor == 0);
        CHECK(versioned->flags == ZDLPACK_FLAG_READ_ONLY);
        CHECK(versioned->dl_tensor.data == elements);

        /* The tensors hold shares: the caller's release leaves them valid. */
        ZVariantData_C_API_destruct(&error, array);
        ZVariantData* back = ZVariantData_C_API_importDLManagedTensor(&error, plain);
        CHECK(error.typeName == NULL);
        ZVariantData* again = ZVariantData_C_API_importDLManagedTensorVersioned(&error, versioned);
        CHECK(error.typeName == NULL);
        CHECK(ZVariantData_C_API_wellKnownDataType(&error, back) == k_direct[k].type);
        CHECK(ZVariantData_C_API_constStoredData(&error, back) == elements);
        CHECK(ZVariantData_C_API_constStoredData(&error, again) == elements);
        CHECK(ZVariantData_C_API_isIdenticalTo(&error, back, again));
        ZArrayDimensions shape = ZVariantData_C_API_dimensions(&error, back);
        CHECK(shape.size == 2 && shape.data[0] == 2 && shape.data[1] == 3);
        CHECK(ZVariantData_C_API_dataOrdering(&error, back) == ZDataOrdering_RowMajor);
        CHECK(!ZVariantData_C_API_isScalarStorage(&error, back));
        /* The last of these releases runs the tensors' deleters, which give
         * up the shares; the sanitizers see any second release or leak. */
        ZVariantData_C_API_destruct(&error, back);
        ZVariantData_C_API_destruct(&error, again);
    }
}

static void layouts_of_column_major_pairs_and_scalars(void)
{
    ErrorRecord error;
    ZVariantData* columns = small_array(&error, ZWellKnownType_double, 8, ZDataOrdering_ColumnMajor);
    ZDLManagedTensor* t = ZVariantData_C_API_exportDLManagedTensor(&error, columns);
    CHECK(t->dl_tensor.strides[0] == 1 && t->dl_tensor.strides[1] == 2);
    ZVariantData* back = ZVariantData_C_API_importDLManagedTensor(&error, t);
    CHECK(ZVariantData_C_API_dataOrdering(&error, back) == ZDataOrdering_ColumnMajor);
    CHECK(ZVariantData_C_API_isIdenticalTo(&error, back, columns));
    ZVariantData_C_API_destruct(&error, back);
    ZVariantData_C_API_destruct(&error, columns);

    /* Integer complex elements go as their parts along a trailing 2. */
    const int16_t parts[12] = {1, -1, 2, -2, 3, -3, 4, -4, 5, -5, 6, -6};
    const size_t extents[2] = {2, 3};
    ZVariantData* pairs = ZVariantData_C_API_constructArray(&error, parts, ZWellKnownType_complexInt16, 6,
                                                            dims_of(extents, 2), ZDataOrdering_ColumnMajor);
    ZDLManagedTensorVersioned* v = ZVariantData_C_API_exportDLManagedTensorVersioned(&error, pairs);
    CHECK(error.typeName == NULL);
    CHECK(v->dl_tensor.dtype.code == ZDLDataTypeCode_Int && v->dl_tensor.dtype.bits == 16);
    CHECK(v->dl_tensor.ndim == 3 && v->dl_tensor.shape[0] == 2 && v->dl_tensor.shape[1] == 3 &&
          v->dl_tensor.shape[2] == 2);
    CHECK(v->dl_tensor.strides[0] == 2 && v->dl_tensor.strides[1] == 4 && v->dl_tensor.strides[2] == 1);
    /* Dense, but in neither of the two orderings: not read back. */
    CHECK(ZVariantData_C_API_importDLManagedTensorVersioned(&error, v) == NULL);
    CHECK(failed_with(&error, "invalid_argument",
                      "Only DLPack tensors with row-major or column-major strides can be imported."));
    v->deleter(v);
    ZVariantData_C_API_destruct(&error, pairs);

    const int32_t row_parts[4] = {7, 8, 9, 10};
    const size_t two = 2;
    pairs = ZVariantData_C_API_constructArray(&error, row_parts, ZWellKnownType_complexInt32, 2, dims_of(&two, 1),
                                              ZDataOrdering_RowMajor);
    t = ZVariantData_C_API_exportDLManagedTensor(&error, pairs);
    CHECK(t->dl_tensor.ndim == 2 && t->dl_tensor.shape[0] == 2 && t->dl_tensor.shape[1] == 2);
    CHECK(t->dl_tensor.strides[0] == 2 && t->dl_tensor.strides[1] == 1);
    back = ZVariantData_C_API_importDLManagedTensor(&error, t);
    CHECK(ZVariantData_C_API_wellKnownDataType(&error, back) == ZWellKnownType_int32);
    CHECK(((const int32_t*)ZVariantData_C_API_constStoredData(&error, back))[3] == 10);
    ZVariantData_C_API_destruct(&error, back);
    ZVariantData_C_API_destruct(&error, pairs);

    /* An array of no dimensions holds nothing: one extent of 0. */
    ZVariantData* nothing = ZVariantData_C_API_constructArray(&error, NULL, ZWellKnownType_complexInt32, 0,
                                                              dims_of(NULL, 0), ZDataOrdering_RowMajor);
    t = ZVariantData_C_API_exportDLManagedTensor(&error, nothing);
    CHECK(t->dl_tensor.ndim == 2 && t->dl_tensor.shape[0] == 0 && t->dl_tensor.shape[1] == 2);
    t->deleter(t);
    ZVariantData_C_API_destruct(&error, nothing);

    /* A scalar has no dimensions, and comes back as a scalar. */
    const double x = 2.5;
    ZVariantData* scalar = ZVariantData_C_API_constructScalar(&error, &x, ZWellKnownType_double);
    t = ZVariantData_C_API_exportDLManagedTensor(&error, scalar);
    CHECK(t->dl_tensor.ndim == 0 && *(const double*)t->dl_tensor.data == 2.5);
    back = ZVariantData_C_API_importDLManagedTensor(&error, t);
    CHECK(ZVariantData_C_API_isScalarStorage(&error, back));
    CHECK(ZVariantData_C_API_isIdenticalTo(&error, back, scalar));
    ZVariantData_C_API_destruct(&error, back);
    ZVariantData_C_API_destruct(&error, scalar);
}

static void refuses_what_has_no_dlpack_type(void)
{
    ErrorRecord error;
    const int64_t seconds_and_fraction[2] = {5, 0};
    ZVariantData* duration = ZVariantData_C_API_constructScalar(&error, seconds_and_fraction, ZWellKnownType_duration);
    CHECK(ZVariantData_C_API_exportDLManagedTensor(&error, duration) == NULL);
    CHECK(failed_with(&error, "invalid_argument", "A variant of element type 'duration' has no DLPack data type."));
    ZVariantData_C_API_destruct(&error, duration);

    const unsigned char both[2] = {1, 0};
    ZVariantData* complex_bool = ZVariantData_C_API_constructScalar(&error, both, ZWellKnownType_complexBool);
    CHECK(ZVariantData_C_API_exportDLManagedTensorVersioned(&error, complex_bool) == NULL);
    CHECK(failed_with(&error, "invalid_argument", "A variant of element type 'complexBool' has no DLPack data type."));
    ZVariantData_C_API_destruct(&error, complex_bool);

    /* Shapes no tensor can state: an extent beyond int64 (of an empty
     * array), and a complex view of real elements, whose shape outgrows
     * its block. */
    const size_t huge[2] = {0, (size_t)INT64_MAX + 1};
    ZVariantData* empty = ZVariantData_C_API_constructArray(&error, NULL, ZWellKnownType_int8, 0, dims_of(huge, 2),
                                                            ZDataOrdering_RowMajor);
    CHECK(error.typeName == NULL);
    CHECK(ZVariantData_C_API_exportDLManagedTensor(&error, empty) == NULL);
    CHECK(failed_with(&error, "length_error", "An extent is too large for a DLPack tensor."));
    ZVariantData_C_API_destruct(&error, empty);
    const double reals[3] = {1, 2, 3};
    const size_t three = 3;
    ZVariantData* view = ZVariantData_C_API_constructTransmuteComplexToRealVariant(
        &error, ZVariantData_C_API_constructArray(&error, reals, ZWellKnownType_double, 3, dims_of(&three, 1),
                                                  ZDataOrdering_RowMajor));
    CHECK(ZVariantData_C_API_exportDLManagedTensorVersioned(&error, view) == NULL);
    CHECK(failed_with(&error, "length_error", "dimensions do not match data length"));
    ZVariantData_C_API_destruct(&error, view);

    CHECK(ZVariantData_C_API_exportDLManagedTensor(&error, ZVariantData_C_API_constructNull()) == NULL);
    CHECK(failed_with(&error, "invalid_argument", "A variant of element type 'unknown' has no DLPack data type."));
}

/* A producer's tensor over a static block, counting its deleter's calls. */
typedef struct Producer {
    ZDLManagedTensor managed;
    int64_t shape[2];
    int64_t strides[2];
    int deleted;
} Producer;

static void count_deletion(ZDLManagedTensor* self) { ++((Producer*)self->manager_ctx)->deleted; }

static void make_producer(Producer* p, void* data, uint8_t code, uint8_t bits, int64_t rows, int64_t cols)
{
    memset(p, 0, sizeof *p);
    p->shape[0] = rows;
    p->shape[1] = cols;
    p->managed.dl_tensor.data = data;
    p->managed.dl_tensor.device.device_type = ZDLDeviceType_CPU;
    p->managed.dl_tensor.ndim = 2;
    p->managed.dl_tensor.dtype.code = code;
    p->managed.dl_tensor.dtype.bits = bits;
    p->managed.dl_tensor.dtype.lanes = 1;
    p->managed.dl_tensor.shape = p->shape;
    p->managed.manager_ctx = p;
    p->managed.deleter = count_deletion;
}

static void reads_a_producers_tensor_in_place_and_gives_it_back_once(void)
{
    ErrorRecord error;
    float data[6] = {1, 2, 3, 4, 5, 6};
    Producer p;
    make_producer(&p, data, ZDLDataTypeCode_Float, 32, 2, 3);
    /* Column-major strides, read as such. */
    p.strides[0] = 1;
    p.strides[1] = 2;
    p.managed.dl_tensor.strides = p.strides;

    ZVariantData* v = ZVariantData_C_API_importDLManagedTensor(&error, &p.managed);
    CHECK(error.typeName == NULL && v != NULL);
    CHECK(ZVariantData_C_API_constStoredData(&error, v) == data);
    CHECK(ZVariantData_C_API_dataOrdering(&error, v) == ZDataOrdering_ColumnMajor);
    ZVariantData* share = ZVariantData_C_API_copy(&error, v);

    /* Converting, reordering and writing all leave the producer's memory be. */
    ZVariantData* ints = ZVariantData_C_API_convertDataTo(&error, v, ZWellKnownType_int32, ZConversionMode_Lossless);
    CHECK(error.typeName == NULL && ((const int32_t*)ZVariantData_C_API_constStoredData(&error, ints))[5] == 6);
    ZVariantData* rows =
        ZVariantData_C_API_reorderData(&error, ZVariantData_C_API_copy(&error, v), ZDataOrdering_RowMajor);
    CHECK(((const float*)ZVariantData_C_API_constStoredData(&error, rows))[1] == 3.0f);
    void* writable = NULL;
    share = ZVariantData_C_API_mutableStoredData(&error, share, &writable);
    CHECK(error.typeName == NULL && writable != data);
    ((float*)writable)[0] = 100;
    CHECK(data[0] == 1.0f);

    ZVariantData_C_API_destruct(&error, ints);
    ZVariantData_C_API_destruct(&error, rows);
    ZVariantData_C_API_destruct(&error, share);
    CHECK(p.deleted == 0);
    ZVariantData_C_API_destruct(&error, v);
    CHECK(p.deleted == 1);

    /* No dimensions: one element copied, the tensor given back at once. */
    make_producer(&p, data, ZDLDataTypeCode_Float, 32, 0, 0);
    p.managed.dl_tensor.ndim = 0;
    v = ZVariantData_C_API_importDLManagedTensor(&error, &p.managed);
    CHECK(p.deleted == 1 && ZVariantData_C_API_isScalarStorage(&error, v));
    CHECK(*(const float*)ZVariantData_C_API_constStoredData(&error, v) == 1.0f);
    ZVariantData_C_API_destruct(&error, v);
}

static void refuses_tensors_it_cannot_read_and_leaves_them_with_the_caller(void)
{
    ErrorRecord error;
    int32_t data[8] = {0};
    Producer p;

    make_producer(&p, data, ZDLDataTypeCode_Float, 16, 2, 2);
    CHECK(ZVariantData_C_API_importDLManagedTensor(&error, &p.managed) == NULL);
    CHECK(failed_with(&error, "invalid_argument",
                      "No element type has the DLPack data type of code 2, 16 bits and 1 lanes."));

    make_producer(&p, data, ZDLDataTypeCode_Int, 32, 2, 2);
    p.managed.dl_tensor.dtype.lanes = 2;
    CHECK(ZVariantData_C_API_importDLManagedTensor(&error, &p.managed) == NULL);
    CHECK(failed_with(&error, "invalid_argument",
                      "No element type has the DLPack data type of code 0, 32 bits and 2 lanes."));

    make_producer(&p, data, ZDLDataTypeCode_Int, 32, 2, 2);
    p.managed.dl_tensor.device.device_type = 2;
    CHECK(ZVariantData_C_API_importDLManagedTensor(&error, &p.managed) == NULL);
    CHECK(failed_with(&error, "invalid_argument", "Only DLPack tensors in CPU memory can be imported."));

    /* Every other row: not dense. */
    make_producer(&p, data, ZDLDataTypeCode_Int, 32, 2, 2);
    p.strides[0] = 4;
    p.strides[1] = 1;
    p.managed.dl_tensor.strides = p.strides;
    CHECK(ZVariantData_C_API_importDLManagedTensor(&error, &p.managed) == NULL);
    CHECK(failed_with(&error, "invalid_argument",
                      "Only DLPack tensors with row-major or column-major strides can be imported."));

    make_producer(&p, data, ZDLDataTypeCode_Int, 32, 2, 2);
    p.managed.dl_tensor.shape = NULL;
    CHECK(ZVariantData_C_API_importDLManagedTensor(&error, &p.managed) == NULL);
    CHECK(failed_with(&error, "invalid_argument", "A DLPack tensor's shape is malformed."));

    make_producer(&p, data, ZDLDataTypeCode_Int, 32, INT64_C(1) << 62, INT64_C(1) << 62);
    CHECK(ZVariantData_C_API_importDLManagedTensor(&error, &p.managed) == NULL);
    CHECK(failed_with(&error, "length_error", "dimensions do not match data length"));

    make_producer(&p, data, ZDLDataTypeCode_Int, 32, 2, -1);
    CHECK(ZVariantData_C_API_importDLManagedTensor(&error, &p.managed) == NULL);
    CHECK(failed_with(&error, "invalid_argument", "A DLPack tensor's shape has a negative extent."));

    make_producer(&p, data, ZDLDataTypeCode_Int, 32, 2, 2);
    p.managed.dl_tensor.byte_offset = 2;
    CHECK(ZVariantData_C_API_importDLManagedTensor(&error, &p.managed) == NULL);
    CHECK(failed_with(&error, "invalid_argument", "The elements of a DLPack tensor are not aligned for their type."));

    make_producer(&p, NULL, ZDLDataTypeCode_Int, 32, 2, 2);
    CHECK(ZVariantData_C_API_importDLManagedTensor(&error, &p.managed) == NULL);
    CHECK(failed_with(&error, "invalid_argument", "A DLPack tensor with elements has no data."));

    /* An empty tensor needs no data. */
    make_producer(&p, NULL, ZDLDataTypeCode_Int, 32, 0, 5);
    ZVariantData* empty = ZVariantData_C_API_importDLManagedTensor(&error, &p.managed);
    CHECK(error.typeName == NULL && ZVariantData_C_API_numberAllocatedElements(&error, empty) == 0);
    ZVariantData_C_API_destruct(&error, empty);
    CHECK(p.deleted == 1);

    CHECK(ZVariantData_C_API_importDLManagedTensor(&error, NULL) == NULL);
    CHECK(failed_with(&error, "invalid_argument", "No DLPack tensor to import."));

    const double x = 1;
    ZVariantData* scalar = ZVariantData_C_API_constructScalar(&error, &x, ZWellKnownType_double);
    ZDLManagedTensorVersioned* v = ZVariantData_C_API_exportDLManagedTensorVersioned(&error, scalar);
    v->version.major = 2;
    CHECK(ZVariantData_C_API_importDLManagedTensorVersioned(&error, v) == NULL);
    CHECK(failed_with(&error, "invalid_argument",
                      "A DLPack tensor of major version 2 cannot be read; this library reads version 1."));
    v->deleter(v);
    ZVariantData_C_API_destruct(&error, scalar);
    CHECK(p.deleted == 1);
}

void run_dlpack_checks(void)
{
    every_direct_type_goes_out_and_back_in_place();
    layouts_of_column_major_pairs_and_scalars();
    refuses_what_has_no_dlpack_type();
    reads_a_producers_tensor_in_place_and_gives_it_back_once();
    refuses_tensors_it_cannot_read_and_leaves_them_with_the_caller();
}
