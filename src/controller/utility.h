// The pod's support register and the controller registers that steer outputs, edges, EMU pins and
// the event counter, in words of what they do. What a pod of which generation has is told by
// hardware/pod_revision.h.
//
// All return 0; -122 for a null handle or output; -116 for a handle without a controller block,
// where one is needed; or the code of a failed flush. Outputs change only on success. "As of the
// last flush" is what the last flush on any handle of this controller block read.
#pragma once

#include "jsc_internal.h"

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
// Flushes, then asserts or releases the target reset through the support register. -190 when the
// proxy refuses; the cached status is then unchanged. Once the register was written, asserting also
// zeroes the register cache.
JTI_EXPORT int32_t util_ResetConfig(JSC_Inform* pJscInform, bool resetConfig);
// The condition latch, as of the last flush.
JTI_EXPORT int32_t util_TrstStatus(JSC_Inform* pJscInform, bool* pTrstStatus);
// Flushes, then pulses the clear line when the condition latch equals trstConfig. Pods of the
// first generation are given 10 ms and a settle delay after the pulse.
JTI_EXPORT int32_t util_TrstConfig(JSC_Inform* pJscInform, bool trstConfig);
// The utility revision, 1 to 8, as of the last flush.
JTI_EXPORT int32_t util_UtilityRevise(JSC_Inform* pJscInform, uint32_t* pReviseStatus);
// The default link delay in test clocks.
JTI_EXPORT int32_t util_DelayInform(JSC_Inform* pJscInform, uint32_t* pLinkDelay);
// Conditions of power and clock, as of the last flush; cable breaks are never reported. Pods of the
// first generation do not report the clock.
JTI_EXPORT int32_t util_CableStatus(JSC_Inform* pJscInform, JSC_PodStatus* pPodStatus);
// Clears the power and clock conditions when either is requested; near and far alone clear nothing.
//   pPodClear  in: the requests
JTI_EXPORT int32_t util_CableClear(JSC_Inform* pJscInform, JSC_PodStatus* pPodClear);
// Applies the configured TDO edge, and flushes. The two arguments are not used.
JTI_EXPORT int32_t util_TimingConfig(JSC_Inform* pJscInform, bool tdoEdgeFall, bool tdiEdgeFall);
// The outputs need nothing.
JTI_EXPORT int32_t util_OutputConfig(JSC_Inform* pJscInform, bool outputConfig);
// Whether the outputs are disconnected. One flush.
JTI_EXPORT int32_t util_DisconStatus(JSC_Inform* pJscInform, bool* pDisconStatus);
// Flushes, then disconnects (true) or connects the outputs; the write stays queued.
JTI_EXPORT int32_t util_DisconConfig(JSC_Inform* pJscInform, bool disconConfig);
// Levels of the EMU pins. One flush.
JTI_EXPORT int32_t util_EmuRead(JSC_Inform* pJscInform, bool* pEmuPin1, bool* pEmuPin0);
// Arms the event counter.
//   eventPinChoice  in: EMU1 instead of EMU0
//   eventPinRise    in: rising edges instead of falling ones
JTI_EXPORT int32_t util_BenchMarkConfig(JSC_Inform* pJscInform, bool eventPinChoice,
                                        bool eventPinRise);
// Reads the event counter; eventPinChoice is not used. The count is 0 on failure. The write that
// releases the counter stays queued.
JTI_EXPORT int32_t util_BenchMarkStatus(JSC_Inform* pJscInform, bool eventPinChoice,
                                        uint32_t* pEventPinCount);
