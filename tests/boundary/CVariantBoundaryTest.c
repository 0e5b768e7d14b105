/* The flat variant interface used from C: arrays made, written, converted,
 * compared, reordered and reshaped, and failures read from the record. */
#include <stdio.h>
#include <string.h>

#include "CBoundaryCheck.h"
#include "LumCore/c/LumCoreFlat.h"

static ZArrayDimensions shape(const size_t* extents, size_t count)
{
    ZArrayDimensions dims;
    dims.data = extents;
    dims.size = count;
    return dims;
}

static void writes_through_a_private_handle(void)
{
    ErrorRecord error;
    const size_t extents[2] = {2, 3};
    void* elements = NULL;

    error.typeName = NULL;
    ZVariantData* array = ZVariantData_C_API_createWithAllocatedArray(&error, ZWellKnownType_double, shape(extents, 2),
                                                                      ZDataOrdering_RowMajor);
    CHECK(error.typeName == NULL && array != NULL);
    array = ZVariantData_C_API_mutableStoredData(&error, array, &elements);
    for (int i = 0; i < 6; ++i) {
        ((double*)elements)[i] = i + 1;
    }
    ZVariantData* share = ZVariantData_C_API_copy(&error, array);
    CHECK(share == array);

    /* Writing through a shared handle first makes a private copy. */
    share = ZVariantData_C_API_mutableStoredData(&error, share, &elements);
    CHECK(share != array);
    ((double*)elements)[0] = 100;
    CHECK(((const double*)ZVariantData_C_API_constStoredData(&error, array))[0] == 1.0);

    ZVariantData_C_API_destruct(&error, share);
    ZVariantData_C_API_destruct(&error, array);
    CHECK(error.typeName == NULL);
}

static void converts_compares_reorders_and_reshapes(void)
{
    ErrorRecord error;
    const size_t extents[2] = {2, 3};
    const size_t flat[1] = {6};
    const size_t square[2] = {2, 2};
    const int values[6] = {1, 2, 3, 4, 5, 6};

    error.typeName = NULL;
    ZVariantData* ints = ZVariantData_C_API_constructArray(&error, values, ZWellKnownType_int32, 6, shape(extents, 2),
                                                           ZDataOrdering_RowMajor);
    CHECK(error.typeName == NULL);

    ZVariantData* doubles =
        ZVariantData_C_API_convertDataTo(&error, ints, ZWellKnownType_double, ZConversionMode_Lossless);
    CHECK(ZVariantData_C_API_wellKnownDataType(&error, doubles) == ZWellKnownType_double);
    ZArrayDimensions dims = ZVariantData_C_API_dimensions(&error, doubles);
    CHECK(dims.size == 2 && dims.data[0] == 2 && dims.data[1] == 3);
    CHECK(ZVariantData_C_API_isEquivalentTo(&error, ints, doubles, ZConversionMode_Cast));
    CHECK(!ZVariantData_C_API_isIdenticalTo(&error, ints, doubles));

    /* A refused conversion is a null result with a clean record. */
    CHECK(ZVariantData_C_API_convertDataTo(&error, ints, ZWellKnownType_string, ZConversionMode_Cast) == NULL);
    CHECK(error.typeName == NULL);

    ZVariantData* columns = ZVariantData_C_API_copy(&error, ints);
    columns = ZVariantData_C_API_reorderData(&error, columns, ZDataOrdering_ColumnMajor);
    CHECK(ZVariantData_C_API_dataOrdering(&error, columns) == ZDataOrdering_ColumnMajor);
    const int* read = (const int*)ZVariantData_C_API_constStoredData(&error, columns);
    CHECK(read[0] == 1 && read[1] == 4 && read[2] == 2);
    CHECK(ZVariantData_C_API_isEquivalentTo(&error, ints, columns, ZConversionMode_Lossless));

    ZVariantData_C_API_reshapeNoRealloc(&error, ints, shape(flat, 1));
    CHECK(error.typeName == NULL);
    ZVariantData* reshaped = ZVariantData_C_API_reshapeToZVariant(&error, ints, ZVariantData_C_API_copy(&error, ints),
                                                                  shape(square, 2), ZDataOrdering_RowMajor);
    CHECK(ZVariantData_C_API_numberAllocatedElements(&error, reshaped) == 4);

    ZVariantData_C_API_destruct(&error, reshaped);
    ZVariantData_C_API_destruct(&error, columns);
    ZVariantData_C_API_destruct(&error, doubles);
    ZVariantData_C_API_destruct(&error, ints);
}

