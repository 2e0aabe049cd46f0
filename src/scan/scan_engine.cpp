#include "scan/scan_engine.h"

#include "controller/wait.h"
#include "scan/arithmetic.h"
#include "scan/command.h"
#include "scan/scan_stream.h"
#include "sys/check.h"
#include "transport/attached.h"
#include "transport/batch.h"
#include "transport/batch_room.h"
#include "transport/port.h"

namespace {

// Bits that a leading word adds, less the one by which the count register is behind.
constexpr uint32_t kLeadExtra = 15;
// In fast mode a fixed shift of a value below this has ended before the next access.
constexpr uint32_t kShortFixedValue = 24;

// The count register's value: bits minus one, or with the 16 bits of a leading word.
uint32_t count_value(uint32_t count, bool adjust) {
    return adjust ? count + kLeadExtra : count - 1;
}

void write_bit_count(JSC_Inform* pJscInform, uint32_t value) {
    PortWrite(pJscInform, TBC_PORT_COUNT_LOW, static_cast<uint16_t>(value));
    PortWrite(pJscInform, TBC_PORT_COUNT_HIGH, static_cast<uint16_t>(value >> 16));
}

// Bit count, wait for the operation before, launch.
JTI_Error launch_shift(JSC_Inform* pJscInform, uint16_t end_state, uint16_t option,
                       uint32_t value) {
    write_bit_count(pJscInform, value);
    RETURN_ON_ERROR(WaitForTbcDone(pJscInform));
    RETURN_ON_ERROR(DoLaunchScan(pJscInform, end_state, option));
    return batch_failure(pJscInform);
}

void forget_scan_in_fast_mode(JSC_Inform* pJscInform) {
    JSC_Control* control = pJscInform->pJscControl;
    control->priorTBC = control->priorTBC && !control->timeDependNew.fastMode;
}

uint16_t path_flag(uint16_t wake_end_state) {
    return wake_end_state & TBC_STATE_IR_PATH;
}

// The path's Pause state, where a scan rests between its ambles and its main shift.
uint16_t pause_state(uint16_t wake_end_state) {
    return path_flag(wake_end_state) != 0 ? TBC_STATE_IR_PATH | TBC_STATE_PAUSE_IR
                                          : TBC_STATE_PAUSE_DR;
}

uint16_t end_on_path(uint16_t wake_end_state) {
    return wake_end_state & (TBC_STATE_IR_PATH | TBC_STATE_MASK);
}

// Ones before or behind the main shift; nothing for no bits.
JTI_Error shift_amble(JSC_Inform* pJscInform, uint16_t end_state, uint32_t bits, bool adjust) {
    RETURN_IF(bits == 0, eJTI_ERROR_NONE);
    return TbcScanFixed(pJscInform, end_state, bits, adjust, true);
}

// The main shift of a scan that may move data.
struct MainShift {
    uint16_t end_state;
    uint16_t option;
    uint32_t value; // of the count register
    ScanWords words;
};

// In fast mode a shift is forgotten when its words have gone; one without words only when it is
// short.
bool ends_before_next_access(const MainShift& shift) {
    const bool moves_words = scan_sends(shift.option) || scan_receives(shift.option);
    return moves_words || shift.value < kShortFixedValue;
}

JTI_Error run_main_shift(JSC_Inform* pJscInform, const MainShift& shift) {
    RETURN_ON_ERROR(launch_shift(pJscInform, shift.end_state, shift.option, shift.value));
    RETURN_ON_ERROR(scan_stream(pJscInform, shift.option, shift.words));
    if (ends_before_next_access(shift)) {
        forget_scan_in_fast_mode(pJscInform);
    }
    return scan_receives(shift.option) ? qel_PerformIo(pJscInform) : eJTI_ERROR_NONE;
}

// A run of reads is one node in each batch, but for the last steps before the block's end, which
// are listed singly: fewer than this. A flush makes all of them free again.
constexpr uint32_t kScanNodesMost = 32;

// Memory for the reads of a scan is had before anything of it is queued: half a scan would leave
// the controller waiting for words that nobody sends.
bool reserve_reads(JSC_Inform* pJscInform) {
    return batch_reserve_nodes(pJscInform, kScanNodesMost + kBatchStatusReads);
}

// What a strategy is called with, as one record.
struct DataScan {
    const JSC_JtagCommand* command;
    uint16_t wake_end_state;
    uint16_t option; // as it is launched
    uint32_t count;
    bool adjust;
    uint16_t* destination;
    const uint16_t* source;
};

// Preamble, main shift, postamble. The preamble takes the adjustment over from the main shift; the
// postamble is never adjusted.
JTI_Error run_data_scan(JSC_Inform* pJscInform, const DataScan& scan) {
    const bool receives = scan_receives(scan.option);
    RETURN_IF(scan.count == 0, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_IF(scan_sends(scan.option) && scan.source == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_IF(receives && scan.destination == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    uint32_t before = 0;
    uint32_t behind = 0;
    RETURN_ON_ERROR(
        DoAmbleCommand(pJscInform, scan.command, scan.wake_end_state, &before, &behind));
    const uint16_t pause = pause_state(scan.wake_end_state);
    const uint16_t end = end_on_path(scan.wake_end_state);
    const bool lead = scan.adjust && receives && before == 0;
    const uint32_t value = count_value(scan.count, lead);
    const MainShift shift{behind > 0 ? pause : end, scan.option, value,
                          ScanWords{WordsWhole16(value) + 1, lead, scan.source, scan.destination}};
    RETURN_IF(receives && !reserve_reads(pJscInform), eJTI_ERROR_NO_MEMORY);
    RETURN_ON_ERROR(shift_amble(pJscInform, pause, before, scan.adjust));
    RETURN_ON_ERROR(run_main_shift(pJscInform, shift));
    return shift_amble(pJscInform, end, behind, false);
}

// Zeros between ones: the ambles are ones whatever the main shift is.
JTI_Error shift_zeros(JSC_Inform* pJscInform, uint16_t wake_end_state, uint32_t count,
                      uint32_t before, uint32_t behind) {
    RETURN_IF(count == 0, eJTI_ERROR_BAD_ARGUMENT);
    const uint16_t pause = pause_state(wake_end_state);
    const uint16_t end = end_on_path(wake_end_state);
    RETURN_ON_ERROR(shift_amble(pJscInform, pause, before, false));
    RETURN_ON_ERROR(TbcScanFixed(pJscInform, behind > 0 ? pause : end, count, false, false));
    return shift_amble(pJscInform, end, behind, false);
}

using Strategy = int32_t (*)(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                             uint16_t wakeEndState, uint16_t scanOption, uint32_t count,
                             bool lengthAdjust, bool sendOnly, uint16_t* pBufferDst,
                             uint16_t* pBufferSrc);

Strategy choose_strategy(uint16_t control) {
    if ((control & ~TBC_OPTION_ONES) == TBC_SCAN_ZEROS) {
        return TbcScanBypass;
    }
    return (control & ~TBC_OPTION_RECEIVE) == TBC_SCAN_SEND ? TbcScanOldStyle2 : TbcScanOldStyle8;
}

// How a command moves the TAP around its shift.
struct Moves {
    uint16_t before; // transit words
    uint16_t after;
    uint16_t path; // state codes
    uint16_t end;

    uint16_t wake_end_state() const {
        return path == TBC_STATE_PAUSE_IR ? TBC_STATE_IR_PATH | end : end;
    }
};

// Refuses what no shift can be made of, before anything is written: ambles that the command does
// not name, a shift without a bit. Ones are one shift together with their ambles, so there the
// ambles count.
JTI_Error check_bits(JSC_Inform* pJscInform, const JSC_JtagCommand* command, uint16_t wake_state,
                     uint16_t control, uint32_t count) {
    uint32_t before = 0;
    uint32_t behind = 0;
    RETURN_ON_ERROR(DoAmbleCommand(pJscInform, command, wake_state, &before, &behind));
    const uint32_t bits = control == TBC_SCAN_ONES ? before + count + behind : count;
    return unsign2false(bits) ? eJTI_ERROR_BAD_ARGUMENT : eJTI_ERROR_NONE;
}

// The go-to before or behind a shift. QUICKEST is the way that the scan itself takes.
JTI_Error go_to_around(JSC_Inform* pJscInform, JSC_JtagTransit choice, uint16_t transit,
                       uint16_t state) {
    RETURN_IF(transit == TBC_TRANSIT_QUICKEST || choice == eJSC_JTAG_TRANSIT_QUICKEST,
              eJTI_ERROR_NONE);
    RETURN_ON_ERROR(WaitForTbcDone(pJscInform));
    return DoLaunchGoTo(pJscInform, transit, state);
}

// Words by which the buffers advance from one repeat to the next.
uint32_t repeat_step(const JSC_JtagCommand& command, uint32_t count, uint32_t repeat_count) {
    if (repeat_count == 1) {
        return 0;
    }
    return command.jtagWidth == eJSC_JTAG_WIDTH_32 ? 2 * WordsPartial32(count)
                                                   : WordsPartial16(count);
}

} // namespace

int32_t TbcScan(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand, uint16_t control,
                uint32_t count, bool lengthAdjust, bool sendOnly, bool sendFixed,
                uint32_t repeatCount, uint16_t* pBufferDst, uint16_t* pBufferSrc) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    RETURN_IF(!sendOnly && pBufferDst == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_IF(!sendFixed && pBufferSrc == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_IF(repeatCount == 0, eJTI_ERROR_BAD_ARGUMENT);
    Moves moves{};
    RETURN_ON_ERROR(DoStateCommand(pCommand, true, count, &moves.before, &moves.path, &moves.after,
                                   &moves.end));
    const uint16_t wake = moves.wake_end_state();
    RETURN_ON_ERROR(check_bits(pJscInform, pCommand, wake, control, count));
    const Strategy strategy = choose_strategy(control);
    const uint32_t step = repeat_step(*pCommand, count, repeatCount);
    const bool reuses = pCommand->jtagUsage == eJSC_JTAG_USAGE_REUSE;
    for (uint32_t left = repeatCount; left > 0; --left) {
        RETURN_ON_ERROR(go_to_around(pJscInform, pCommand->jtagBefore, moves.before, moves.path));
        RETURN_ON_ERROR(strategy(pJscInform, pCommand, wake, control, count, lengthAdjust, sendOnly,
                                 pBufferDst, pBufferSrc));
        RETURN_ON_ERROR(go_to_around(pJscInform, pCommand->jtagAfter, moves.after, moves.end));
        if (left > 1) {
            pBufferDst += sendOnly ? 0 : step;
            pBufferSrc += pBufferSrc == nullptr || reuses ? 0 : step;
        }
    }
    return batch_failure(pJscInform);
}

int32_t TbcScanFixed(JSC_Inform* pJscInform, uint16_t wakeEndState, uint32_t count,
                     bool lengthAdjust, bool useOnes) {
    RETURN_IF(count == 0, eJTI_ERROR_BAD_ARGUMENT);
    const uint32_t value = count_value(count, lengthAdjust);
    const uint16_t option = useOnes ? TBC_SCAN_ONES : TBC_SCAN_ZEROS;
    RETURN_ON_ERROR(launch_shift(pJscInform, wakeEndState, option, value));
    if (value < kShortFixedValue) {
        forget_scan_in_fast_mode(pJscInform);
    }
    return eJTI_ERROR_NONE;
}

int32_t TbcScanBypass(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                      uint16_t wakeEndState, uint16_t scanOption, uint32_t count,
                      bool /*lengthAdjust*/, bool /*sendOnly*/, uint16_t* /*pBufferDst*/,
                      uint16_t* /*pBufferSrc*/) {
    uint32_t before = 0;
    uint32_t behind = 0;
    RETURN_ON_ERROR(DoAmbleCommand(pJscInform, pCommand, wakeEndState, &before, &behind));
    if (scanOption == TBC_SCAN_ONES) {
        return TbcScanFixed(pJscInform, end_on_path(wakeEndState), before + count + behind, false,
                            true);
    }
    return shift_zeros(pJscInform, wakeEndState, count, before, behind);
}

int32_t TbcScanOldStyle2(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                         uint16_t wakeEndState, uint16_t /*scanOption*/, uint32_t count,
                         bool lengthAdjust, bool sendOnly, uint16_t* pBufferDst,
                         uint16_t* pBufferSrc) {
    const uint16_t option = sendOnly ? TBC_SCAN_SEND : TBC_SCAN_BOTH;
    return run_data_scan(pJscInform, DataScan{pCommand, wakeEndState, option, count, lengthAdjust,
                                              pBufferDst, pBufferSrc});
}

int32_t TbcScanOldStyle8(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                         uint16_t wakeEndState, uint16_t scanOption, uint32_t count,
                         bool lengthAdjust, bool sendOnly, uint16_t* pBufferDst,
                         uint16_t* pBufferSrc) {
    const uint16_t option = scanOption & (sendOnly ? TBC_SCAN_SEND : TBC_SCAN_BOTH);
    return run_data_scan(pJscInform, DataScan{pCommand, wakeEndState, option, count, lengthAdjust,
                                              pBufferDst, pBufferSrc});
}
