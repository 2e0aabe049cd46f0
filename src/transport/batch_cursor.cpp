#include "transport/batch_cursor.h"

#include "hardware/pod_revision.h"
#include "sys/memory.h"
#include "transport/batch.h"
#include "transport/batch_room.h"
#include "transport/proxy_channel.h"

namespace {

// Room that the common case leaves untouched: the longest item, and all that a flush adds.
constexpr uint32_t kLongestItem = 4;
constexpr uint32_t kCommonEnd = SHM_BLOCK_WORDS - kLongestItem - kBatchFlushWordsMost;

bool accesses_are_dropped(const JSC_Inform* pJscInform) {
    return !channel_is_open(pJscInform) || pJscInform->podError != eJTI_ERROR_NONE;
}

bool settles_after_send(const JSC_Inform* pJscInform) {
    const JSC_Control* control = pJscInform->pJscControl;
    return pJscInform->qelVariable.slowclk && control != nullptr &&
           pod_needs_settled_words(control->emuRevision);
}

// Takes over the block's counters, each read once. Counters that no batch can have leave the common
// case closed; the exact count of room judges them.
void load_counters(BatchCursor& cursor) {
    cursor.next = shared_read(cursor.block->tbcMblockPtr);
    cursor.reads_local = shared_read(cursor.block->rdCntrLcl);
    cursor.reads_global = shared_read(cursor.block->rdCntrGbl);
    const bool plausible =
        cursor.reads_global <= cursor.next && cursor.reads_local < SHM_MARKER_READS;
    const JSC_Inform* handle = cursor.handle;
    cursor.wait_end = plausible && batch_failure(handle) == eJTI_ERROR_NONE ? kCommonEnd : 0;
    cursor.access_end = plausible && handle->podError == eJTI_ERROR_NONE ? kCommonEnd : 0;
    cursor.free_node = handle->opListFree;
    cursor.tail = handle->opListTail;
}

// Room for an item, flushing for it when there is none. False when that failed: the failure is
// noted, and the item is to be dropped.
bool make_room(BatchCursor& cursor, BatchItem item) {
    if (batch_has_room(cursor.next, cursor.reads_local, cursor.reads_global, item)) {
        return true;
    }
    cursor_close(cursor);
    const int32_t code = qel_PerformIo(cursor.handle);
    if (code != eJTI_ERROR_NONE) {
        batch_fail(cursor.handle, code);
    }
    load_counters(cursor);
    if (code != eJTI_ERROR_NONE) {
        return false;
    }
    if (batch_has_room(cursor.next, cursor.reads_local, cursor.reads_global, item)) {
        return true;
    }
    // The proxy answered but did not empty the batch.
    batch_fail(cursor.handle, eJTI_ERROR_BATCH_FAILED);
    load_counters(cursor);
    return false;
}

} // namespace

BatchCursor cursor_open(JSC_Inform* pJscInform) {
    BatchCursor cursor{};
    cursor.handle = pJscInform;
    if (channel_is_open(pJscInform)) {
        cursor.block = pJscInform->ProxyShm;
        cursor.settles = settles_after_send(pJscInform);
        load_counters(cursor);
    }
    return cursor;
}

void cursor_close(const BatchCursor& cursor) {
    if (cursor.block == nullptr) {
        return;
    }
    shared_write(cursor.block->tbcMblockPtr, cursor.next);
    shared_write(cursor.block->rdCntrLcl, cursor.reads_local);
    shared_write(cursor.block->rdCntrGbl, cursor.reads_global);
    cursor.handle->opListFree = cursor.free_node;
    cursor.handle->opListTail = cursor.tail;
}

void cursor_write_slowly(BatchCursor& cursor, uint16_t port, uint16_t value) {
    const bool settles = port == TBC_PORT_SEND && cursor.settles;
    const BatchItem item{.words = settles ? kLongestItem : 2, .reads = 0};
    if (!accesses_are_dropped(cursor.handle) && make_room(cursor, item)) {
        cursor_put_write(cursor, port, value);
    }
}

void cursor_read_slowly(BatchCursor& cursor, uint16_t port, uint16_t* pValue) {
    if (accesses_are_dropped(cursor.handle) ||
        !make_room(cursor, BatchItem{.words = 1, .reads = 1})) {
        return;
    }
    cursor_close(cursor);
    if (batch_reserve_nodes(cursor.handle, 1)) {
        batch_append_read(cursor.handle, port, pValue);
    } else {
        batch_fail(cursor.handle, eJTI_ERROR_NO_MEMORY);
    }
    load_counters(cursor);
}

void cursor_wait_slowly(BatchCursor& cursor, uint16_t wait_word) {
    const bool dropped = cursor.block == nullptr || batch_failure(cursor.handle) != eJTI_ERROR_NONE;
    if (!dropped && make_room(cursor, BatchItem{.words = 1, .reads = 0})) {
        cursor_put(cursor, wait_word);
    }
}