static void reads_failures_from_the_record(void)
{
    ErrorRecord error;
    const size_t wrong[2] = {2, 3};
    const double value = 1.5;
    ZVariantData* null = ZVariantData_C_API_constructNull();

    error.typeName = NULL;
    CHECK(ZVariantData_C_API_constructArray(&error, &value, ZWellKnownType_double, 1, shape(wrong, 2),
                                            ZDataOrdering_RowMajor) == NULL);
    CHECK(error.typeName != NULL && strcmp(error.typeName, "length_error") == 0);
    CHECK(strcmp(error.message, "dimensions do not match data length") == 0);

    CHECK(ZVariantData_C_API_constructScalar(&error, &value, 3) == NULL);
    CHECK(strcmp(error.typeName, "runtime_error") == 0 && strcmp(error.message, "not a numeric type") == 0);

    ZVariantData* scalar = ZVariantData_C_API_constructScalar(&error, &value, ZWellKnownType_double);
    CHECK(error.typeName == NULL && ZVariantData_C_API_isScalarStorage(&error, scalar));
    ZVariantData_C_API_reshapeNoRealloc(&error, scalar, shape(wrong, 2));
    CHECK(error.typeName != NULL && strcmp(error.typeName, "invalid_argument") == 0);

    CHECK(ZVariantData_C_API_wellKnownDataType(&error, null) == ZWellKnownType_unknown);
    CHECK(ZVariantData_C_API_copy(&error, null) == null);
    ZVariantData_C_API_destruct(&error, null);
    ZVariantData_C_API_destruct(&error, null);
    ZVariantData_C_API_destruct(&error, scalar);
}

