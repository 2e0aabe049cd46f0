// State moves and the small pin and timing operations.
#pragma once

#include "jsc_internal.h"

// The state that a controller code 0 to 7 stands for.
JTI_EXPORT extern const JSC_JtagState gLegacyToJtagState[8];

JTI_EXPORT int32_t jsc_GetState(JSC_Inform* pJscInform, JSC_JtagState* pState);
JTI_EXPORT int32_t jsc_PutState(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                uint32_t delayCount, uint32_t repeatCount);
JTI_EXPORT int32_t jsc_WaitForTclk(JSC_Inform* pJscInform, uint32_t periodDelay);
JTI_EXPORT int32_t jsc_HoldFreeOuts(JSC_Inform* pJscInform, bool holdTclk, bool holdTrst,
                                    bool holdTms, bool holdTdo);
JTI_EXPORT int32_t jsc_TimingEdge(JSC_Inform* pJscInform, bool outputFall, bool inputFall);
