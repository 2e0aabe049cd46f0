// The link delay: compensation of the cable, 0 to 31 test clocks, in the low bits of register 4.
#pragma once

#include "jsc_internal.h"

JTI_EXPORT int32_t jsc_GetLinkDelay(JSC_Inform* pJscInform, uint32_t* pDefaultDelay,
                                    uint32_t* pMaximumDelay, uint32_t* pActualDelay);
JTI_EXPORT int32_t jsc_PutLinkDelay(JSC_Inform* pJscInform, int32_t modifyDelay);
// Puts a delay into priorConfig and register 4. -116 without controller state.
JTI_EXPORT int32_t WriteLinkDelay(JSC_Inform* pJscInform, uint32_t writeDelay);
// Takes the base delay and the delta from the configuration; the delta accumulates.
JTI_EXPORT int32_t SaveVariableLinkDelay(JSC_Inform* pJscInform, uint32_t defaultLinkDelay);
// The edges add nothing to the delay. Always 0.
JTI_EXPORT int32_t SaveTimingLinkDelay(JSC_Inform* pJscInform, bool tdoEdgeFall, bool tdiEdgeFall);
// Applies the sum of base, delta and timing, modulo maximumLinkDelay + 1. -122 null pointer;
// *pActualLinkDelay is 0xFFFFFFFF on failure. A maximum of 0xFFFFFFFF applies the sum as it is.
JTI_EXPORT int32_t ModifyActualLinkDelay(JSC_Inform* pJscInform, uint32_t maximumLinkDelay,
                                         uint32_t* pActualLinkDelay);
