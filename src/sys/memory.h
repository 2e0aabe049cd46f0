// Heap blocks that go back through a pointer to their owner's pointer. Sizes are bytes.
#pragma once

#include "jti_typedef.h"

// A fresh block of `size` bytes, contents undefined; the caller owns it and gives it back with
// sys_MemFree. Null for size 0 and when the heap is exhausted.
JTI_EXPORT void* sys_MemAlloc(uint32_t size);

// The block `pMemory` (or null: a fresh one) resized to `newSize` bytes; `oldSize` is not used.
// Null when the heap is exhausted and for newSize 0; the old block then stays allocated and stays
// the caller's.
JTI_EXPORT void* sys_MemRealloc(void* pMemory, uint32_t oldSize, uint32_t newSize);

// Frees the block that *ppMemory points at and sets *ppMemory to null. Does nothing when ppMemory
// or *ppMemory is null.
JTI_EXPORT void sys_MemFree(void** ppMemory);

// The names for callers that allocate often. They share the general heap: same contract as
// sys_MemAlloc and sys_MemRealloc.
JTI_EXPORT void* sys_MemFastAlloc(uint32_t size);
JTI_EXPORT void* sys_MemFastRealloc(void* pMemory, uint32_t oldSize, uint32_t newSize);

// Frees the block that *ppMemory points at, sets *ppMemory to null and *pSize to 0. Does nothing
// when a pointer is null or *pSize is 0: a block recorded with size 0 stays allocated.
JTI_EXPORT void sys_MemFastFree(void** ppMemory, uint32_t* pSize);
