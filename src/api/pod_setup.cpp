#include "api/pod_setup.h"

#include "transport/port.h"

namespace {

constexpr uint32_t first_generation = 1;
constexpr uint32_t last_generation = 4;

uint32_t major_of(uint32_t revision) {
    return revision & POD_REVISION_MAJOR_MASK;
}

uint32_t flag(bool set, uint32_t bit) {
    return set ? bit : 0;
}

uint32_t field(uint32_t value, uint32_t mask, uint32_t shift) {
    return (value & mask) << shift;
}

bool is_generation(uint32_t version) {
    return version >= first_generation && version <= last_generation;
}

// The first generation divides by one more.
uint32_t divider(const QEL_Variable& pod, uint32_t revision) {
    const bool first = pod.version == first_generation ||
                       (!is_generation(pod.version) && major_of(revision) <= POD_REVISION_1);
    return pod.tckdiv + (first ? 1 : 0);
}

bool has_high_clamp_bit(uint32_t revision) {
    const uint32_t minor = revision & POD_REVISION_MINOR_MASK;
    return major_of(revision) > POD_REVISION_3 ||
           (major_of(revision) == POD_REVISION_3 && minor >= POD_REVISION_3_CLAMP_MINOR);
}

} // namespace

int32_t check_pod_generation(const JSC_Inform* pJscInform) {
    const uint32_t version = pJscInform->qelVariable.version;
    const bool agrees =
        !is_generation(version) || major_of(pJscInform->emuRevision) == version * POD_REVISION_1;
    return agrees ? eJTI_ERROR_NONE : eJTI_ERROR_CONTROLLER_KIND;
}

uint16_t pod_clock_word(const QEL_Variable& pod, uint32_t revision) {
    const uint32_t rate =
        major_of(revision) <= POD_REVISION_1
            ? field(pod.aclkdly, POD_CLOCK_ADAPT_DELAY_MASK, POD_CLOCK_ADAPT_DELAY_SHIFT)
            : field(pod.tckexp, POD_CLOCK_EXPONENT_MASK, POD_CLOCK_EXPONENT_SHIFT);
    return static_cast<uint16_t>(
        (divider(pod, revision) & POD_CLOCK_DIVIDER_MASK) | flag(pod.tckload, POD_CLOCK_TCK_LOAD) |
        flag(pod.tdiload, POD_CLOCK_TDI_LOAD) | flag(pod.shortdly, POD_CLOCK_SHORT_DELAY) |
        flag(pod.prediv, POD_CLOCK_PREDIVIDE) | flag(pod.aclken, POD_CLOCK_ADAPT_ENABLE) | rate);
}

uint16_t pod_timing_word(const QEL_Variable& pod, uint32_t revision) {
    const bool has_emu_modes = major_of(revision) > POD_REVISION_2;
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
    const bool high_clamp = has_high_clamp_bit(revision) && (pod.vclamp & POD_PINS_CLAMP_BIT4) != 0;
    return static_cast<uint16_t>((pod.vclamp & POD_PINS_CLAMP_MASK) |
                                 flag(high_clamp, POD_PINS_CLAMP_HIGH) |
                                 flag(pod.e0mode == POD_EMU_MODE_DRIVEN, POD_PINS_EMU0) |
                                 flag(pod.e1mode == POD_EMU_MODE_DRIVEN, POD_PINS_EMU1));
}

void write_pod_registers(JSC_Inform* pJscInform) {
    const QEL_Variable& pod = pJscInform->qelVariable;
    const uint32_t revision = pJscInform->emuRevision;
    PortWriteNoCache(pJscInform, TBC_PORT_POD_CLOCK, pod_clock_word(pod, revision));
    if (major_of(revision) > POD_REVISION_1) {
        PortWriteNoCache(pJscInform, TBC_PORT_POD_TIMING, pod_timing_word(pod, revision));
    }
    if (major_of(revision) > POD_REVISION_2) {
        PortWriteNoCache(pJscInform, TBC_PORT_POD_PINS, pod_pins_word(pod, revision));
    }
}
