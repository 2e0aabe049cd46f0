// Reset and initialisation of the controller. They move the TAP and set the link delay.
#pragma once

#include "jsc_internal.h"

JTI_EXPORT int32_t tbc_HardwareInit(JSC_Inform* pJscInform, JSC_ResetAction* pResetAction);
JTI_EXPORT int32_t tbc_InitLong(JSC_Inform* pJscInform, bool doneTrstn, LogFileInfo* pLogFileInfo,
                                JSC_ResetAction* pResetAction);
JTI_EXPORT int32_t tbc_InitShort(JSC_Inform* pJscInform);
JTI_EXPORT int32_t tbc_StandardReset(JSC_Inform* pJscInform, bool resetHidden);
JTI_EXPORT int32_t tbc_HardwareTerm(JSC_Inform* pJscInform);
