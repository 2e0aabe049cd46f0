// The host's access to controller registers.
#pragma once

#include "jsc_internal.h"

JTI_EXPORT int32_t jsc_RegisterPoll(JSC_Inform* pJscInform, JSC_StatusType statusType,
                                    uint32_t parameter);
JTI_EXPORT int32_t jsc_RegisterRead(JSC_Inform* pJscInform, bool incAdrs, bool incData,
                                    uint32_t address, uint32_t count, uint16_t* pData);
JTI_EXPORT int32_t jsc_RegisterWrite(JSC_Inform* pJscInform, bool incAdrs, bool incData,
                                     uint32_t address, uint32_t count, uint16_t* pData);
