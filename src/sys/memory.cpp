#include "sys/memory.h"

#include "sys/os.h"

void* sys_MemAlloc(uint32_t size) {
    return size == 0 ? nullptr : os_calls.malloc(size);
}

void* sys_MemRealloc(void* pMemory, uint32_t /*oldSize*/, uint32_t newSize) {
    // Kept: size 0 does not free. Callers that get null here still own the old block.
    return newSize == 0 ? nullptr : os_calls.realloc(pMemory, newSize);
}

void sys_MemFree(void** ppMemory) {
    if (ppMemory == nullptr || *ppMemory == nullptr) {
        return;
    }
    os_calls.free(*ppMemory);
    *ppMemory = nullptr;
}

void* sys_MemFastAlloc(uint32_t size) {
    return sys_MemAlloc(size);
}

void* sys_MemFastRealloc(void* pMemory, uint32_t oldSize, uint32_t newSize) {
    return sys_MemRealloc(pMemory, oldSize, newSize);
}

void sys_MemFastFree(void** ppMemory, uint32_t* pSize) {
    if (pSize == nullptr || *pSize == 0 || ppMemory == nullptr || *ppMemory == nullptr) {
        return;
    }
    sys_MemFree(ppMemory);
    *pSize = 0;
}
