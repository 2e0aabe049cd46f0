/*
 * share_record.h: a named shared block, and what it is named from. C11 or C++20.
 */
#ifndef SHARE_RECORD_H
#define SHARE_RECORD_H

#include "jti_typedef.h"

/* The names are those that the driver's documents give. */
/* NOLINTBEGIN(readability-identifier-naming) */

/* "JTI-", eight hexadecimal digits, the NUL. */
#define SHARE_NAME_SIZE 13
/* Characters of an object name without the NUL. */
#define SHARE_NAME_LENGTH 12

/* Parts that the name of a shared block is hashed from. */
typedef struct ShareNames {
    const char* pName0; /* kind, "control" */
    const char* pName1; /* owner, "libjsctalvor.so" */
    char* pName2;       /* driver name */
    uint32_t port;
} ShareNames;

/* A mapped shared block. */
typedef struct ShareInform {
    uint32_t size;    /* bytes of the caller's memory */
    void* pMemory;    /* the caller's memory; null while not mapped */
    intptr_t pHandle; /* the object's descriptor; 0 while not open */
    char objectName[SHARE_NAME_SIZE];
} ShareInform;

/* What tells a pod behind a pod block from the one that a fresh proxy puts in its place. */
typedef struct PodIdentity {
    uint64_t device; /* of the pod block's file system */
    uint64_t inode;  /* of the pod block; 0: no pod is known */
    uint32_t serial; /* as the device table gives them */
    uint32_t revision;
} PodIdentity;

/* The object begins with the attach count: 0 for the creator, one more for each later attacher. */
#define SHARE_HEADER_SIZE 4u

/* NOLINTEND(readability-identifier-naming) */

#endif /* SHARE_RECORD_H */
