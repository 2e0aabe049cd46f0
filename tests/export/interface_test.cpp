#include "api/handle.h"
#include "export/operations.h"
#include "jsc_export.h"
#include "scan/scan_operation.h"
#include "support/driver_session.h"
#include "support/jtag_command.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using test_support::DriverSession;
using test_support::FailingHeap;
using test_support::OperationArguments;
using test_support::RecordingConfig;
using test_support::RestoredOs;

using Slot = JTI_Error (*)();
constexpr size_t kSlots = 54;

TEST(InterfaceTest, IsATableOf54FilledSlots) {
    JSC_Interface* table = nullptr;
    ASSERT_EQ(JSC_CreateInterface(&table), 0);
    ASSERT_NE(table, nullptr);
    Slot filled[kSlots];
    static_assert(sizeof filled == sizeof *table);
    std::memcpy(filled, table, sizeof filled);
    for (size_t slot = 0; slot < kSlots; ++slot) {
        EXPECT_NE(filled[slot], nullptr) << slot;
    }
    EXPECT_EQ(JSC_DeleteInterface(&table), 0);
    EXPECT_EQ(table, nullptr);
}

TEST(InterfaceTest, TablesAreIndependent) {
    JSC_Interface* first = nullptr;
    JSC_Interface* second = nullptr;
    ASSERT_EQ(JSC_CreateInterface(&first), 0);
    ASSERT_EQ(JSC_CreateInterface(&second), 0);
    EXPECT_NE(first, second);
    EXPECT_EQ(std::memcmp(first, second, sizeof *first), 0);
    EXPECT_EQ(JSC_DeleteInterface(&first), 0);
    bool known = true;
    EXPECT_EQ(second->Connect(nullptr, &known), -122) << "the other still works";
    EXPECT_EQ(JSC_DeleteInterface(&second), 0);
}

template <typename Function>
const void* address(Function* function) {
    return reinterpret_cast<const void*>(function);
}

TEST(InterfaceTest, ScansOfEveryWidthAreThoseOf16Bits) {
    JSC_Interface* table = nullptr;
    ASSERT_EQ(JSC_CreateInterface(&table), 0);
    EXPECT_EQ(address(table->ScanSend08), address(jsc_ScanSend16));
    EXPECT_EQ(address(table->ScanSend16), address(jsc_ScanSend16));
    EXPECT_EQ(address(table->ScanSend32), address(jsc_ScanSend16));
    EXPECT_EQ(address(table->ScanSend64), address(jsc_ScanSend16));
    EXPECT_EQ(address(table->ScanBoth08), address(jsc_ScanBoth16));
    EXPECT_EQ(address(table->ScanBoth16), address(jsc_ScanBoth16));
    EXPECT_EQ(address(table->ScanBoth32), address(jsc_ScanBoth16));
    EXPECT_EQ(address(table->ScanBoth64), address(jsc_ScanBoth16));
    EXPECT_EQ(address(table->ScanRecv08), address(jsc_ScanRecv16));
    EXPECT_EQ(address(table->ScanRecv16), address(jsc_ScanRecv16));
    EXPECT_EQ(address(table->ScanRecv32), address(jsc_ScanRecv16));
    EXPECT_EQ(address(table->ScanRecv64), address(jsc_ScanRecv16));
    EXPECT_EQ(JSC_DeleteInterface(&table), 0);
}

TEST(InterfaceTest, NoOtherFunctionFillsTwoSlots) {
    Slot filled[kSlots];
    std::memcpy(filled, &operations, sizeof filled);
    for (size_t slot = 0; slot < kSlots; ++slot) {
        for (size_t other = slot + 1; other < kSlots; ++other) {
            const bool scan = slot >= 14 && slot <= 25 && (slot - 14) / 4 == (other - 14) / 4;
            EXPECT_EQ(filled[slot] == filled[other], scan) << slot << ' ' << other;
        }
    }
}

// What a deleted table's memory holds when it is freed.
Slot freed_slots[kSlots];

void watch_free(void* block) {
    std::memcpy(freed_slots, block, sizeof freed_slots);
    std::free(block);
}

TEST(InterfaceTest, EverySlotOfADeletedTableAnswers) {
    JSC_Interface* table = nullptr;
    ASSERT_EQ(JSC_CreateInterface(&table), 0);
    const RestoredOs restored;
    os_calls.free = watch_free;
    ASSERT_EQ(JSC_DeleteInterface(&table), 0);
    for (size_t slot = 0; slot < kSlots; ++slot) {
        EXPECT_EQ(freed_slots[slot](), -601) << slot;
    }
}

