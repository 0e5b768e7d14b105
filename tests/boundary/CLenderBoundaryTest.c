/* Memory lent from C, and text elements, through the flat interface. */
#include <stdlib.h>
#include <string.h>

#include "CBoundaryCheck.h"
#include "LumCore/c/LumCoreFlat.h"

typedef struct Samples {
    double* values;
    size_t extents[2];
    size_t rank;
    int released;
    int reads;
} Samples;

static size_t samples_count(void* context) { return ((Samples*)context)->extents[0] * ((Samples*)context)->extents[1]; }
static ZArrayDimensions samples_dimensions(void* context)
{
    Samples* samples = (Samples*)context;
    ZArrayDimensions dims = {samples->extents, samples->rank};
    return dims;
}
static const void* samples_const(void* context)
{
    ++((Samples*)context)->reads;
    return ((Samples*)context)->values;
}
static void* samples_mutable(void* context) { return ((Samples*)context)->values; }
static void samples_released(void* context) { ((Samples*)context)->released += 1; }

static ZVariantLender lender_of(Samples* samples)
{
    ZVariantLender lender = {samples,         ZWellKnownType_double, ZDataOrdering_RowMajor, samples_count,
                             samples_dimensions, samples_const,      samples_mutable,        NULL,
                             samples_released};
    return lender;
}

static ZArrayDimensions shape_of(const size_t* extents)
{
    ZArrayDimensions dims = {extents, 2};
    return dims;
}

static double element(ErrorRecord* error, const ZVariantData* v, size_t i)
{
    return ((const double*)ZVariantData_C_API_constStoredData(error, v))[i];
}

/* Read in place while lent; a private copy after the detach, with the
 * lender never called again and its memory free to go. */
static void lends_and_detaches(void)
{
    ErrorRecord error;
    error.typeName = NULL;
    Samples samples = {malloc(6 * sizeof(double)), {2, 3}, 2, 0, 0};
    for (int i = 0; i < 6; ++i) samples.values[i] = i + 0.5;
    ZVariantLender lender = lender_of(&samples);
    ZVariantLoan* loan = NULL;
    ZVariantData* v = ZVariantData_C_API_createWithLender(&error, &lender, &loan);
    CHECK(error.typeName == NULL && loan != NULL);
    CHECK(ZVariantData_C_API_constStoredData(&error, v) == samples.values);
    samples.values[5] = 42.0;
    CHECK(element(&error, v, 5) == 42.0);
    ZVariantData* share = ZVariantData_C_API_copy(&error, v);
    const size_t turned[2] = {3, 2};
    ZVariantData_C_API_reshapeNoRealloc(&error, v, shape_of(turned));
    CHECK(error.typeName != NULL && strcmp(error.typeName, "runtime_error") == 0);
    error.typeName = NULL;

    ZVariantData_C_API_detachLender(&error, loan);
    CHECK(error.typeName == NULL);
    memset(samples.values, 0, 6 * sizeof(double));
    free(samples.values);
    const int reads = samples.reads;
    CHECK(element(&error, share, 5) == 42.0 && element(&error, v, 1) == 1.5);
    CHECK(ZVariantData_C_API_dimensions(&error, v).data[1] == 3 && samples.reads == reads);
    ZVariantData_C_API_reshapeNoRealloc(&error, v, ZVariantData_C_API_dimensions(&error, v));
    CHECK(error.typeName == NULL);
    ZVariantData_C_API_destruct(&error, share);
    ZVariantData_C_API_destruct(&error, v);
    CHECK(samples.released == 0);
}

/* The last variant going first ends the loan through `released`, once; a
 * lender that cannot reshape refuses one; a malformed lender is refused. */
