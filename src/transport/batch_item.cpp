#include "transport/batch_item.h"

#include "hardware/pod_revision.h"
#include "transport/batch.h"
#include "transport/batch_room.h"
#include "transport/read_list.h"
#include "transport/shared_field.h"

namespace {

constexpr BatchItem kWrite{.words = 2, .reads = 0};
constexpr BatchItem kSettledWrite{.words = 4, .reads = 0};
constexpr BatchItem kRead{.words = 1, .reads = 1};
constexpr BatchItem kWait{.words = 1, .reads = 0};

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
uint32_t make_room(JSC_Inform* pJscInform, BatchItem item) {
    const uint32_t next = find_room(pJscInform->ProxyShm, item);
    return next != kNoRoom ? next : flush_for_room(pJscInform, item);
}

inline void put_write(lcl_shm* block, uint32_t next, uint16_t port, uint16_t value) {
    block->tbcOMblock[next] = port | SHM_WORD_WRITE;
    block->tbcOMblock[next + 1] = value;
    shared_write(block->tbcMblockPtr, next + kWrite.words);
}

inline void put_wait(lcl_shm* block, uint32_t next, uint16_t wait_word) {
    block->tbcOMblock[next] = wait_word;
    shared_write(block->tbcMblockPtr, next + kWait.words);
}

// ---- the ways out of the common case, kept out of its way ----

[[gnu::noinline]] void write_settled(JSC_Inform* pJscInform, uint16_t port, uint16_t value) {
    const uint32_t next = make_room(pJscInform, kSettledWrite);
    if (next != kNoRoom) {
        put_write(pJscInform->ProxyShm, next, port, value);
        // Required by those old pods: without it a slow test clock loses words.
        put_write(pJscInform->ProxyShm, next + kWrite.words, TBC_PORT_STATUS0, 0);
    }
}

[[gnu::noinline]] void flush_and_write(JSC_Inform* pJscInform, uint16_t port, uint16_t value) {
    const uint32_t next = flush_for_room(pJscInform, kWrite);
    if (next != kNoRoom) {
        put_write(pJscInform->ProxyShm, next, port, value);
    }
}

[[gnu::noinline]] void flush_and_wait(JSC_Inform* pJscInform, uint16_t wait_word) {
    const uint32_t next = flush_for_room(pJscInform, kWait);
    if (next != kNoRoom) {
        put_wait(pJscInform->ProxyShm, next, wait_word);
    }
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
    if (port == TBC_PORT_SEND && batch_settles_sends(pJscInform)) {
        write_settled(pJscInform, port, value);
        return;
    }
    const uint32_t next = find_room(pJscInform->ProxyShm, kWrite);
    if (next == kNoRoom) [[unlikely]] {
        flush_and_write(pJscInform, port, value);
        return;
    }
    put_write(pJscInform->ProxyShm, next, port, value);
}

void batch_read(JSC_Inform* pJscInform, uint16_t port, uint16_t* pValue) {
    if (!batch_takes_accesses(pJscInform)) {
        return;
    }
    const uint32_t next = make_room(pJscInform, kRead);
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
    const uint32_t next = find_room(pJscInform->ProxyShm, kWait);
    if (next == kNoRoom) [[unlikely]] {
        flush_and_wait(pJscInform, wait_word);
        return;
    }
    put_wait(pJscInform->ProxyShm, next, wait_word);
}