/* Shapes and views that once led reads and writes outside their blocks. */
static void stays_inside_its_blocks(void)
{
    ErrorRecord error;
    error.typeName = NULL;

    /* A view of uint8 parts compared with complex int64 numbers: the view's
     * conversion is another view, of one complex int64 read as two int64,
     * which must not be compared as two complex int64. */
    const size_t one[1] = {1};
    const size_t two[1] = {2};
    const unsigned char parts[2] = {1, 2};
    const long long wide[4] = {1, 2, 0, 0};
    ZVariantData* complexBytes = ZVariantData_C_API_constructArray(&error, parts, ZWellKnownType_complexUnsignedInt8, 1,
                                                                   shape(one, 1), ZDataOrdering_RowMajor);
    ZVariantData* view = ZVariantData_C_API_constructTransmuteComplexToRealVariant(&error, complexBytes);
    ZVariantData* complexWide = ZVariantData_C_API_constructArray(&error, wide, ZWellKnownType_complexInt64, 2,
                                                                  shape(two, 1), ZDataOrdering_RowMajor);
    CHECK(error.typeName == NULL);
    CHECK(!ZVariantData_C_API_isEquivalentTo(&error, view, complexWide, ZConversionMode_Cast));
    CHECK(!ZVariantData_C_API_isEquivalentTo(&error, complexWide, view, ZConversionMode_Cast));
    CHECK(error.typeName == NULL);
    ZVariantData_C_API_destruct(&error, complexWide);
    ZVariantData_C_API_destruct(&error, view);

    /* [3, b] with 3 * b = 5 modulo 2^64 describes no 5 elements: refused
     * as a mismatch at construction and as beyond the room in a reshape. */
    const size_t wrapping[2] = {3, (size_t)0x5555555555555557ull};
    const size_t row[2] = {1, 5};
    const double five[5] = {1, 2, 3, 4, 5};
    CHECK(ZVariantData_C_API_constructArray(&error, five, ZWellKnownType_double, 5, shape(wrapping, 2),
                                            ZDataOrdering_RowMajor) == NULL);
    CHECK(error.typeName != NULL && strcmp(error.typeName, "length_error") == 0);
    CHECK(strcmp(error.message, "dimensions do not match data length") == 0);
    CHECK(ZVariantData_C_API_createWithAllocatedArray(&error, ZWellKnownType_double, shape(wrapping, 2),
                                                      ZDataOrdering_RowMajor) == NULL);
    CHECK(error.typeName != NULL && strcmp(error.typeName, "length_error") == 0);
    ZVariantData* array = ZVariantData_C_API_constructArray(&error, five, ZWellKnownType_double, 5, shape(row, 2),
                                                            ZDataOrdering_RowMajor);
    ZVariantData_C_API_reshapeNoRealloc(&error, array, shape(wrapping, 2));
    CHECK(error.typeName != NULL && strcmp(error.typeName, "length_error") == 0);
    CHECK(strcmp(error.message, "Cannot reshape array to given dimensions without reallocating.") == 0);
    ZArrayDimensions kept = ZVariantData_C_API_dimensions(&error, array);
    CHECK(kept.size == 2 && kept.data[0] == 1 && kept.data[1] == 5);
    ZVariantData_C_API_destruct(&error, array);

    /* A complex-to-real view over 7 real bytes doubles its extent to 14, but
     * its room is the 7 bytes there are: comparisons do not read it, and the
     * copies that a first write and a reorder make refuse the shape rather
     * than read past the block. */
    const size_t seven[1] = {7};
    const unsigned char bytes[7] = {1, 2, 3, 4, 5, 6, 7};
    ZVariantData* real = ZVariantData_C_API_constructArray(&error, bytes, ZWellKnownType_unsignedInt8, 7,
                                                           shape(seven, 1), ZDataOrdering_RowMajor);
    ZVariantData* doubled = ZVariantData_C_API_constructTransmuteComplexToRealVariant(&error, real);
    CHECK(error.typeName == NULL);
    CHECK(ZVariantData_C_API_numberAllocatedElements(&error, doubled) == 7);
    CHECK(ZVariantData_C_API_dimensions(&error, doubled).data[0] == 14);
    CHECK(!ZVariantData_C_API_isIdenticalTo(&error, doubled, doubled));
    CHECK(!ZVariantData_C_API_isEquivalentTo(&error, doubled, doubled, ZConversionMode_Cast));
    CHECK(error.typeName == NULL);
    CHECK(ZVariantData_C_API_reorderData(&error, doubled, ZDataOrdering_ColumnMajor) == NULL);
    CHECK(error.typeName != NULL && strcmp(error.typeName, "length_error") == 0);
    CHECK(strcmp(error.message, "dimensions do not match data length") == 0);
    error.typeName = NULL;
    void* writable = NULL;
    CHECK(ZVariantData_C_API_mutableStoredData(&error, doubled, &writable) == NULL);
    CHECK(error.typeName != NULL && strcmp(error.typeName, "length_error") == 0);
    CHECK(writable == NULL);
    ZVariantData_C_API_destruct(&error, doubled); /* a refused copy leaves the reference with us */

    /* The other way: four doubles seen as two complex numbers, in place. */
    const size_t four[1] = {4};
    const double parts4[4] = {1, 2, 3, 4};
    ZVariantData* reals = ZVariantData_C_API_constructArray(&error, parts4, ZWellKnownType_double, 4, shape(four, 1),
                                                            ZDataOrdering_RowMajor);
    const void* stored = ZVariantData_C_API_constStoredData(&error, reals);
    ZVariantData* pairs = ZVariantData_C_API_constructTransmuteRealToComplexVariant(&error, reals);
    CHECK(error.typeName == NULL);
    CHECK(ZVariantData_C_API_wellKnownDataType(&error, pairs) == ZWellKnownType_complexDouble);
    CHECK(ZVariantData_C_API_numberAllocatedElements(&error, pairs) == 2);
    CHECK(ZVariantData_C_API_constStoredData(&error, pairs) == stored);
    ZVariantData_C_API_destruct(&error, pairs);

    /* The receiver of a reshape picks the element type; a source of another
     * type (one byte, read as int64) is refused and stays the caller's. */
    const long long wideOne = 7;
    const unsigned char narrow = 1;
    const size_t three[1] = {3};
    ZVariantData* receiver = ZVariantData_C_API_constructArray(&error, &wideOne, ZWellKnownType_int64, 1, shape(one, 1),
                                                               ZDataOrdering_RowMajor);
    ZVariantData* source = ZVariantData_C_API_constructScalar(&error, &narrow, ZWellKnownType_unsignedInt8);
    CHECK(error.typeName == NULL);
    CHECK(ZVariantData_C_API_reshapeToZVariant(&error, receiver, source, shape(three, 1), ZDataOrdering_RowMajor) ==
          NULL);
    CHECK(error.typeName != NULL && strcmp(error.typeName, "invalid_argument") == 0);
    CHECK(strcmp(error.message, "Cannot reshape from data of another element type.") == 0);
    ZVariantData_C_API_destruct(&error, source);
    ZVariantData_C_API_destruct(&error, receiver);
}

