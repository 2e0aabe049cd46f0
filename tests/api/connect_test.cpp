#include "api/connect.h"
#include "api/diagnose.h"
#include "scan/scan_operation.h"
#include "support/driver_session.h"
#include "support/jtag_command.h"
#include "transport/port.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

namespace {

using test_support::DriverHandle;
using test_support::DriverSession;
using test_support::PodSpec;
using test_support::RecordingConfig;
using test_support::RecordingProxy;
using Commands = std::vector<uint32_t>;
using Delays = std::vector<uint32_t>;
using Words = std::vector<uint16_t>;

// A clock slow enough settles after each word sent, so a fast one keeps the texts short.
const RecordingConfig::Keys generation1{{"KELM.POD_SLOWCLK", "no"}};
const RecordingConfig::Keys generation2{{"KELM.POD_EMUVERSION", "2"}};
const RecordingConfig::Keys generation3{{"KELM.POD_EMUVERSION", "3"}};
const RecordingConfig::Keys generation4{{"KELM.POD_EMUVERSION", "4"}};

// ---- what a connect sends, a batch a text ----

const std::string settle = "write 16 0000\n";
const std::string settle_batch = settle;
const std::string outputs_batch = "write 2 0001\n";
const std::string five_reads = "read 22\nread 22\nread 22\nread 22\nread 22\n";
const std::string loop_enter = settle +
                               "write 12 000f\nwrite 10 6001\nwrite 4 0800\n"
                               "write 1 0400\n" +
                               settle + five_reads;
const std::string loop_words = "write 23 c35a\nwrite 23 3ca5\nwrite 23 f0f0\nwrite 23 a53c\n"
                               "write 23 5ac3\n" +
                               five_reads;
const std::string version_read = "write 1 0001\n" + settle + "read 19\n";
const std::string loop_leave =
    "write 23 0000\nwrite 23 0000\nwrite 23 ffff\nwrite 23 0000\nwrite 23 0000\n"
    "write 1 0004\n" +
    settle + "write 4 0000\nwrite 12 0000\nwrite 10 6001\nwrite 10 7004\n" + version_read;
const std::string short_init = "write 1 0004\nwait done\n" + version_read;
const std::string short_rest =
    "write 1 0004\nwrite 10 7002\nwrite 9 0600\nwait done\nwrite 10 7004\n";
const std::string long_reset = settle + settle + settle + settle + settle + settle + settle +
                               settle + settle + "write 10 6040\nread 17\n";
const std::string long_edges = "write 5 0c0c\nwait done\n";
const std::string long_short = settle + version_read;
const std::string long_rest = "write 1 0004\nwrite 10 7002\nwait done\nwrite 10 7004\n"
                              "write 4 0080\nwrite 4 0083\n";

std::vector<std::string> bodies(DriverSession& session) {
    std::vector<std::string> all;
    for (const auto& batch : session.pod().batches()) {
        all.push_back(batch.body());
    }
    return all;
}

// The batches of a quick connect, by what sets the pod up.
std::vector<std::string> quick_connect(const std::string& pod_registers) {
    return {pod_registers, settle_batch, outputs_batch, loop_enter,
            loop_words,    loop_leave,   short_init,    short_rest};
}

struct Generation {
    uint16_t revision;
    RecordingConfig::Keys keys;
    std::string pod_registers;
};

const std::vector<Generation> generations{
    {0x0100, generation1, "write 26 073b\n"},
    {0x0203, generation2, "write 26 103a\nwrite 27 0000\n"},
    {0x0301, generation3, "write 26 103a\nwrite 27 0000\nwrite 25 000f\n"},
    {0x0400, generation4, "write 26 103a\nwrite 27 0000\nwrite 25 000f\n"},
};

TEST(ConnectTest, SendsWhatTheGenerationNeeds) {
    for (const Generation& generation : generations) {
        for (const uint16_t kind : {uint16_t{1}, uint16_t{3}}) {
            DriverSession session(generation.revision, generation.keys);
            session.pod().answer_always(TBC_PORT_VERSION, kind | 0xABC0);
            EXPECT_EQ(session.handle.connect(), 0);
            EXPECT_TRUE(session.handle.first);
            EXPECT_EQ(bodies(session), quick_connect(generation.pod_registers));
            EXPECT_EQ(session.queued(), "");
            EXPECT_EQ(session.control().ctlrRevise, kind);
            EXPECT_EQ(session.control().emuRevision, generation.revision);
            EXPECT_EQ(session.control().ctlrHardUsed, 1U);
            EXPECT_EQ(session.get()->instance, 1);
            EXPECT_TRUE(session.get()->ctlrHardOpen);
            EXPECT_EQ(session.sleeps.delays_us(), Delays{10000});
            EXPECT_TRUE(session.pod().support_writes().empty());
        }
    }
}

TEST(ConnectTest, TheLongInitialisationFollowsWhenTheClientAsksForIt) {
    DriverSession session(POD_REVISION_1, generation1, JSC_RECIPE_LONG_INIT);
    EXPECT_EQ(session.handle.connect(), 0);
    std::vector<std::string> expected = quick_connect("write 26 073b\n");
    expected.insert(expected.end(), {long_reset, long_edges, long_short});
    EXPECT_EQ(bodies(session), expected);
    EXPECT_EQ(session.queued(), long_rest);
    EXPECT_EQ(session.control().priorConfig, 0x0083);
}

TEST(ConnectTest, TheModeConfigurationFollowsWhenTheClientAsksForIt) {
    DriverSession session(POD_REVISION_1, {{"KELM.POD_SLOWCLK", "no"}, {"VEXIL.FASTCLK", "yes"}},
                          JSC_RECIPE_MODE_CONFIG);
    EXPECT_EQ(session.handle.connect(), 0);
    EXPECT_EQ(bodies(session), quick_connect("write 26 073b\n"));
    EXPECT_EQ(session.queued(), "wait done\nwait done\n");
    EXPECT_EQ(session.control().timeDependNew.tclkFreq, 20000U);
    EXPECT_EQ(session.control().timeDependNew.fastMode, session.get()->tbcVariable.fastClock);
    EXPECT_EQ(session.control().timeDependNew.slowMode, session.get()->tbcVariable.slowClock);
}

TEST(ConnectTest, ATargetResetThatIsAssertedIsReleasedAndTakesTheLongStart) {
    unsigned reads = 0;
    DriverSession session(POD_REVISION_1, generation1);
    // Asserted in the three batches before it is looked at.
    session.pod().answer_with(TBC_PORT_SUPPORT,
                              [&] { return static_cast<uint16_t>(reads++ < 3 ? 0x01E0 : 0x00E0); });
    EXPECT_EQ(session.handle.connect(), 0);
    EXPECT_EQ(session.pod().support_writes(), (Words{0x00E0, 0x01E0, 0x00E0}))
        << "released, then the standard reset";
    const std::vector<std::string> sent = bodies(session);
    ASSERT_GE(sent.size(), 8U);
    EXPECT_EQ(sent[5], loop_leave);
    EXPECT_EQ(sent[6], "write 1 0004\nwait done\n") << "flushed by the standard reset";
    EXPECT_EQ(session.control().priorConfig, 0x0083) << "the long initialisation has run";
}

TEST(ConnectTest, ALatchedConditionIsClearedAndTakesTheLongStart) {
    unsigned writes = 0;
    DriverSession session(POD_REVISION_2, generation2);
    session.pod().watch_writes([&](uint16_t port, uint16_t) { writes += port == 5; });
    session.pod().answer_with(TBC_PORT_SUPPORT,
                              [&] { return static_cast<uint16_t>(writes >= 2 ? 0x00E0 : 0x00E1); });
    EXPECT_EQ(session.handle.connect(), 0);
    const std::vector<std::string> sent = bodies(session);
    ASSERT_GE(sent.size(), 5U);
    EXPECT_EQ(sent[3], "write 5 0c00\nwrite 5 0c04\n");
    EXPECT_EQ(session.pod().support_writes(), (Words{0x01E1, 0x00E1, 0x01E0, 0x00E0}));
    EXPECT_EQ(session.control().priorConfig, 0x0083);
    EXPECT_FALSE(session.control().powerLossActive);
    EXPECT_FALSE(session.control().powerLossErased) << "forgotten once all is done";
    // Recovery, error propagation, then the TRSTn pulse of the long start, low and high.
    EXPECT_EQ(session.sleeps.delays_us(), (Delays{10000, 10000, 10000, 10000}));
}

TEST(ConnectTest, AConditionThatLastsIsDiagnosed) {
    DriverSession session(POD_REVISION_1, generation1);
    session.pod().answer_always(TBC_PORT_SUPPORT, 0x00E1);
    EXPECT_EQ(session.handle.connect(), -180);
    EXPECT_TRUE(session.handle.first) << "true on every failure";
    EXPECT_TRUE(session.get()->ctlrHardOpen);
    EXPECT_EQ(session.get()->pJscControl, nullptr);
}

TEST(ConnectTest, ALostTestClockIsDiagnosed) {
    DriverSession session(POD_REVISION_2, generation2);
    session.pod().answer_always(TBC_PORT_SUPPORT, 0x02E0);
    EXPECT_EQ(session.handle.connect(), -181);
}

TEST(ConnectTest, LaterHandlesAreCountedInAndSendNothing) {
    DriverSession session(POD_REVISION_1, generation1);
    ASSERT_EQ(session.connect(), 0);
    DriverHandle second(generation1);
    ASSERT_EQ(second.init(), 0);
    session.pod().forget();
    EXPECT_EQ(second.connect(), 0);
    EXPECT_FALSE(second.first);
    EXPECT_EQ(second.get()->instance, 2);
    EXPECT_EQ(session.control().ctlrHardUsed, 2U);
    EXPECT_EQ(second.disconnect(), 0);
    EXPECT_FALSE(second.last);
    EXPECT_EQ(session.control().ctlrHardUsed, 1U);
    EXPECT_TRUE(session.pod().commands().empty());
    EXPECT_EQ(session.queued(), "");
    EXPECT_EQ(jsc_QuitHandle(second.get()), 0);
    EXPECT_EQ(session.handle.disconnect(), 0);
    EXPECT_TRUE(session.handle.last);
}

// Connects to the pod of the process that it was forked from; what became of it as exit status.
int connect_in_child() {
    DriverHandle handle(generation1);
    if (handle.init() != 0 || handle.control().ctlrSoftUsed != 2) {
        return 1;
    }
    if (handle.connect() != 0 || handle.first || handle.control().ctlrHardUsed != 2) {
        return 2;
    }
    uint16_t config = 0;
    PortRead(handle.get(), TBC_PORT_EVENT_CONTROL, &config);
    if (config != TBC_EVENT_BASE) {
        return 3; // the register cache is the other process's
    }
    const JSC_JtagCommand scan = test_support::scan_command();
    uint16_t words[2] = {};
    const JSC_JtagParam16 param{1, 0, 32, words, words};
    if (jsc_ScanBoth16(handle.get(), &scan, &param) != 0 || words[0] != 0x1234 ||
        words[1] != 0x5678) {
        return 5;
    }
    if (handle.disconnect() != 0 || handle.last || jsc_QuitHandle(handle.get()) != 0) {
        return 4;
    }
    return 0;
}

TEST(ConnectTest, HandlesOfTwoProcessesShareAController) {
    DriverSession session(POD_REVISION_1, generation1);
    ASSERT_EQ(session.connect(), 0);
    session.pod().answer(TBC_PORT_RECEIVE, {0x1234, 0x5678});
    const pid_t child = fork();
    if (child == 0) {
        _exit(connect_in_child());
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(session.control().ctlrSoftUsed, 1U);
    EXPECT_EQ(session.control().ctlrHardUsed, 1U);
    EXPECT_EQ(session.pod().commands(),
              (Commands{SHM_CMD_ATTACH, SHM_CMD_EXECUTE, SHM_CMD_DETACH}));
    EXPECT_EQ(session.control().registerCache[TBC_PORT_COUNT_LOW], 31);
    EXPECT_EQ(session.handle.disconnect(), 0);
    EXPECT_TRUE(session.handle.last);
}

TEST(ConnectTest, RefusesInTheWrongState) {
    bool first = false;
    EXPECT_EQ(jsc_Connect(nullptr, &first), -122);
    EXPECT_FALSE(first);
    DriverHandle bare;
    EXPECT_EQ(jsc_Connect(bare.get(), nullptr), -122);
    EXPECT_EQ(bare.connect(), -116) << "not initialised";
    EXPECT_TRUE(bare.first);
    EXPECT_FALSE(bare.get()->ctlrHardOpen);
    DriverSession session(POD_REVISION_1, generation1);
    ASSERT_EQ(session.connect(), 0);
    EXPECT_EQ(session.handle.connect(), -116) << "connected already";
}

TEST(ConnectTest, RefusesInconsistentCounters) {
    DriverSession session(POD_REVISION_1, generation1);
    session.control().ctlrHardUsed = 1;
    EXPECT_EQ(session.handle.connect(), -116);
    EXPECT_TRUE(session.get()->ctlrHardOpen) << "and it stays so";
    EXPECT_EQ(session.control().ctlrHardUsed, 1U);
    session.get()->ctlrHardOpen = false;
    // The difference is unsigned: without a soft user it is as large as can be.
    session.control().ctlrSoftUsed = 0;
    EXPECT_EQ(session.handle.connect(), 0);
}

TEST(ConnectTest, RefusesAHandleWithoutAControllerBlock) {
    DriverSession session(POD_REVISION_1, generation1);
    session.get()->pJscControl = nullptr;
    EXPECT_EQ(session.handle.connect(), -116);
    EXPECT_TRUE(session.get()->ctlrHardOpen);
}

// What every failed connect leaves: connected in name, no controller block, the pod still attached.
void expect_given_up(DriverSession& session) {
    EXPECT_TRUE(session.handle.first);
    EXPECT_TRUE(session.get()->ctlrHardOpen);
    EXPECT_TRUE(session.get()->ctlrSoftOpen);
    EXPECT_EQ(session.get()->pJscControl, nullptr);
    EXPECT_EQ(session.get()->opList, nullptr) << "reads into the block are dropped";
    EXPECT_NE(session.get()->ProxyShm, nullptr);
    EXPECT_EQ(jsc_QuitHandle(session.get()), -116);
    EXPECT_EQ(session.handle.disconnect(), -116);
    EXPECT_TRUE(session.handle.last);
    EXPECT_FALSE(session.get()->ctlrHardOpen);
    EXPECT_EQ(jsc_QuitHandle(session.get()), -116);
}

TEST(ConnectTest, RefusesAPodOfAnotherGeneration) {
    DriverSession session(POD_REVISION_1, generation2);
    EXPECT_EQ(session.handle.connect(), -203);
    EXPECT_EQ(session.pod().commands(), Commands{SHM_CMD_ATTACH}) << "nothing was sent";
    expect_given_up(session);
}

TEST(ConnectTest, RefusesControllersOfOtherKinds) {
    for (const uint16_t kind : Words{0, 4, 5, 12, 13, 15}) {
        DriverSession session(POD_REVISION_1, generation1);
        session.pod().answer_always(TBC_PORT_VERSION, kind);
        EXPECT_EQ(session.handle.connect(), -203) << kind;
        expect_given_up(session);
    }
}

TEST(ConnectTest, AnExtendedControllerIsRecognisedAndCannotBeInitialised) {
    DriverSession session(POD_REVISION_1, generation1);
    session.pod().answer_always(TBC_PORT_VERSION, 2);
    EXPECT_EQ(session.handle.connect(), -122);
    expect_given_up(session);
}

TEST(ConnectTest, ABrokenLoopBackIsReported) {
    struct Row {
        Words words;
        int32_t code;
    };
    for (const Row& row : {Row{{0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, -171},
                           Row{{0x5AFF, 0xA5FF, 0x0FFF, 0x3CFF, 0xC3FF}, -174},
                           Row{{0xFFC3, 0xFF3C, 0xFF0F, 0xFFA5, 0xFF5A}, -173},
                           Row{{0x00C3, 0x003C, 0x000F, 0x00A5, 0x005A}, -175},
                           Row{{0x5A00, 0xA500, 0x0F00, 0x3C00, 0xC300}, -176}}) {
        DriverSession session(POD_REVISION_1, generation1);
        Words reads(5, 0);
        reads.insert(reads.end(), row.words.begin(), row.words.end());
        session.pod().answer(TBC_PORT_RECEIVE, reads);
        testing::internal::CaptureStdout();
        EXPECT_EQ(session.handle.connect(), row.code);
        EXPECT_EQ(testing::internal::GetCapturedStdout().empty(), row.code != -171);
        expect_given_up(session);
    }
}

TEST(ConnectTest, EachBatchThatFailsIsReportedInItsWay) {
    // The eight batches of a quick connect. The first is the set-up. A version that cannot be read
    // is a controller of no kind; the short initialisation, which reads it again to tell the
    // extended kind, goes on as with every other kind.
    const std::vector<int32_t> codes{-157, -140, -140, -140, -140, -203, 0, -140};
    for (size_t failing = 0; failing < codes.size(); ++failing) {
        size_t batch = 0;
        DriverSession session(POD_REVISION_1, generation1);
        if (failing == 0) {
            session.pod().fail_batches(1);
        } else {
            session.pod().interfere([&](lcl_shm& block) {
                if (block.cmd == SHM_CMD_EXECUTE && batch++ == failing) {
                    block.status = -7;
                }
            });
        }
        EXPECT_EQ(session.handle.connect(), codes[failing]) << failing;
        session.pod().interfere(nullptr);
        if (codes[failing] != 0) {
            expect_given_up(session);
        }
    }
}

TEST(ConnectTest, ARefusedSupportWriteIsReported) {
    DriverSession session(POD_REVISION_1, generation1);
    session.pod().answer_always(TBC_PORT_SUPPORT, 0x01E0);
    session.pod().refuse_support_writes(1);
    EXPECT_EQ(session.handle.connect(), -190);
    expect_given_up(session);
}

TEST(ConnectTest, AnswersWhenThereIsNoChannel) {
    const test_support::LeakGuard leaks;
    PodSpec spec;
    spec.block_size = 100;
    RecordingProxy proxy({spec});
    DriverHandle handle(generation1);
    ASSERT_EQ(handle.init(), 0) << "kept: the open ends early with success";
    EXPECT_EQ(handle.connect(), -203) << "no pod, so no revision";
    EXPECT_EQ(handle.get()->pJscControl, nullptr);
}

TEST(ConnectTest, AFailureLeavesOtherHandlesOnThePodAlone) {
    DriverSession session(POD_REVISION_1, generation1);
    DriverHandle second(generation1);
    ASSERT_EQ(second.init(), 0);
    session.pod().fail_batches(1);
    EXPECT_EQ(session.handle.connect(), -157);
    EXPECT_NE(second.get()->pJscControl, nullptr);
    EXPECT_EQ(second.control().ctlrSoftUsed, 2U) << "counters are not rolled back";
    EXPECT_EQ(second.control().ctlrHardUsed, 1U);
}

// ---- disconnect --------------------------------------------------------------------------------

TEST(DisconnectTest, ParksTheControllerWithTheLastHandle) {
    for (const uint16_t kind : Words{1, 3}) {
        DriverSession session(POD_REVISION_1, generation1);
        session.pod().answer_always(TBC_PORT_VERSION, kind);
        ASSERT_EQ(session.connect(), 0);
        session.pod().forget();
        EXPECT_EQ(session.handle.disconnect(), 0);
        EXPECT_TRUE(session.handle.last);
        EXPECT_FALSE(session.get()->ctlrHardOpen);
        EXPECT_EQ(session.control().ctlrHardUsed, 0U);
        EXPECT_EQ(bodies(session), std::vector<std::string>{"wait done\n"});
        EXPECT_EQ(session.pod().support_writes(), Words{0x00E0});
        EXPECT_EQ(session.queued(),
                  std::string(kind == 3 ? "write 28 f001\n" : "") + "write 9 0000\nwrite 1 0000\n");
        EXPECT_EQ(jsc_QuitHandle(session.get()), 0);
    }
}

TEST(DisconnectTest, CanBeFollowedByAConnect) {
    DriverSession session(POD_REVISION_1, generation1);
    ASSERT_EQ(session.connect(), 0);
    ASSERT_EQ(session.handle.disconnect(), 0);
    EXPECT_EQ(session.connect(), 0);
    EXPECT_TRUE(session.handle.first);
}

TEST(DisconnectTest, RefusesInTheWrongState) {
    bool last = false;
    EXPECT_EQ(jsc_Disconnect(nullptr, &last), -122);
    DriverSession session(POD_REVISION_1, generation1);
    EXPECT_EQ(jsc_Disconnect(session.get(), nullptr), -122);
    EXPECT_EQ(session.handle.disconnect(), -116) << "not connected";
    EXPECT_TRUE(session.handle.last);
    ASSERT_EQ(session.connect(), 0);
    session.get()->ctlrSoftOpen = false;
    EXPECT_EQ(session.handle.disconnect(), -116) << "not initialised";
    EXPECT_TRUE(session.get()->ctlrHardOpen);
}

TEST(DisconnectTest, RefusesInconsistentCounters) {
    struct Row {
        uint32_t soft;
        uint32_t hard;
    };
    for (const Row& row : {Row{1, 0}, Row{1, 2}}) {
        DriverSession session(POD_REVISION_1, generation1);
        ASSERT_EQ(session.connect(), 0);
        session.control().ctlrSoftUsed = row.soft;
        session.control().ctlrHardUsed = row.hard;
        EXPECT_EQ(session.handle.disconnect(), -116);
        EXPECT_FALSE(session.get()->ctlrHardOpen);
        EXPECT_EQ(session.control().ctlrHardUsed, row.hard);
    }
}

TEST(DisconnectTest, AFailureIsDiagnosedAndTheBlockIsGivenUp) {
    DriverSession session(POD_REVISION_1, generation1);
    ASSERT_EQ(session.connect(), 0);
    session.pod().refuse_support_writes(1);
    EXPECT_EQ(session.handle.disconnect(), -190);
    EXPECT_TRUE(session.handle.last);
    EXPECT_FALSE(session.get()->ctlrHardOpen);
    EXPECT_EQ(session.get()->pJscControl, nullptr);
    EXPECT_EQ(jsc_QuitHandle(session.get()), -116);
}

TEST(DisconnectTest, AFailedFlushDropsTheReadsIntoTheBlock) {
    DriverSession session(POD_REVISION_1, generation1);
    ASSERT_EQ(session.connect(), 0);
    session.pod().fail_batches(1);
    EXPECT_EQ(session.handle.disconnect(), -140);
    EXPECT_EQ(session.get()->opList, nullptr);
    EXPECT_EQ(session.get()->pJscControl, nullptr);
}

} // namespace
