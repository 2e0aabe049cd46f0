#include "api/register_access.h"

#include "controller/registers.h"
#include "sys/check.h"
#include "transport/attached.h"
#include "transport/batch.h"

int32_t jsc_RegisterPoll(JSC_Inform* pJscInform, JSC_StatusType statusType, uint32_t parameter) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    RETURN_ON_ERROR(RegisterPoll(pJscInform, statusType, parameter));
    return batch_failure(pJscInform);
}

int32_t jsc_RegisterRead(JSC_Inform* pJscInform, bool incAdrs, bool incData, uint32_t address,
                         uint32_t count, uint16_t* pData) {
    RETURN_IF(pJscInform == nullptr || pData == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_ON_ERROR(check_attached(pJscInform));
    return RegisterRead(pJscInform, incAdrs, incData, address, count, pData);
}

int32_t jsc_RegisterWrite(JSC_Inform* pJscInform, bool incAdrs, bool incData, uint32_t address,
                          uint32_t count, uint16_t* pData) {
    RETURN_IF(pJscInform == nullptr || pData == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_ON_ERROR(check_attached(pJscInform));
    RETURN_ON_ERROR(RegisterWrite(pJscInform, incAdrs, incData, address, count, pData));
    return batch_failure(pJscInform);
}