/* Every element handed back is one the library wrote: an ordering that is
 * neither of the two is stored as given, and its reorder walks nothing, so
 * the result holds defaults (memcheck reports any element read unwritten);
 * a growing reshape starts its tail at the default. */
static void hands_out_only_written_elements(void)
{
    ErrorRecord error;
    error.typeName = NULL;
    const size_t grid[2] = {3, 4};
    const double values[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    const unsigned char flags[24] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    ZVariantData* numbers = ZVariantData_C_API_constructArray(&error, values, ZWellKnownType_double, 12,
                                                              shape(grid, 2), (ZDataOrdering)5);
    ZVariantData* pairs = ZVariantData_C_API_constructArray(&error, flags, ZWellKnownType_complexBool, 12,
                                                            shape(grid, 2), (ZDataOrdering)5);
    numbers = ZVariantData_C_API_reorderData(&error, numbers, ZDataOrdering_RowMajor);
    pairs = ZVariantData_C_API_reorderData(&error, pairs, ZDataOrdering_ColumnMajor);
    CHECK(error.typeName == NULL);
    const double* n = (const double*)ZVariantData_C_API_constStoredData(&error, numbers);
    const unsigned char* p = (const unsigned char*)ZVariantData_C_API_constStoredData(&error, pairs);
    int zeros = 0;
    for (int i = 0; i < 12; ++i) {
        zeros += n[i] == 0.0;
        zeros += p[2 * i] == 0 && p[2 * i + 1] == 0;
    }
    CHECK(zeros == 24);

    const size_t eight[1] = {8};
    const double one = 1.5;
    ZVariantData* scalar = ZVariantData_C_API_constructScalar(&error, &one, ZWellKnownType_double);
    ZVariantData* grown = ZVariantData_C_API_reshapeToZVariant(&error, scalar, ZVariantData_C_API_copy(&error, scalar),
                                                               shape(eight, 1), ZDataOrdering_RowMajor);
    const double* g = (const double*)ZVariantData_C_API_constStoredData(&error, grown);
    CHECK(error.typeName == NULL && g[0] == 1.5 && g[1] == 0.0 && g[7] == 0.0);
    ZVariantData_C_API_destruct(&error, grown);
    ZVariantData_C_API_destruct(&error, scalar);
    ZVariantData_C_API_destruct(&error, pairs);
    ZVariantData_C_API_destruct(&error, numbers);
}

/* CBOR both ways from C: an array comes back identical; bytes that are no
 * CBOR get the record's word and the offset of the fault. */
static void travels_as_cbor(void)
{
    ErrorRecord error;
    error.typeName = NULL;
    const size_t grid[2] = {2, 3};
    const int values[6] = {1, -2, 3, 4, 5, 600000};
    ZVariantData* array = ZVariantData_C_API_constructArray(&error, values, ZWellKnownType_int32, 6, shape(grid, 2),
                                                            ZDataOrdering_ColumnMajor);
    ZVariantData* bytes = ZVariantData_C_API_encodeCbor(&error, array);
    CHECK(error.typeName == NULL && ZVariantData_C_API_wellKnownDataType(&error, bytes) == ZWellKnownType_unsignedInt8);
    ZVariantData* back = ZVariantData_C_API_decodeCbor(&error, ZVariantData_C_API_constStoredData(&error, bytes),
                                                       ZVariantData_C_API_dimensions(&error, bytes).data[0]);
    CHECK(error.typeName == NULL && ZVariantData_C_API_isIdenticalTo(&error, back, array));

    const unsigned char truncated[2] = {0x19, 0x01};
    CHECK(ZVariantData_C_API_decodeCbor(&error, truncated, 2) == NULL);
    CHECK(error.typeName != NULL && strcmp(error.typeName, "invalid_argument") == 0);
    CHECK(strcmp(error.message, "CBOR at byte 1: the input ends inside an item") == 0);
    error.typeName = NULL;
    ZVariantData_C_API_destruct(&error, back);
    ZVariantData_C_API_destruct(&error, bytes);
    ZVariantData_C_API_destruct(&error, array);
}

void run_variant_checks(void)
{
    travels_as_cbor();
    hands_out_only_written_elements();
    writes_through_a_private_handle();
    converts_compares_reorders_and_reshapes();
    reads_failures_from_the_record();
    stays_inside_its_blocks();
}