TEST(InterfaceTest, ReportsNullPointersAndAnEmptyHeap) {
    EXPECT_EQ(JSC_CreateInterface(nullptr), -122);
    EXPECT_EQ(JSC_DeleteInterface(nullptr), -122);
    JSC_Interface* none = nullptr;
    EXPECT_EQ(JSC_DeleteInterface(&none), -122);
    JSC_Interface* table = nullptr;
    ASSERT_EQ(JSC_CreateInterface(&table), 0);
    EXPECT_EQ(JSC_DeleteInterface(&table), 0);
    EXPECT_EQ(JSC_DeleteInterface(&table), -122) << "a second time";
    FailingHeap heap(0);
    table = reinterpret_cast<JSC_Interface*>(&heap);
    EXPECT_EQ(JSC_CreateInterface(&table), -131);
    EXPECT_EQ(table, nullptr);
}

TEST(InterfaceTest, EveryOperationRefusesANullHandle) {
    const JSC_Interface& table = operations;
    OperationArguments given;
    EXPECT_EQ(table.Connect(nullptr, &given.flag), -122);
    EXPECT_EQ(table.Disconnect(nullptr, &given.flag), -122);
    EXPECT_EQ(table.StatusTrstn(nullptr, &given.flag), -122);
    EXPECT_EQ(table.ModifyTrstn(nullptr, eJSC_JTAG_PIN_SET_LEVEL, 0, 0), -122);
    EXPECT_EQ(table.GetAmbleDelay(nullptr, &given.amble), -122);
    EXPECT_EQ(table.PutAmbleDelay(nullptr, &given.amble), -122);
    EXPECT_EQ(table.GetLinkDelay(nullptr, &given.word, &given.word, &given.word), -122);
    EXPECT_EQ(table.PutLinkDelay(nullptr, 0), -122);
    EXPECT_EQ(table.WaitForTclk(nullptr, 0), -122);
    EXPECT_EQ(table.HoldFreeOuts(nullptr, false, false, false, false), -122);
    EXPECT_EQ(table.TimingEdge(nullptr, false, false), -122);
    EXPECT_EQ(table.GetState(nullptr, &given.state), -122);
    EXPECT_EQ(table.PutState(nullptr, &given.command, 0, 1), -122);
    EXPECT_EQ(table.ScanFixed01(nullptr, &given.command, &given.fixed), -122);
    EXPECT_EQ(table.ScanSend16(nullptr, &given.command, &given.param), -122);
    EXPECT_EQ(table.ScanBoth16(nullptr, &given.command, &given.param), -122);
    EXPECT_EQ(table.ScanRecv16(nullptr, &given.command, &given.param), -122);
    EXPECT_EQ(table.SwdRegRead(nullptr, 0, 0, &given.word), -120);
    EXPECT_EQ(table.SwdRegWrite(nullptr, 0, 0, &given.word, false), -120);
    EXPECT_EQ(table.LogFileCreate(nullptr, eJSC_LOGFILE_ID_RESET, &given.flag, 1, &given.word),
              -122);
    EXPECT_EQ(table.LogFileDelete(nullptr, eJSC_LOGFILE_ID_RESET, &given.flag), -122);
    EXPECT_EQ(table.LogFileErase(nullptr, eJSC_LOGFILE_ID_RESET, &given.flag), -122);
    EXPECT_EQ(table.LogFileMode(nullptr, eJSC_LOGFILE_ID_RESET, &given.flag, false), -122);
    EXPECT_EQ(table.LogFileRead(nullptr, eJSC_LOGFILE_ID_RESET, &given.flag, 1, &given.word,
                                &given.word, &given.word),
              -122);
    EXPECT_EQ(table.LogFileAppend(nullptr, eJSC_LOGFILE_ID_RESET, &given.flag, 1), -122);
    EXPECT_EQ(table.Reset(nullptr, &given.reset), -122);
    EXPECT_EQ(table.Diagnose(nullptr, 0), -122);
    EXPECT_EQ(table.Adjust(nullptr, &given.adjust), -122);
    EXPECT_EQ(table.PodConfig(nullptr, 0, false, &given.flag, 0, false), -122);
    EXPECT_EQ(table.PodStatus(nullptr, &given.pod), -122);
    EXPECT_EQ(table.OldStatus(nullptr, &given.old), -122);
    EXPECT_EQ(table.Test(nullptr, eJSC_LOGFILE_ID_TEST, &given.flag, 0, 0), -122);
    EXPECT_EQ(table.MultipleVersion(nullptr, eJSC_FEATURE_ID_TBC_VERSION, &given.flag, &given.word),
              -122);
    EXPECT_EQ(table.Benchmark(nullptr, 0, false, &given.word), -122);
    EXPECT_EQ(table.FirmwareSupport(nullptr, eJSC_FIRMWARE_ID_CLIENT, &given.flag, &given.flag),
              -122);
    EXPECT_EQ(table.FirmwareVersion(nullptr, eJSC_FIRMWARE_ID_CLIENT, &given.flag, &given.flag,
                                    &given.word),
              -122);
    EXPECT_EQ(table.FirmwareConfig(nullptr, eJSC_FIRMWARE_ID_CLIENT, &given.flag, &given.flag,
                                   &given.firmware, 0, 0, &given.byte, 1, &given.word),
              -122);
    EXPECT_EQ(table.ClockSupport(nullptr, &given.flag, &given.flag), -122);
    EXPECT_EQ(table.ClockConfig(nullptr, false, 0, 0), -122);
    EXPECT_EQ(table.ClockMeasure(nullptr, &given.word), -122);
    EXPECT_EQ(table.ClockSourceArchive(nullptr, false), -122);
    EXPECT_EQ(table.ClockSourceRetrieve(nullptr, &given.flag), -122);
    EXPECT_EQ(table.RegisterPoll(nullptr, eJSC_STATUS_TYPE_COMMAND_FINISH, 0), -122);
    EXPECT_EQ(table.RegisterRead(nullptr, false, false, 0, 1, &given.half), -122);
    EXPECT_EQ(table.RegisterWrite(nullptr, false, false, 0, 1, &given.half), -122);
}

