// The event counter.
#pragma once

#include "jsc_internal.h"

JTI_EXPORT int32_t jsc_Benchmark(JSC_Inform* pJscInform, uint32_t eventPinIndex, bool eventPinRise,
                                 uint32_t* pEventPinCount);

// What jsc_Benchmark does.
//   eventPinIndex  in: EMU1, not EMU0
JTI_EXPORT int32_t tbc_BenchMark(JSC_Inform* pJscInform, bool eventPinIndex, bool eventPinRise,
                                 uint32_t* pEventPinCount);
