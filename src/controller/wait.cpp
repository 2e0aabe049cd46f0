#include "controller/wait.h"

#include "hardware/pod_revision.h"
#include "sys/check.h"
#include "transport/attached.h"
#include "transport/batch_item.h"
#include "transport/port.h"

namespace {

uint16_t word_of_kind(JSC_StatusType status) {
    switch (status) {
    case eJSC_STATUS_TYPE_WR_BUFFER1_ONE:
        return SHM_WAIT_WRITE_ONE;
    case eJSC_STATUS_TYPE_WR_BUFFER1_MANY:
        return SHM_WAIT_WRITE_MANY;
    case eJSC_STATUS_TYPE_RD_BUFFER1_ONE:
        return SHM_WAIT_READ_ONE;
    case eJSC_STATUS_TYPE_RD_BUFFER1_MANY:
        return SHM_WAIT_READ_MANY;
    default:
        return 0;
    }
}

bool pod_waits_by_itself(const JSC_Inform* pJscInform) {
    return pJscInform->qelVariable.aw &&
           pod_can_wait_for_buffers(pJscInform->pJscControl->emuRevision);
}

} // namespace

uint16_t wait_word_of_status(JSC_Inform* pJscInform, JSC_StatusType status) {
    const uint16_t word = word_of_kind(status);
    if (word == 0) {
        return 0;
    }
    pJscInform->pJscControl->priorTBC = false;
    return pod_waits_by_itself(pJscInform) ? uint16_t{0} : word;
}

int32_t WaitForStatus(JSC_Inform* pJscInform, JSC_StatusType status) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    const uint16_t word = wait_word_of_status(pJscInform, status);
    if (word != 0) {
        batch_wait(pJscInform, word);
    }
    return eJTI_ERROR_NONE;
}

int32_t WaitForTbcDone(JSC_Inform* pJscInform) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    batch_wait(pJscInform, SHM_WAIT_DONE);
    pJscInform->pJscControl->priorTBC = false;
    return eJTI_ERROR_NONE;
}

int32_t WaitForExlDone(JSC_Inform* /*pJscInform*/) {
    // Kept: no extended controller has been connected with this driver, and none can be.
    return eJTI_ERROR_BAD_ARGUMENT;
}

void WaitAWhileTbc(JSC_Inform* pJscInform) {
    PortWrite(pJscInform, TBC_PORT_STATUS0, 0);
}

void WaitAWhileExl(JSC_Inform* /*pJscInform*/) {}
