#include "controller/registers.h"

#include "controller/wait.h"
#include "sys/check.h"
#include "transport/attached.h"
#include "transport/batch.h"
#include "transport/port.h"

namespace {

int32_t queue_poll(JSC_Inform* pJscInform, JSC_StatusType status) {
    switch (status) {
    case eJSC_STATUS_TYPE_ACCESS_READY:
        return eJTI_ERROR_NONE;
    case eJSC_STATUS_TYPE_WR_BUFFER1_ONE:
    case eJSC_STATUS_TYPE_WR_BUFFER1_MANY:
    case eJSC_STATUS_TYPE_RD_BUFFER1_ONE:
    case eJSC_STATUS_TYPE_RD_BUFFER1_MANY:
        return WaitForStatus(pJscInform, status);
    case eJSC_STATUS_TYPE_COMMAND_FINISH:
        return WaitForTbcDone(pJscInform);
    case eJSC_STATUS_TYPE_EXTRA_FINISH:
        return WaitForExlDone(pJscInform);
    default:
        return eJTI_ERROR_BAD_ARGUMENT;
    }
}

} // namespace

int32_t CheckCtlrRegister(JSC_Inform* pJscInform, uint32_t first) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    RETURN_IF(first < TBC_BASIC_PORTS, eJTI_ERROR_NONE);
    RETURN_IF(pJscInform->pJscControl->ctlrRevise == eJTI_CONTROL_ID_TBC,
              eJTI_ERROR_REGISTER_RANGE);
    return first < TBC_EXTENDED_PORTS ? eJTI_ERROR_NONE : eJTI_ERROR_REGISTER_RANGE;
}

int32_t RegisterRead(JSC_Inform* pJscInform, bool incAddress, bool incPointer, uint32_t first,
                     uint32_t count, uint16_t* pData) {
    RETURN_ON_ERROR(CheckCtlrRegister(pJscInform, first));
    RETURN_IF(pData == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    auto port = static_cast<uint16_t>(first);
    for (uint32_t done = 0; done < count; ++done) {
        RETURN_ON_ERROR(PortRead(pJscInform, port, pData));
        port = static_cast<uint16_t>(port + (incAddress ? 1 : 0));
        pData += incPointer ? 1 : 0;
    }
    return qel_PerformIo(pJscInform);
}

int32_t RegisterWrite(JSC_Inform* pJscInform, bool incAddress, bool incPointer, uint32_t first,
                      uint32_t count, const uint16_t* pData) {
    RETURN_ON_ERROR(CheckCtlrRegister(pJscInform, first));
    RETURN_IF(pData == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    auto port = static_cast<uint16_t>(first);
    for (uint32_t done = 0; done < count; ++done) {
        PortWrite(pJscInform, port, *pData);
        port = static_cast<uint16_t>(port + (incAddress ? 1 : 0));
        pData += incPointer ? 1 : 0;
    }
    return batch_failure(pJscInform);
}

int32_t RegisterPoll(JSC_Inform* pJscInform, JSC_StatusType status, uint32_t /*timeout*/) {
    RETURN_IF(pJscInform == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_ON_ERROR(queue_poll(pJscInform, status));
    return batch_failure(pJscInform);
}
