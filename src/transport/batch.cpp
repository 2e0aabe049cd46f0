#include "transport/batch.h"

#include "sys/check.h"
#include "transport/batch_room.h"
#include "transport/proxy_channel.h"
#include "transport/shared_field.h"

#include <algorithm>

namespace {

bool batch_is_dead(const JSC_Inform* pJscInform) {
    return pJscInform == nullptr || !channel_is_open(pJscInform) ||
           batch_failure(pJscInform) != eJTI_ERROR_NONE;
}

// `next` is a bounded copy of the block's counter.
void append_word(lcl_shm* block, uint32_t next, uint32_t word) {
    block->tbcOMblock[next] = static_cast<uint16_t>(word);
    shared_write(block->tbcMblockPtr, next + 1);
}

// Closes the open marker as a full run and opens the next. False when an index lies outside.
bool turn_marker(lcl_shm* block) {
    const uint32_t open_marker = shared_read(block->lastWCNTR);
    const uint32_t next = shared_read(block->tbcMblockPtr);
    if (open_marker >= SHM_BLOCK_WORDS || next >= SHM_BLOCK_WORDS) {
        return false;
    }
    shared_write(block->useZeroOfs, 1);
    block->tbcOMblock[open_marker] = SHM_MARKER_FULL;
    shared_write(block->lastWCNTR, next);
    append_word(block, next, SHM_MARKER_OPEN);
    return true;
}

// The room was made with an earlier look at the counter, and it is not ours alone.
void append_status_read(JSC_Inform* pJscInform, uint16_t port, uint16_t* pValue) {
    const uint32_t next = shared_read(pJscInform->ProxyShm->tbcMblockPtr);
    if (next >= SHM_BLOCK_WORDS) {
        batch_fail(pJscInform, eJTI_ERROR_BATCH_FAILED);
        return;
    }
    batch_append_read(pJscInform, next, port, pValue);
}

// The three status reads that every flush ends with. With podError set they are dropped like any
// other access. Nothing is queued on failure.
int32_t queue_status_reads(JSC_Inform* pJscInform) {
    RETURN_IF(pJscInform->podError != eJTI_ERROR_NONE, eJTI_ERROR_NONE);
    JSC_Control* const control = pJscInform->pJscControl;
    RETURN_IF(control == nullptr, eJTI_ERROR_HANDLE_STATE);
    lcl_shm* const block = pJscInform->ProxyShm;
    if (!batch_has_room(shared_read(block->tbcMblockPtr), shared_read(block->rdCntrLcl),
                        shared_read(block->rdCntrGbl), BatchItem{.words = 0, .reads = 0})) {
        return eJTI_ERROR_BATCH_FAILED;
    }
    RETURN_IF(!batch_reserve_nodes(pJscInform, kBatchStatusReads), eJTI_ERROR_NO_MEMORY);
    append_status_read(pJscInform, TBC_PORT_SUPPORT, &control->StatusCache);
    append_status_read(pJscInform, TBC_PORT_STATUS0, &control->Status0Cache);
    append_status_read(pJscInform, TBC_PORT_STATUS1, &control->Status1Cache);
    return batch_failure(pJscInform);
}

// Hands the words from `first` on to the pending reads, oldest first. Reads that an earlier, failed
// flush left behind stand first and take the first words; that is kept. Words past the end of the
// in-block do not exist.
void scatter(JSC_Inform* pJscInform, const uint16_t* first) {
    const uint16_t* word = first;
    const uint16_t* const end = std::end(pJscInform->ProxyShm->tbcIMblock);
    for (JSC_qel_oplist* node = pJscInform->opList; node != nullptr; node = node->next) {
        if (node->count == 1 && word != end && node->ptr != nullptr) [[likely]] {
            *node->ptr = *word++;
            continue;
        }
        const auto count = std::min<std::ptrdiff_t>(node->count, end - word);
        if (node->ptr != nullptr) {
            std::copy_n(word, count, node->ptr);
        }
        word += count;
    }
    batch_take_reads(pJscInform);
}

} // namespace

