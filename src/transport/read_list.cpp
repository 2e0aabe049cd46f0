#include "transport/read_list.h"

#include "sys/memory.h"
#include "transport/channel_open.h"
#include "transport/shared_field.h"

namespace {

bool add_free_node(JSC_Inform* pJscInform) {
    auto* const node = static_cast<JSC_qel_oplist*>(sys_MemAlloc(sizeof(JSC_qel_oplist)));
    if (node == nullptr) {
        return false;
    }
    *node = JSC_qel_oplist{};
    node->next = pJscInform->opListFree;
    pJscInform->opListFree = node;
    return true;
}

void free_nodes(JSC_qel_oplist** ppHead) {
    while (*ppHead != nullptr) {
        void* node = *ppHead;
        *ppHead = (*ppHead)->next;
        sys_MemFree(&node);
    }
}

// Words that the next batch will bring, for reads that stand in it already.
uint64_t words_queued(const JSC_Inform* pJscInform) {
    return channel_is_open(pJscInform) ? shared_read(pJscInform->ProxyShm->rdCntrGbl) : 0;
}

uint64_t words_listed(const JSC_Inform* pJscInform) {
    uint64_t words = 0;
    for (const JSC_qel_oplist* node = pJscInform->opList; node != nullptr; node = node->next) {
        words += node->count;
    }
    return words;
}

// Drops reads of batches that failed, which stand first, until no more than `kept` words are
// listed.
void drop_oldest(JSC_Inform* pJscInform, uint64_t kept) {
    uint64_t listed = words_listed(pJscInform);
    while (pJscInform->opList != nullptr && listed > kept) {
        JSC_qel_oplist* const node = pJscInform->opList;
        listed -= node->count;
        pJscInform->opList = node->next;
        node->next = pJscInform->opListFree;
        pJscInform->opListFree = node;
    }
    if (pJscInform->opList == nullptr) {
        pJscInform->opListTail = nullptr;
    }
}

} // namespace

bool batch_reserve_nodes(JSC_Inform* pJscInform, uint32_t count) {
    const JSC_qel_oplist* node = pJscInform->opListFree;
    for (; node != nullptr && count > 0; node = node->next) {
        --count;
    }
    for (; count > 0; --count) {
        if (!add_free_node(pJscInform)) {
            return false;
        }
    }
    return true;
}

void batch_drop_reads(JSC_Inform* pJscInform) {
    if (pJscInform == nullptr) {
        return;
    }
    drop_oldest(pJscInform, words_queued(pJscInform));
    for (JSC_qel_oplist* node = pJscInform->opList; node != nullptr; node = node->next) {
        node->ptr = nullptr;
    }
}

void batch_take_reads(JSC_Inform* pJscInform) {
    if (pJscInform->opListTail == nullptr) {
        return;
    }
    pJscInform->opListTail->next = pJscInform->opListFree;
    pJscInform->opListFree = pJscInform->opList;
    pJscInform->opList = nullptr;
    pJscInform->opListTail = nullptr;
}

void batch_release(JSC_Inform* pJscInform) {
    if (pJscInform == nullptr) {
        return;
    }
    batch_take_reads(pJscInform);
    free_nodes(&pJscInform->opListFree);
}
