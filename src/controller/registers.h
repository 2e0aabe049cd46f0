// Blocks of controller registers: read, write, poll.
#pragma once

#include "jsc_internal.h"

// 0 when the controller has register `first`, else -170.
JTI_EXPORT int32_t CheckCtlrRegister(JSC_Inform* pJscInform, uint32_t first);

// Reads `count` words and flushes; see JSC_RegisterRead_t. -170, or the flush's code.
JTI_EXPORT int32_t RegisterRead(JSC_Inform* pJscInform, bool incAddress, bool incPointer,
                                uint32_t first, uint32_t count, uint16_t* pData);

// Queues writes of `count` words; see JSC_RegisterWrite_t. 0 or -170.
JTI_EXPORT int32_t RegisterWrite(JSC_Inform* pJscInform, bool incAddress, bool incPointer,
                                 uint32_t first, uint32_t count, const uint16_t* pData);

// Queues a wait; `timeout` is not used. -122 for a type that cannot be waited for.
JTI_EXPORT int32_t RegisterPoll(JSC_Inform* pJscInform, JSC_StatusType status, uint32_t timeout);
