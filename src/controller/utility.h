// The pod's support register and the controller registers that steer outputs, edges, EMU pins and
// the event counter. The only code that knows their bits.
#pragma once

#include "jsc_internal.h"

// All return 0; -122 for a null pointer; -190 for a refused support-register write; or the code of
// a failed flush.

// Event settings of the pod: all enabled, all high.
JTI_EXPORT int32_t util_EventInform(JSC_Inform* pJscInform, bool* pEvent3Enable,
                                    bool* pEvent2Enable, bool* pEvent3Value, bool* pEvent2Value);
// Pin options of the pod: none.
JTI_EXPORT int32_t util_PinsInform(JSC_Inform* pJscInform, bool* pUseClockOutOff,
                                   bool* pUseDataInFall, bool* pUseEventInFall);
// Stores the clock mode.
JTI_EXPORT int32_t util_ModeConfig(JSC_Inform* pJscInform, bool slowMode, bool fastMode);
// Whether the target reset is asserted, as of the last flush.
JTI_EXPORT int32_t util_ResetStatus(JSC_Inform* pJscInform, bool* pResetStatus);
// Asserts or releases the target reset; asserting also zeroes the register cache, once the support
// register was written.
JTI_EXPORT int32_t util_ResetConfig(JSC_Inform* pJscInform, bool resetConfig);
// The condition latch, as of the last flush.
JTI_EXPORT int32_t util_TrstStatus(JSC_Inform* pJscInform, bool* pTrstStatus);
// Pulses the clear line when the condition latch equals trstConfig.
JTI_EXPORT int32_t util_TrstConfig(JSC_Inform* pJscInform, bool trstConfig);
// The utility revision, 1 to 8.
JTI_EXPORT int32_t util_UtilityRevise(JSC_Inform* pJscInform, uint32_t* pReviseStatus);
// The default link delay in test clocks.
JTI_EXPORT int32_t util_DelayInform(JSC_Inform* pJscInform, uint32_t* pLinkDelay);
// Conditions of cable, power and clock, as of the last flush.
JTI_EXPORT int32_t util_CableStatus(JSC_Inform* pJscInform, JSC_PodStatus* pPodStatus);
// Clears the power and clock conditions where requested; near and far alone clear nothing.
JTI_EXPORT int32_t util_CableClear(JSC_Inform* pJscInform, JSC_PodStatus* pPodClear);
// Applies the configured TDO edge. The two arguments are not used.
JTI_EXPORT int32_t util_TimingConfig(JSC_Inform* pJscInform, bool tdoEdgeFall, bool tdiEdgeFall);
// The outputs need nothing.
JTI_EXPORT int32_t util_OutputConfig(JSC_Inform* pJscInform, bool outputConfig);
// Whether the outputs are disconnected.
JTI_EXPORT int32_t util_DisconStatus(JSC_Inform* pJscInform, bool* pDisconStatus);
// Disconnects or connects the outputs; the write stays queued.
JTI_EXPORT int32_t util_DisconConfig(JSC_Inform* pJscInform, bool disconConfig);
// Levels of the EMU pins. One flush.
JTI_EXPORT int32_t util_EmuRead(JSC_Inform* pJscInform, bool* pEmuPin1, bool* pEmuPin0);
// Arms the event counter.
JTI_EXPORT int32_t util_BenchMarkConfig(JSC_Inform* pJscInform, bool eventPinChoice,
                                        bool eventPinRise);
// Reads the event counter; eventPinChoice is not used.
JTI_EXPORT int32_t util_BenchMarkStatus(JSC_Inform* pJscInform, bool eventPinChoice,
                                        uint32_t* pEventPinCount);