void qel_PostData(JSC_Inform* pJscInform, uint16_t word) {
    if (batch_is_dead(pJscInform)) {
        return;
    }
    lcl_shm* const block = pJscInform->ProxyShm;
    const uint32_t next = shared_read(block->tbcMblockPtr);
    if (!batch_has_room(next, shared_read(block->rdCntrLcl), shared_read(block->rdCntrGbl),
                        BatchItem{.words = 1, .reads = 0})) {
        batch_fail(pJscInform, eJTI_ERROR_BATCH_FAILED);
        return;
    }
    append_word(block, next, word);
}

void qel_ReadIncrement(JSC_Inform* pJscInform) {
    if (batch_is_dead(pJscInform)) {
        return;
    }
    lcl_shm* const block = pJscInform->ProxyShm;
    batch_count_reads(pJscInform, shared_read(block->rdCntrLcl), shared_read(block->rdCntrGbl), 1);
}

void qel_PostReadOp(JSC_Inform* pJscInform, uint16_t count, uint16_t* ptr) {
    if (batch_is_dead(pJscInform)) {
        return;
    }
    if (!batch_reserve_nodes(pJscInform, 1)) {
        batch_fail(pJscInform, eJTI_ERROR_NO_MEMORY);
        return;
    }
    batch_append_node(pJscInform, count, ptr);
}

int32_t qel_PerformIo(JSC_Inform* pJscInform) {
    RETURN_ON_ERROR(batch_failure(pJscInform));
    RETURN_IF(!channel_is_open(pJscInform), eJTI_ERROR_BATCH_FAILED);
    lcl_shm* const block = pJscInform->ProxyShm;
    const uint32_t queued = shared_read(block->tbcMblockPtr);
    RETURN_IF(queued < SHM_BATCH_MINIMUM, eJTI_ERROR_NONE);
    RETURN_ON_ERROR(queue_status_reads(pJscInform));
    const uint32_t reads = shared_read(block->rdCntrGbl);
    RETURN_IF(queued > SHM_BLOCK_WORDS || reads > SHM_BLOCK_WORDS, eJTI_ERROR_BATCH_FAILED);
    const int32_t status = channel_exchange(pJscInform, SHM_CMD_EXECUTE);
    RETURN_IF(status < 0, eJTI_ERROR_BATCH_FAILED);
    RETURN_IF(status == 0 || pJscInform->opList == nullptr, eJTI_ERROR_NONE);
    const uint32_t past_last = static_cast<uint32_t>(status) / sizeof(uint16_t);
    const bool odd = static_cast<uint32_t>(status) % sizeof(uint16_t) != 0;
    RETURN_IF(odd || past_last > SHM_BLOCK_WORDS || past_last < reads, eJTI_ERROR_BATCH_FAILED);
    scatter(pJscInform, &block->tbcIMblock[past_last - reads]);
    return eJTI_ERROR_NONE;
}

void batch_count_reads(JSC_Inform* pJscInform, uint32_t reads_local, uint32_t reads_global,
                       uint32_t count) {
    lcl_shm* const block = pJscInform->ProxyShm;
    shared_write(block->rdCntrGbl, reads_global + count);
    const uint32_t reads = reads_local + count;
    if (reads < SHM_MARKER_READS) {
        shared_write(block->rdCntrLcl, reads);
        return;
    }
    shared_write(block->rdCntrLcl, 0);
    if (!turn_marker(block)) {
        batch_fail(pJscInform, eJTI_ERROR_BATCH_FAILED);
    }
}

void batch_append_read(JSC_Inform* pJscInform, uint32_t next, uint16_t port, uint16_t* pValue) {
    lcl_shm* const block = pJscInform->ProxyShm;
    append_word(block, next, port);
    batch_count_reads(pJscInform, shared_read(block->rdCntrLcl), shared_read(block->rdCntrGbl), 1);
    batch_append_node(pJscInform, 1, pValue);
}