static void ends_a_loan_nobody_detached(void)
{
    ErrorRecord error;
    error.typeName = NULL;
    double values[4] = {1, 2, 3, 4};
    Samples samples = {values, {4, 1}, 1, 0, 0};
    ZVariantLender lender = lender_of(&samples);
    ZVariantLoan* loan = NULL;
    ZVariantData* v = ZVariantData_C_API_createWithLender(&error, &lender, &loan);
    size_t two[1] = {2};
    ZArrayDimensions smaller = {two, 1};
    ZVariantData_C_API_reshapeNoRealloc(&error, v, smaller);
    CHECK(error.typeName != NULL && strcmp(error.message, "The lender of this memory does not reshape it.") == 0);
    error.typeName = NULL;
    ZVariantData* doubled = ZVariantData_C_API_convertDataTo(&error, v, ZWellKnownType_float, ZConversionMode_Cast);
    CHECK(error.typeName == NULL && ((const float*)ZVariantData_C_API_constStoredData(&error, doubled))[3] == 4.0f);
    ZVariantData_C_API_destruct(&error, doubled);
    ZVariantData_C_API_destruct(&error, v);
    CHECK(samples.released == 1);

    lender.type = ZWellKnownType_string;
    CHECK(ZVariantData_C_API_createWithLender(&error, &lender, &loan) == NULL);
    CHECK(error.typeName != NULL && strcmp(error.message, "A lender's element type must be numeric or bool, not 'string'.") == 0);
    lender = lender_of(&samples);
    lender.dimensions = NULL;
    CHECK(ZVariantData_C_API_createWithLender(&error, &lender, &loan) == NULL && error.typeName != NULL);
    CHECK(samples.released == 1);
}

/* Text elements in and out by pointer and length, with embedded NULs and
 * empty elements, and the misuse of each call. */
static void reads_and_builds_text_elements(void)
{
    ErrorRecord error;
    error.typeName = NULL;
    const char* texts[3] = {"alpha", NULL, "x\0y"};
    const size_t sizes[3] = {5, 0, 3};
    const size_t grid[2] = {1, 3};
    ZArrayDimensions dims = {grid, 2};
    ZVariantData* array = ZVariantData_C_API_constructTextArray(&error, texts, sizes, 3, dims, ZDataOrdering_RowMajor);
    size_t size = 99;
    const char* text = ZVariantData_C_API_textElementAt(&error, array, 2, &size);
    CHECK(error.typeName == NULL && size == 3 && memcmp(text, "x\0y", 4) == 0);
    text = ZVariantData_C_API_textElementAt(&error, array, 1, &size);
    CHECK(size == 0 && text[0] == '\0');
    CHECK(ZVariantData_C_API_textElementAt(&error, array, 3, &size) == NULL);
    CHECK(error.typeName != NULL && strcmp(error.typeName, "out_of_range") == 0);

    ZVariantData* scalar = ZVariantData_C_API_constructText(&error, "alpha", 5);
    ZVariantData* first = ZVariantData_C_API_constructTextArray(&error, texts, sizes, 1, dims, ZDataOrdering_RowMajor);
    CHECK(first == NULL && strcmp(error.message, "dimensions do not match data length") == 0);
    first = ZVariantData_C_API_constructTextArray(&error, texts, sizes, 1, ZVariantData_C_API_dimensions(&error, scalar),
                                                  ZDataOrdering_RowMajor);
    CHECK(ZVariantData_C_API_isEquivalentTo(&error, first, scalar, ZConversionMode_Lossless));
    CHECK(strcmp(ZVariantData_C_API_textElementAt(&error, scalar, 0, &size), "alpha") == 0);

    const double number = 1.0;
    ZVariantData* notText = ZVariantData_C_API_constructScalar(&error, &number, ZWellKnownType_double);
    CHECK(ZVariantData_C_API_textElementAt(&error, notText, 0, &size) == NULL);
    CHECK(error.typeName != NULL && strcmp(error.typeName, "invalid_argument") == 0);
    ZVariantData_C_API_destruct(&error, notText);
    ZVariantData_C_API_destruct(&error, first);
    ZVariantData_C_API_destruct(&error, scalar);
    ZVariantData_C_API_destruct(&error, array);
}

void run_lender_checks(void)
{
    lends_and_detaches();
    ends_a_loan_nobody_detached();
    reads_and_builds_text_elements();
}
