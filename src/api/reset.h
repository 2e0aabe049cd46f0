// Reset and initialisation of the controller. They move the TAP and set the link delay.
#pragma once

#include "jsc_internal.h"

// All return 0 or the code of the step that failed, at that step; earlier steps are not undone.
// -122 null pointer. -116 no controller block.

// The host's reset: tbc_HardwareInit.
JTI_EXPORT int32_t jsc_Reset(JSC_Inform* pJscInform, JSC_ResetAction* pResetAction);

// A reset from the host: empties the reset log, pulses TRSTn when asked, runs the long
// initialisation.
//   pResetAction  in: what to do; with `verbose` the reset log is written
// -122 also when trstAssert and trstNegate differ; nothing is touched then. -180 target power stays
// lost. -190 the support register could not be written. -520 the log is full.
JTI_EXPORT int32_t tbc_HardwareInit(JSC_Inform* pJscInform, JSC_ResetAction* pResetAction);

// The long initialisation: resets, EMU pins, edges, power, TAP reset, defaults, link delay.
//   doneTrstn     in: TRSTn was pulsed, so the TAP is to be reset as well
//   pLogFileInfo  out: what was asked and found, for the log
//   pResetAction  in: resetSoft, resetHard, resetHidden
// A failed hidden reset leaves the outputs disconnected.
JTI_EXPORT int32_t tbc_InitLong(JSC_Inform* pJscInform, bool doneTrstn, LogFileInfo* pLogFileInfo,
                                JSC_ResetAction* pResetAction);

// The controller's register defaults. -122 for the extended kind, whose done-wait is not offered.
JTI_EXPORT int32_t tbc_InitShort(JSC_Inform* pJscInform);

// Pulses the pod's reset line; resetHidden is not used.
JTI_EXPORT int32_t tbc_StandardReset(JSC_Inform* pJscInform, bool resetHidden);

// Parks the controller. Its last writes stay queued.
JTI_EXPORT int32_t tbc_HardwareTerm(JSC_Inform* pJscInform);
