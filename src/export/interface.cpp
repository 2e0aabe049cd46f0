// The operation table, for the host.
#include "export/operations.h"
#include "sys/check.h"
#include "sys/memory.h"

namespace {

using Slot = JTI_Error (*)();

constexpr size_t kSlotCount = sizeof(JSC_Interface) / sizeof(Slot);

// What every slot of a deleted table is.
JTI_Error GetMissing() {
    return eJTI_ERROR_TABLE_DELETED;
}

// The stores are volatile because the memory is freed right after: a host with a stale pointer is
// to meet GetMissing there, so the compiler must not drop them as dead.
void overwrite_slots(JSC_Interface* table) {
    auto* slots = reinterpret_cast<volatile Slot*>(table);
    for (size_t slot = 0; slot < kSlotCount; ++slot) {
        slots[slot] = GetMissing;
    }
}

} // namespace

JTI_Error JSC_CreateInterface(JSC_Interface** ppInterface) {
    RETURN_IF(ppInterface == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    *ppInterface = nullptr;
    auto* table = static_cast<JSC_Interface*>(sys_MemFastAlloc(sizeof(JSC_Interface)));
    RETURN_IF(table == nullptr, eJTI_ERROR_NO_MEMORY);
    *table = operations;
    *ppInterface = table;
    return eJTI_ERROR_NONE;
}

JTI_Error JSC_DeleteInterface(JSC_Interface** ppInterface) {
    RETURN_IF(ppInterface == nullptr || *ppInterface == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    JSC_Interface* table = *ppInterface;
    *ppInterface = nullptr;
    overwrite_slots(table);
    void* block = table;
    uint32_t size = sizeof(JSC_Interface);
    sys_MemFastFree(&block, &size);
    return eJTI_ERROR_NONE;
}
