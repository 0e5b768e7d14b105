/* The flat interface used from C: proof that the boundary is C. This file
 * holds the strings and the program; CVariantBoundaryTest.c the variants. */
#include <stdio.h>
#include <string.h>

#include "LumCore/c/LumCoreFlat.h"

#include "CBoundaryCheck.h"

int g_failures = 0;
/* Under AddressSanitizer and valgrind a refused operator new ends the
 * program instead of throwing. */
#ifdef LUMCORE_TEST_HEAP_ABORTS
static int g_heap_may_refuse = 0;
#else
static int g_heap_may_refuse = 1;
#endif

static void makes_shares_fills_and_releases(void)
{
    ErrorRecord error;
    error.typeName = NULL;
    ZStringData* text = ZStringData_C_API_constructCString(&error, "from C", 6);
    CHECK(error.typeName == NULL && text != NULL);
    ZStringData* share = ZStringData_C_API_copy(&error, text);
    CHECK(share == text);
    CHECK(ZStringData_C_API_getLength(&error, share) == 6);
    CHECK(strcmp(ZStringData_C_API_getConstDataPointer(&error, share), "from C") == 0);
    ZStringData_C_API_destruct(&error, text);
    CHECK(strcmp(ZStringData_C_API_getConstDataPointer(&error, share), "from C") == 0);
    ZStringData_C_API_destruct(&error, share);
    ZStringData_C_API_destruct(&error, NULL);
    CHECK(error.typeName == NULL);

    StringBufferResult buffer = ZStringData_C_API_constructCStringWithSize(&error, 3);
    CHECK(error.typeName == NULL);
    memcpy(buffer.data, "xyz", 4);
    CHECK(strcmp(ZStringData_C_API_getConstDataPointer(&error, buffer.handle), "xyz") == 0);
    ZStringData_C_API_destruct(&error, buffer.handle);
}

static void sees_a_failure_in_the_record(void)
{
    ErrorRecord error;
    error.typeName = NULL;
    if (g_heap_may_refuse) {
        /* A block the heap can never give out. */
        CHECK(ZStringData_C_API_constructCString(&error, "x", (size_t)1 << 62) == NULL);
        CHECK(error.typeName != NULL && strcmp(error.typeName, "bad_alloc") == 0);
        CHECK(strlen(error.message) < sizeof error.message);
    }

    /* A size whose record would wrap past the top of memory is refused
     * before anything is asked of the heap. */
    StringBufferResult huge = ZStringData_C_API_constructCStringWithSize(&error, (size_t)-1 - 4);
    CHECK(huge.handle == NULL && huge.data == NULL);
    CHECK(error.typeName != NULL && strcmp(error.typeName, "bad_alloc") == 0);

    /* The same record, reused for a call that succeeds, is clean again. */
    ZStringData* text = ZStringData_C_API_constructCString(&error, "ok", 2);
    CHECK(error.typeName == NULL && error.message[0] == '\0');
    ZStringData_C_API_destruct(&error, text);
}

int main(int argc, char** argv)
{
    if (argc > 1 && strcmp(argv[1], "--under-memcheck") == 0) {
        g_heap_may_refuse = 0;
    }
    makes_shares_fills_and_releases();
    sees_a_failure_in_the_record();
    run_variant_checks();
    run_dlpack_checks();
    run_tree_checks();
    run_lender_checks();
    if (g_failures != 0) {
        fprintf(stderr, "%d check(s) failed\n", g_failures);
        return 1;
    }
    puts("flat strings, variants and trees from C: all checks passed");
    return 0;
}
