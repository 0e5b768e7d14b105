/* The one check of the C test program: report and count, never stop. */
#ifndef LUMCORE_C_BOUNDARY_CHECK_H
#define LUMCORE_C_BOUNDARY_CHECK_H

#include <stdio.h>

extern int g_failures;

#define CHECK(condition)                                                                  \
    do {                                                                                  \
        if (!(condition)) {                                                               \
            fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition); \
            ++g_failures;                                                                 \
        }                                                                                 \
    } while (0)

void run_variant_checks(void);
void run_dlpack_checks(void);
void run_tree_checks(void);
void run_lender_checks(void);

#endif