TEST(InterfaceTest, AfterAFailedConnectOperationsAnswerInsteadOfTouchingWhatIsGone) {
    DriverSession session(POD_REVISION_1, {{"KELM.POD_EMUVERSION", "2"}});
    const JSC_Interface& table = operations;
    OperationArguments given;
    ASSERT_EQ(table.Connect(session.get(), &given.flag), -203);
    session.pod().forget();
    JSC_Inform* handle = session.get();
    EXPECT_EQ(table.StatusTrstn(handle, &given.flag), -116);
    EXPECT_EQ(table.ModifyTrstn(handle, eJSC_JTAG_PIN_SET_LEVEL, 0, 0), -116);
    EXPECT_EQ(table.GetAmbleDelay(handle, &given.amble), -116);
    EXPECT_EQ(table.PutAmbleDelay(handle, &given.amble), -116);
    EXPECT_EQ(table.GetLinkDelay(handle, &given.word, &given.word, &given.word), -116);
    EXPECT_EQ(table.PutLinkDelay(handle, 0), -116);
    EXPECT_EQ(table.WaitForTclk(handle, 1), -116);
    EXPECT_EQ(table.HoldFreeOuts(handle, false, false, false, false), -116);
    EXPECT_EQ(table.TimingEdge(handle, false, false), -116);
    EXPECT_EQ(table.GetState(handle, &given.state), -116);
    EXPECT_EQ(table.PutState(handle, &given.command, 0, 1), -116);
    EXPECT_EQ(table.ScanFixed01(handle, &given.command, &given.fixed), -116);
    EXPECT_EQ(table.ScanSend16(handle, &given.command, &given.param), -116);
    EXPECT_EQ(table.ScanBoth16(handle, &given.command, &given.param), -116);
    EXPECT_EQ(table.ScanRecv16(handle, &given.command, &given.param), -116);
    EXPECT_EQ(table.Reset(handle, &given.reset), -116);
    EXPECT_EQ(table.Diagnose(handle, 0), -116);
    EXPECT_EQ(table.Adjust(handle, &given.adjust), -116);
    EXPECT_EQ(table.PodStatus(handle, &given.pod), -116);
    EXPECT_EQ(table.OldStatus(handle, &given.old), -116);
    EXPECT_EQ(table.MultipleVersion(handle, eJSC_FEATURE_ID_TBC_VERSION, &given.flag, &given.word),
              -116);
    EXPECT_EQ(table.Benchmark(handle, 0, false, &given.word), -116);
    EXPECT_EQ(table.RegisterPoll(handle, eJSC_STATUS_TYPE_COMMAND_FINISH, 0), -116);
    EXPECT_EQ(table.RegisterRead(handle, false, false, 0, 1, &given.half), -116);
    EXPECT_EQ(table.RegisterWrite(handle, false, false, 0, 1, &given.half), -116);
    EXPECT_EQ(table.Connect(handle, &given.flag), -116);
    EXPECT_EQ(table.Disconnect(handle, &given.flag), -116);
    EXPECT_TRUE(session.pod().commands().empty());
    EXPECT_EQ(session.queued(), "");
}

} // namespace
