// The pod's own registers, written at the first connect: clock, timing, pins.
#pragma once

#include "jsc_internal.h"

// -203 when the configured pod generation and the pod's revision are at odds.
[[nodiscard]] int32_t check_pod_generation(const JSC_Inform* pJscInform);

// Queues the writes of the pod registers that the pod's revision has.
void write_pod_registers(JSC_Inform* pJscInform);

// The words of the three registers.
uint16_t pod_clock_word(const QEL_Variable& pod, uint32_t revision);
uint16_t pod_timing_word(const QEL_Variable& pod, uint32_t revision);
uint16_t pod_pins_word(const QEL_Variable& pod, uint32_t revision);
