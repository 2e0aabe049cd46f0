#include "operation_calls.h"

#include <cstring>
#include <vector>

namespace torture {
namespace {

// ---- arguments --------------------------------------------------------------------------------

constexpr uint32_t kBits = 96;

JSC_JtagCommand scan() {
    return JSC_JtagCommand{
        eJSC_JTAG_TRANSIT_QUICKEST, eJSC_JTAG_SHIFT_DR,      eJSC_JTAG_TRANSIT_QUICKEST,
        eJSC_JTAG_STATE_IDLE,       eJSC_JTAG_DELAY_USE_END, eJSC_JTAG_AMBLE_NEITHER,
        eJSC_JTAG_USAGE_FRESH,      eJSC_JTAG_WIDTH_16,      eJSC_JTAG_ADJUST_AUTO};
}

JSC_JtagCommand move() {
    JSC_JtagCommand command{};
    command.jtagAfter = eJSC_JTAG_TRANSIT_QUICKEST;
    command.jtagEnd = eJSC_JTAG_STATE_PAUSE_DR;
    return command;
}

uint16_t sent[] = {0x1234, 0x5678, 0x9ABC, 0xDEF0, 0x0F1E, 0x2D3C};

// The parameter record of a scan of any width: one layout.
template <typename Param>
Param param(Outputs& out) {
    Param record{};
    record.repeatCount = 1;
    record.shiftCount = kBits;
    record.pOutBuffer = reinterpret_cast<decltype(record.pOutBuffer)>(sent);
    record.pInBuffer = reinterpret_cast<decltype(record.pInBuffer)>(out.words);
    return record;
}

// ---- what failures leave ----------------------------------------------------------------------

void flag_true(Outputs& out) {
    out.flags[0] = true;
}

void no_log_words(Outputs& out) {
    out.numbers[0] = 0;
}

using enum Stage;
using enum Failure;
using Table = const JSC_Interface&;
using Handle = JSC_Inform*;

#define SLOT(member) #member, offsetof(JSC_Interface, member) / sizeof(void (*)())
#define CALL(expression)                                                                           \
    [](Table table, [[maybe_unused]] Handle handle, [[maybe_unused]] Outputs& out) -> int32_t {    \
        return expression;                                                                         \
    }
#define SCAN(slot, record, memory)                                                                 \
    OperationCall {                                                                                \
        SLOT(slot), Connected, memory, memory, 0,                                                  \
            [](Table table, Handle handle, Outputs& out) -> int32_t {                              \
                const JSC_JtagCommand command = scan();                                            \
                const auto with = param<record>(out);                                              \
                return table.slot(handle, &command, &with);                                        \
            },                                                                                     \
            nullptr                                                                                \
    }

const std::vector<OperationCall> kCalls =
    {
        {SLOT(Connect), Initialised, Failure::Connect, Failure::Connect, 0,
         CALL(table.Connect(handle, out.flags)), flag_true},
        {SLOT(Disconnect), LastConnected, Reported, Reported, 0,
         CALL(table.Disconnect(handle, out.flags)), flag_true},
        {SLOT(StatusTrstn), Connected, None, None, 0, CALL(table.StatusTrstn(handle, out.flags)),
         nullptr},
        {SLOT(ModifyTrstn), Connected, Reported, Reported, 0,
         CALL(table.ModifyTrstn(handle, eJSC_JTAG_PIN_SET_LEVEL, 0, 0)), nullptr},
        {SLOT(GetAmbleDelay), Connected, None, None, 0,
         CALL(table.GetAmbleDelay(handle, &out.amble)), nullptr},
        {SLOT(PutAmbleDelay), Connected, None, None, 0,
         [](Table table, Handle handle, Outputs&) -> int32_t {
             JSC_JtagAmbleDelay ambles{};
             ambles.useMains = true;
             return table.PutAmbleDelay(handle, &ambles);
         },
         nullptr},
        {SLOT(GetLinkDelay), Connected, None, None, 0,
         CALL(table.GetLinkDelay(handle, &out.numbers[0], &out.numbers[1], &out.numbers[2])),
         nullptr},
        {SLOT(PutLinkDelay), Connected, None, None, 0, CALL(table.PutLinkDelay(handle, 0)),
         nullptr},
        {SLOT(WaitForTclk), Connected, None, None, 0, CALL(table.WaitForTclk(handle, 2)), nullptr},
        {SLOT(HoldFreeOuts), Connected, None, None, 0,
         CALL(table.HoldFreeOuts(handle, false, false, false, false)), nullptr},
        {SLOT(TimingEdge), Connected, Reported, Reported, 0,
         CALL(table.TimingEdge(handle, true, false)), nullptr},
        {SLOT(GetState), Connected, Reported, Reported, 0, CALL(table.GetState(handle, &out.state)),
         [](Outputs& out) { out.state = eJSC_JTAG_STATE_INVALID_FIRST; }},
        {SLOT(PutState), Connected, None, None, 0,
         [](Table table, Handle handle, Outputs&) -> int32_t {
             const JSC_JtagCommand command = move();
             return table.PutState(handle, &command, 0, 1);
         },
         nullptr},
        {SLOT(ScanFixed01), Connected, None, None, 0,
         [](Table table, Handle handle, Outputs&) -> int32_t {
             const JSC_JtagCommand command = scan();
             const JSC_JtagParam01 with{1, 0, kBits, true};
             return table.ScanFixed01(handle, &command, &with);
         },
         nullptr},
        SCAN(ScanSend08, JSC_JtagParam08, None),
        SCAN(ScanSend16, JSC_JtagParam16, None),
        SCAN(ScanSend32, JSC_JtagParam32, None),
        SCAN(ScanSend64, JSC_JtagParam64, None),
        SCAN(ScanBoth08, JSC_JtagParam08, Reported),
        SCAN(ScanBoth16, JSC_JtagParam16, Reported),
        SCAN(ScanBoth32, JSC_JtagParam32, Reported),
        SCAN(ScanBoth64, JSC_JtagParam64, Reported),
        SCAN(ScanRecv08, JSC_JtagParam08, Reported),
        SCAN(ScanRecv16, JSC_JtagParam16, Reported),
        SCAN(ScanRecv32, JSC_JtagParam32, Reported),
        SCAN(ScanRecv64, JSC_JtagParam64, Reported),
        {SLOT(SwdRegRead), Connected, None, None, eJTI_ERROR_NOT_OFFERED,
         CALL(table.SwdRegRead(handle, 0, 0, out.numbers)), nullptr},
        {SLOT(SwdRegWrite), Connected, None, None, eJTI_ERROR_NOT_OFFERED,
         CALL(table.SwdRegWrite(handle, 0, 0, out.numbers, true)), nullptr},
        // Its answer is 0 and the size asked for, whatever becomes of the log.
        {SLOT(LogFileCreate), Connected, Partly, None, 0,
         CALL(table.LogFileCreate(handle, eJSC_LOGFILE_ID_RESET, out.flags, 64, out.numbers)),
         nullptr},
        {SLOT(LogFileDelete), Connected, None, None, 0,
         CALL(table.LogFileDelete(handle, eJSC_LOGFILE_ID_PLL, out.flags)), nullptr},
        {SLOT(LogFileErase), Connected, None, None, 0,
         CALL(table.LogFileErase(handle, eJSC_LOGFILE_ID_RESET, out.flags)), nullptr},
        {SLOT(LogFileMode), Connected, None, None, 0,
         CALL(table.LogFileMode(handle, eJSC_LOGFILE_ID_RESET, out.flags, true)), nullptr},
        {SLOT(LogFileRead), Connected, None, None, 0,
         CALL(table.LogFileRead(handle, eJSC_LOGFILE_ID_RESET, out.flags, 64, out.log,
                                out.numbers, out.numbers + 1)),
         no_log_words},
        {SLOT(LogFileAppend), Connected, None, None, 0,
         CALL(table.LogFileAppend(handle, eJSC_LOGFILE_ID_RESET, out.flags, 7)), nullptr},
        {SLOT(Reset), Connected, Partly, Partly, 0,
         [](Table table, Handle handle, Outputs&) -> int32_t {
             JSC_ResetAction action{};
             action.trstAssert = true;
             action.trstNegate = true;
             action.resetHidden = true;
             action.verbose = true;
             return table.Reset(handle, &action);
         },
         nullptr},
        {SLOT(Diagnose), Connected, None, None, 0, CALL(table.Diagnose(handle, 0)), nullptr},
        {SLOT(Adjust), Connected, None, None, 0,
         [](Table table, Handle handle, Outputs&) -> int32_t {
             JSC_AdjustStuff stuff{true, 20000};
             return table.Adjust(handle, &stuff);
         },
         nullptr},
        {SLOT(PodConfig), Connected, None, None, 0,
         CALL(table.PodConfig(handle, 1, true, out.flags, 2, true)), nullptr},
        {SLOT(PodStatus), Connected, None, None, 0, CALL(table.PodStatus(handle, &out.pod_status)),
         [](Outputs& out) { out.pod_status = {}; }},
        {SLOT(OldStatus), Connected, Reported, Reported, 0,
         CALL(table.OldStatus(handle, &out.old_status)),
         [](Outputs& out) { out.old_status = {false, true, true}; }},
        {SLOT(Test), Connected, None, None, 0,
         CALL(table.Test(handle, eJSC_LOGFILE_ID_TEST, out.flags, 1, 2)), nullptr},
        {SLOT(MultipleVersion), Connected, None, None, 0,
         CALL(table.MultipleVersion(handle, eJSC_FEATURE_ID_POD_VERSION, out.flags, out.numbers)),
         nullptr},
        {SLOT(Benchmark), Connected, Reported, Reported, 0,
         CALL(table.Benchmark(handle, 1, true, out.numbers)), no_log_words},
        {SLOT(FirmwareSupport), Connected, None, None, 0,
         CALL(table.FirmwareSupport(handle, eJSC_FIRMWARE_ID_CLIENT, out.flags, out.flags + 1)),
         nullptr},
        {SLOT(FirmwareVersion), Connected, None, None, 0,
         CALL(table.FirmwareVersion(handle, eJSC_FIRMWARE_ID_CLIENT, out.flags, out.flags + 1,
                                    out.numbers)),
         nullptr},
        {SLOT(FirmwareConfig), Connected, None, None, 0,
         [](Table table, Handle handle, Outputs& out) -> int32_t {
             JSC_FirmwareAction action{};
             return table.FirmwareConfig(handle, eJSC_FIRMWARE_ID_CLIENT, out.flags, out.flags + 1,
                                         &action, 1, 2, nullptr, 0, out.numbers);
         },
         nullptr},
        {SLOT(ClockSupport), Connected, None, None, 0,
         CALL(table.ClockSupport(handle, out.flags, out.flags + 1)), nullptr},
        {SLOT(ClockConfig), Connected, None, None, eJTI_ERROR_NOT_OFFERED,
         CALL(table.ClockConfig(handle, true, 1, 2)), nullptr},
        {SLOT(ClockMeasure), Connected, None, None, eJTI_ERROR_NOT_OFFERED,
         CALL(table.ClockMeasure(handle, out.numbers)), nullptr},
        {SLOT(ClockSourceArchive), Connected, None, None, eJTI_ERROR_NOT_OFFERED,
         CALL(table.ClockSourceArchive(handle, true)), nullptr},
        {SLOT(ClockSourceRetrieve), Connected, None, None, eJTI_ERROR_NOT_OFFERED,
         CALL(table.ClockSourceRetrieve(handle, out.flags)), nullptr},
        {SLOT(RegisterPoll), Connected, None, None, 0,
         CALL(table.RegisterPoll(handle, eJSC_STATUS_TYPE_COMMAND_FINISH, 0)), nullptr},
        {SLOT(RegisterRead), Connected, Reported, Reported, 0,
         CALL(table.RegisterRead(handle, true, true, 16, 4, out.words)), nullptr},
        {SLOT(RegisterWrite), Connected, None, None, 0,
         CALL(table.RegisterWrite(handle, true, true, 12, 2, sent)), nullptr},
};

const std::vector<OperationCall> kVariants = {
    {"Reset, hard", offsetof(JSC_Interface, Reset) / sizeof(void (*)()), Connected, Partly, Partly,
     0,
     [](Table table, Handle handle, Outputs&) -> int32_t {
         JSC_ResetAction action{};
         action.resetHard = true;
         return table.Reset(handle, &action);
     },
     nullptr},
    {"Reset, soft", offsetof(JSC_Interface, Reset) / sizeof(void (*)()), Connected, Partly, Partly,
     0,
     [](Table table, Handle handle, Outputs&) -> int32_t {
         JSC_ResetAction action{};
         action.resetSoft = true;
         return table.Reset(handle, &action);
     },
     nullptr},
};

} // namespace

Outputs Outputs::spoiled() {
    Outputs outputs;
    std::memset(&outputs, 1, sizeof outputs);
    return outputs;
}

bool Outputs::operator==(const Outputs& other) const {
    return std::memcmp(this, &other, sizeof *this) == 0;
}

std::span<const OperationCall> operation_calls() {
    return kCalls;
}

std::span<const OperationCall> operation_variants() {
    return kVariants;
}

} // namespace torture
