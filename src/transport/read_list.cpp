#include "transport/read_list.h"

#include "sys/memory.h"

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
    if (pJscInform == nullptr || pJscInform->opListTail == nullptr) {
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
    batch_drop_reads(pJscInform);
    free_nodes(&pJscInform->opListFree);
}
