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
    uint32_t found = 0;
    for (const JSC_qel_oplist* node = pJscInform->opListFree; node != nullptr && found < count;
         node = node->next) {
        ++found;
    }
    while (found < count) {
        if (!add_free_node(pJscInform)) {
            return false;
        }
        ++found;
    }
    return true;
}

void batch_append_node(JSC_Inform* pJscInform, uint32_t count, uint16_t* ptr) {
    JSC_qel_oplist* const node = pJscInform->opListFree;
    pJscInform->opListFree = node->next;
    node->op = 0;
    node->count = count;
    node->ptr = ptr;
    node->next = nullptr;
    if (pJscInform->opListTail == nullptr) {
        pJscInform->opList = node;
    } else {
        pJscInform->opListTail->next = node;
    }
    pJscInform->opListTail = node;
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
