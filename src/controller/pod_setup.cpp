#include "controller/pod_setup.h"

#include "hardware/pod_revision.h"
#include "transport/port.h"

namespace {

uint32_t flag(bool set, uint32_t bit) {
    return set ? bit : 0;
}

uint32_t field(uint32_t value, uint32_t mask, uint32_t shift) {
    return (value & mask) << shift;
}

// The first generation divides by one more.
uint32_t divider(const QEL_Variable& pod, uint32_t revision) {
    const bool first = pod_is_generation(pod.version) ? pod.version == POD_GENERATION_FIRST
                                                      : pod_is_first_generation(revision);
    return pod.tckdiv + (first ? 1 : 0);
}

} // namespace

int32_t check_pod_generation(const JSC_Inform* pJscInform) {
    const uint32_t version = pJscInform->qelVariable.version;
    const bool agrees =
        !pod_is_generation(version) || pod_revision_major(pJscInform->emuRevision) == version;
    return agrees ? eJTI_ERROR_NONE : eJTI_ERROR_CONTROLLER_KIND;
}

uint16_t pod_clock_word(const QEL_Variable& pod, uint32_t revision) {
    const uint32_t rate =
        pod_has_clock_exponent(revision)
            ? field(pod.tckexp, POD_CLOCK_EXPONENT_MASK, POD_CLOCK_EXPONENT_SHIFT)
            : field(pod.aclkdly, POD_CLOCK_ADAPT_DELAY_MASK, POD_CLOCK_ADAPT_DELAY_SHIFT);
    return static_cast<uint16_t>(
        (divider(pod, revision) & POD_CLOCK_DIVIDER_MASK) | flag(pod.tckload, POD_CLOCK_TCK_LOAD) |
        flag(pod.tdiload, POD_CLOCK_TDI_LOAD) | flag(pod.shortdly, POD_CLOCK_SHORT_DELAY) |
        flag(pod.prediv, POD_CLOCK_PREDIVIDE) | flag(pod.aclken, POD_CLOCK_ADAPT_ENABLE) | rate);
}

uint16_t pod_timing_word(const QEL_Variable& pod, uint32_t revision) {
    const bool has_emu_modes = pod_has_pin_register(revision);
    return static_cast<uint16_t>(
        flag(!pod.aw, POD_TIMING_HOST_WAITS) | flag(pod.tckb, POD_TIMING_NO_TCKR) |
        field(pod.tmsofs, POD_TIMING_OFFSET_MASK, POD_TIMING_TMS_SHIFT) |
        field(pod.tdoofs, POD_TIMING_OFFSET_MASK, POD_TIMING_TDO_SHIFT) |
        flag(has_emu_modes && pod.e0mode != 0, POD_TIMING_EMU0) |
        flag(has_emu_modes && pod.e1mode != 0, POD_TIMING_EMU1) |
        field(pod.tckdly, POD_TIMING_BYPASS_MASK, POD_TIMING_BYPASS_SHIFT) |
        flag(pod.loopb, POD_TIMING_LOOPBACK));
}

uint16_t pod_pins_word(const QEL_Variable& pod, uint32_t revision) {
    const bool high_clamp =
        pod_has_high_clamp_bit(revision) && (pod.vclamp & POD_PINS_CLAMP_BIT4) != 0;
    return static_cast<uint16_t>((pod.vclamp & POD_PINS_CLAMP_MASK) |
                                 flag(high_clamp, POD_PINS_CLAMP_HIGH) |
                                 flag(pod.e0mode == POD_EMU_MODE_DRIVEN, POD_PINS_EMU0) |
                                 flag(pod.e1mode == POD_EMU_MODE_DRIVEN, POD_PINS_EMU1));
}

void write_pod_registers(JSC_Inform* pJscInform) {
    const QEL_Variable& pod = pJscInform->qelVariable;
    const uint32_t revision = pJscInform->emuRevision;
    PortWriteNoCache(pJscInform, TBC_PORT_POD_CLOCK, pod_clock_word(pod, revision));
    if (pod_has_timing_register(revision)) {
        PortWriteNoCache(pJscInform, TBC_PORT_POD_TIMING, pod_timing_word(pod, revision));
    }
    if (pod_has_pin_register(revision)) {
        PortWriteNoCache(pJscInform, TBC_PORT_POD_PINS, pod_pins_word(pod, revision));
    }
}
