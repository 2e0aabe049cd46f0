// What host operations are asked for in tests: commands, parameters, one of every argument.
#pragma once

#include "jsc_export.h"

namespace test_support {

// A fresh scan without ambles by the shortest ways, 16-bit buffers, no adjustment.
constexpr JSC_JtagCommand scan_command(JSC_JtagShift path = eJSC_JTAG_SHIFT_DR,
                                       JSC_JtagState end = eJSC_JTAG_STATE_IDLE,
                                       JSC_JtagAdjust adjust = eJSC_JTAG_ADJUST_USER) {
    return JSC_JtagCommand{eJSC_JTAG_TRANSIT_QUICKEST,
                           path,
                           eJSC_JTAG_TRANSIT_QUICKEST,
                           end,
                           eJSC_JTAG_DELAY_USE_END,
                           eJSC_JTAG_AMBLE_NEITHER,
                           eJSC_JTAG_USAGE_FRESH,
                           eJSC_JTAG_WIDTH_16,
                           adjust};
}

// A move without a shift; everything else is 0.
constexpr JSC_JtagCommand move_command(JSC_JtagState end,
                                       JSC_JtagTransit after = eJSC_JTAG_TRANSIT_QUICKEST) {
    JSC_JtagCommand command{};
    command.jtagAfter = after;
    command.jtagEnd = end;
    return command;
}

// One of everything that an operation of the table may be given, good for any call that is refused
// before it looks closer.
struct OperationArguments {
    JSC_JtagCommand command = scan_command();
    bool flag = false;
    uint32_t word = 0;
    uint16_t half = 0;
    uint8_t byte = 0;
    JSC_JtagAmbleDelay amble{};
    JSC_JtagState state{};
    JSC_ResetAction reset{};
    JSC_AdjustStuff adjust{};
    JSC_PodStatus pod{};
    JSC_OldStatus old{};
    JSC_FirmwareAction firmware{};
    JSC_JtagParam01 fixed{1, 0, 1, false};
    JSC_JtagParam16 param{1, 0, 1, &half, &half};
};

} // namespace test_support
