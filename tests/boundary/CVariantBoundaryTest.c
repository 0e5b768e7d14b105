/* The flat variant interface used from C: arrays made, written, converted,
 * compared, reordered and reshaped, and failures read from the record. */
#include <stdio.h>
#include <string.h>

#include "CBoundaryCheck.h"
#include "LumCore/LumCoreFlat.h"

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

void run_variant_checks(void)
{
    writes_through_a_private_handle();
    converts_compares_reorders_and_reshapes();
    reads_failures_from_the_record();
}
