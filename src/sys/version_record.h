/*
 * version_record.h: the version of the library, as the build stamps it. C11 or C++20.
 */
#ifndef VERSION_RECORD_H
#define VERSION_RECORD_H

#include <stdint.h>

/* The names are those that the driver's documents give. */
/* NOLINTBEGIN(readability-identifier-naming) */

/* Version of the library, one constant filled at build time. */
typedef struct Str0VersionInform {
    uint32_t valid;
    char date[32]; /* as in "May 23 2017" */
    char time[32]; /* as in "14:47:32" */
    char package[64];
    char component[64];
    uint32_t packageMajor;
    uint32_t packageMinor;
    uint32_t packageDefect;
    uint32_t packagePatch;
    uint32_t componentMajor;
    uint32_t componentMinor;
    uint32_t componentDefect;
    uint32_t componentPatch;
} Str0VersionInform;

/* NOLINTEND(readability-identifier-naming) */

#endif /* VERSION_RECORD_H */
