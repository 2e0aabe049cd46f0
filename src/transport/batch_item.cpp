#include "transport/batch_item.h"

#include "hardware/pod_revision.h"
#include "transport/batch.h"
#include "transport/batch_room.h"
#include "transport/shared_field.h"

namespace {

constexpr uint32_t kWriteWords = 2;

constexpr uint32_t kNoRoom = UINT32_MAX;

// Where an item goes: a bounded copy of the block's counter; kNoRoom where it does not fit.
inline uint32_t find_room(lcl_shm* block, BatchItem item) {
    const uint32_t next = shared_read(block->tbcMblockPtr);
    return batch_has_room(next, shared_read(block->rdCntrLcl), shared_read(block->rdCntrGbl), item)
               ? next
               : kNoRoom;
}

// kNoRoom when the flush failed, or the proxy answered and did not empty the batch: the failure is
// noted, and the item is to be dropped.
[[gnu::noinline]] uint32_t flush_for_room(JSC_Inform* pJscInform, BatchItem item) {
    const int32_t code = qel_PerformIo(pJscInform);
    if (code != eJTI_ERROR_NONE) {
        batch_fail(pJscInform, code);
        return kNoRoom;
    }
    const uint32_t next = find_room(pJscInform->ProxyShm, item);
    if (next == kNoRoom) {
        batch_fail(pJscInform, eJTI_ERROR_BATCH_FAILED);
    }
    return next;
}

// Where an item goes, after a flush when there was no room for it.
inline uint32_t make_room(JSC_Inform* pJscInform, BatchItem item) {
    const uint32_t next = find_room(pJscInform->ProxyShm, item);
    return next != kNoRoom ? next : flush_for_room(pJscInform, item);
}

inline uint32_t put_write(lcl_shm* block, uint32_t next, uint16_t port, uint16_t value) {
    block->tbcOMblock[next] = port | SHM_WORD_WRITE;
    block->tbcOMblock[next + 1] = value;
    return next + kWriteWords;
}

} // namespace

bool batch_settles_sends(const JSC_Inform* pJscInform) {
    const JSC_Control* control = pJscInform->pJscControl;
    return pJscInform->qelVariable.slowclk && control != nullptr &&
           pod_needs_settled_words(control->emuRevision);
}

void batch_write(JSC_Inform* pJscInform, uint16_t port, uint16_t value) {
    if (!batch_takes_accesses(pJscInform)) {
        return;
    }
    const bool settles = port == TBC_PORT_SEND && batch_settles_sends(pJscInform);
    const uint32_t next = make_room(
        pJscInform, BatchItem{.words = settles ? 2 * kWriteWords : kWriteWords, .reads = 0});
    if (next == kNoRoom) {
        return;
    }
    lcl_shm* const block = pJscInform->ProxyShm;
    uint32_t end = put_write(block, next, port, value);
    if (settles) {
        // Required by those old pods: without it a slow test clock loses words.
        end = put_write(block, end, TBC_PORT_STATUS0, 0);
    }
    shared_write(block->tbcMblockPtr, end);
}

void batch_read(JSC_Inform* pJscInform, uint16_t port, uint16_t* pValue) {
    if (!batch_takes_accesses(pJscInform)) {
        return;
    }
    const uint32_t next = make_room(pJscInform, BatchItem{.words = 1, .reads = 1});
    if (next == kNoRoom) {
        return;
    }
    if (!batch_reserve_nodes(pJscInform, 1)) {
        batch_fail(pJscInform, eJTI_ERROR_NO_MEMORY);
        return;
    }
    batch_append_read(pJscInform, next, port, pValue);
}

void batch_wait(JSC_Inform* pJscInform, uint16_t wait_word) {
    if (pJscInform == nullptr || !channel_is_open(pJscInform) ||
        batch_failure(pJscInform) != eJTI_ERROR_NONE) {
        return;
    }
    const uint32_t next = make_room(pJscInform, BatchItem{.words = 1, .reads = 0});
    if (next == kNoRoom) {
        return;
    }
    lcl_shm* const block = pJscInform->ProxyShm;
    block->tbcOMblock[next] = wait_word;
    shared_write(block->tbcMblockPtr, next + 1);
}
