// The running simulator under its operator's commands, seen by a host without a driver.
#include "hardware/tbc_registers.h"
#include "host.h"
#include "support/podsim_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <csignal>
#include <fstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace talvor::podsim {
namespace {

using proxy::Host;
using proxy::read_table;
using test_support::built_program;
using test_support::PodsimProcess;
using test_support::ProgramResult;
using test_support::run_program;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* kTwoPods = "[[pod]]\nserial = 7\n[[pod]]\nserial = 9\nrevision = 0x0100\n";

nlohmann::json status_of(const PodsimProcess& process, size_t pod = 0) {
    return nlohmann::json::parse(process.ctl("status"))["pods"][pod];
}

// Waits until the pod has begun that many batches.
void await_batch(const PodsimProcess& process, unsigned batches) {
    while (status_of(process)["batches"] < batches) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

// One register through one batch.
uint16_t read_port(Host& host, unsigned port) {
    host.queue(("read " + std::to_string(port)).c_str());
    EXPECT_EQ(host.exchange(SHM_CMD_EXECUTE), 2);
    return host.block().tbcIMblock[0];
}

TEST(StationTest, StatusTellsEverythingAboutAPod) {
    PodsimProcess process;
    const nlohmann::json status = status_of(process);
    EXPECT_EQ(status, nlohmann::json::parse(R"({
        "serial": 1, "revision": "2.0", "controller": "tbc", "plugged": true, "attached": false,
        "power": true, "clock": true, "emu0": true, "emu1": true, "loopback": "ok", "cable": {},
        "fail": 0, "refuse": 0, "latency_us": 0, "batches": 0, "failed_batches": 0, "warnings": 0,
        "tap_state": "Test-Logic-Reset", "virtual_time_ns": 0, "tck_hz": 33333333, "busy": false,
        "condition_latch": true, "target_reset": false})"));
    Host host(1);
    host.exchange(SHM_CMD_ATTACH);
    host.queue("write 11 0002; write 10 4080; wait done; read 18");
    EXPECT_EQ(host.exchange(SHM_CMD_EXECUTE), 2);
    EXPECT_EQ(host.block().tbcIMblock[0] & 7, TBC_STATE_IDLE_READ);
    EXPECT_EQ(status_of(process)["attached"], true);
    EXPECT_EQ(status_of(process)["batches"], 1);
    EXPECT_EQ(status_of(process)["tap_state"], "Run-Test/Idle");
    EXPECT_GT(status_of(process)["virtual_time_ns"], 0);
}

TEST(StationTest, PowerClockAndPinsShowInTheRegisters) {
    PodsimProcess process;
    Host host(1);
    // A low-high pulse of the clear bit: the latch of the power-on is gone.
    host.queue("write 5 0c08; write 5 0c0c");
    EXPECT_EQ(host.exchange(SHM_CMD_EXECUTE), 0);
    EXPECT_EQ(read_port(host, 31) & SUPPORT_CONDITION, 0);
    EXPECT_EQ(process.ctl("power off"), "ok");
    EXPECT_EQ(read_port(host, 31) & SUPPORT_CONDITION, SUPPORT_CONDITION);
    EXPECT_EQ(process.ctl("power on"), "ok");
    EXPECT_EQ(process.ctl("clock off"), "ok");
    EXPECT_EQ(read_port(host, 31) & SUPPORT_CLOCK_LOST, SUPPORT_CLOCK_LOST);
    EXPECT_EQ(process.ctl("clock on"), "ok");
    EXPECT_EQ(read_port(host, 31) & SUPPORT_CLOCK_LOST, 0);
    EXPECT_EQ(process.ctl("emu0 low"), "ok");
    EXPECT_EQ(read_port(host, 17) & 3, TBC_STATUS1_EMU1);
    EXPECT_EQ(process.ctl("emu0 high"), "ok");
    EXPECT_EQ(process.ctl("emu1 low"), "ok");
    EXPECT_EQ(read_port(host, 17) & 3, TBC_STATUS1_EMU0);
}

TEST(StationTest, BatchesFailAndWritesAreRefusedAsOftenAsAsked) {
    PodsimProcess process;
    Host host(1);
    EXPECT_EQ(process.ctl("fail 2"), "ok");
    EXPECT_EQ(process.ctl("refuse 1"), "ok");
    for (int i = 0; i < 2; ++i) {
        host.queue("read 16");
        EXPECT_LT(host.exchange(SHM_CMD_EXECUTE), 0);
    }
    EXPECT_EQ(read_port(host, 16), 0);
    host.block().data = 0;
    EXPECT_LT(host.exchange(SHM_CMD_SUPPORT_WRITE), 0);
    EXPECT_EQ(host.exchange(SHM_CMD_SUPPORT_WRITE), 0);
    EXPECT_THAT(process.log(), HasSubstr("pod 1: batch 2 failed: failed on request\n"));
}

TEST(StationTest, EachLoopbackFaultShowsInTheWordsThatComeBack) {
    PodsimProcess process;
    Host host(1);
    const struct {
        const char* fault;
        uint16_t word; // what comes back for 0xC35A, which is 0x5AC3 when all is well
    } cases[] = {{"ok", 0x5AC3},
                 {"high-ff", 0xFFC3},
                 {"low-ff", 0x5AFF},
                 {"high-00", 0x00C3},
                 {"low-00", 0x5A00}};
    for (const auto& one : cases) {
        EXPECT_EQ(process.ctl(std::string("loopback ") + one.fault), "ok");
        host.queue("write 10 6001; write 1 0400; write 23 c35a; read 22; write 1 0004");
        EXPECT_EQ(host.exchange(SHM_CMD_EXECUTE), 2);
        EXPECT_EQ(host.block().tbcIMblock[0], one.word) << one.fault;
        EXPECT_EQ(status_of(process)["loopback"], one.fault);
    }
}

TEST(StationTest, WiresBreakAndAreMended) {
    PodsimProcess process;
    EXPECT_EQ(process.ctl("cable tdo open"), "ok");
    EXPECT_EQ(process.ctl("cable tdi 0"), "ok");
    EXPECT_EQ(status_of(process)["cable"], nlohmann::json::parse(R"({"tdi": "0", "tdo": "open"})"));
    EXPECT_EQ(process.ctl("cable tdi ok"), "ok");
    EXPECT_EQ(status_of(process)["cable"], nlohmann::json::parse(R"({"tdo": "open"})"));
    EXPECT_EQ(process.ctl("cable ok"), "ok");
    EXPECT_EQ(status_of(process)["cable"], nlohmann::json::object());
}

TEST(StationTest, RegistersAreReadAndSet) {
    PodsimProcess process(R"([[pod]]
serial = 1
[[pod.tap]]
name = "a"
ir_length = 4
idcode = 0x2BA01477
idcode_instruction = 14
[[pod.tap.register]]
name = "long"
kind = "scratch"
instruction = 3
length = 70
value = "0x2123456789abcdef01"
[[pod.tap.register]]
name = "ram"
kind = "memory"
instruction = 4
)");
    const auto device = [&] {
        return nlohmann::json::parse(process.ctl("registers"))["devices"][0];
    };
    EXPECT_EQ(device()["name"], "a");
    EXPECT_EQ(device()["instruction"], "0xe");
    EXPECT_EQ(device()["registers"]["bypass"],
              nlohmann::json::parse(R"({"bits":1,"value":"0x0"})"));
    EXPECT_EQ(device()["registers"]["idcode"]["value"], "0x2ba01477");
    EXPECT_EQ(device()["registers"]["long"],
              nlohmann::json::parse(R"({"bits":70,"value":"0x2123456789abcdef01"})"));
    EXPECT_EQ(process.ctl("register a idcode 0x0badc0df"), "ok");
    EXPECT_EQ(device()["registers"]["idcode"]["value"], "0x0badc0df");
    EXPECT_EQ(process.ctl("register a long 0x3f0000000000000001"), "ok");
    EXPECT_EQ(device()["registers"]["long"]["value"], "0x3f0000000000000001");
    EXPECT_EQ(process.ctl("register a long 0x400000000000000000"),
              "error: the value does not fit into the 70 bits of long of a");
    EXPECT_EQ(process.ctl("register a idcode 0x100000000000000000"),
              "error: the value does not fit into the 32 bits of idcode of a");
    EXPECT_EQ(process.ctl("register a ram 1"),
              "error: ram of a is none that could be given a value");
    EXPECT_EQ(process.ctl("register a none 1"), "error: a has no register 'none'");
    EXPECT_EQ(process.ctl("register b long 1"), "error: this chain has no device 'b'");
    EXPECT_EQ(process.ctl("power off"), "ok");
    EXPECT_EQ(process.ctl("power on"), "ok");
    EXPECT_EQ(device()["registers"]["idcode"]["value"], "0x2ba01477") << "as the description says";
}

TEST(StationTest, AnUnpluggedPodLeavesTheTableUntilItIsPluggedAgain) {
    PodsimProcess process(kTwoPods);
    EXPECT_EQ(process.ctl("pod 9 unplug"), "ok");
    EXPECT_EQ(read_table().max_instances, 1U);
    EXPECT_EQ(status_of(process, 1)["plugged"], false);
    Host host(9);
    host.queue("read 16");
    EXPECT_LT(host.exchange(SHM_CMD_EXECUTE), 0);
    EXPECT_EQ(process.ctl("pod 9 plug"), "ok");
    EXPECT_EQ(read_table().max_instances, 2U);
    EXPECT_EQ(read_port(host, 16), 0);
}

TEST(StationTest, WithSeveralPodsACommandMustNameOne) {
    PodsimProcess process(kTwoPods);
    EXPECT_EQ(process.ctl("power off"),
              "error: there are 2 pods; say which one is meant with 'pod SERIAL' first");
    EXPECT_EQ(process.ctl("pod 8 power off"), "error: there is no pod 8");
    EXPECT_EQ(process.ctl("pod 9 power off"), "ok");
    EXPECT_EQ(status_of(process, 0)["power"], true);
    EXPECT_EQ(status_of(process, 1)["power"], false);
    EXPECT_EQ(process.ctl("pod 7 fly"), "error: unknown command 'fly': expected power, clock, "
                                        "emu0, emu1, fail, refuse, latency, loopback, cable, "
                                        "fault, mend, core, drive, level, board, registers, "
                                        "register, unplug, plug or status");
}

TEST(StationTest, FaultsOfTheDescriptionAreThereFromTheStart) {
    PodsimProcess process("[[pod]]\nserial = 1\nfaults = [\"emu1 low\", \"unplug\", \"fail 1\"]\n");
    EXPECT_EQ(read_table().max_instances, 0U);
    EXPECT_EQ(process.ctl("plug"), "ok");
    EXPECT_EQ(read_table().max_instances, 1U);
    Host host(1);
    host.queue("read 16");
    EXPECT_LT(host.exchange(SHM_CMD_EXECUTE), 0);
    EXPECT_EQ(read_port(host, 17) & 3, TBC_STATUS1_EMU0);
}

// Two devices of one pin each in plain form, on a net.
constexpr const char* kBoard = R"([[pod]]
serial = 3
[[pod.tap]]
name = "a"
ir_length = 4
[[pod.tap.register]]
name = "pins"
kind = "boundary"
sample = 1
[[pod.tap.register.pin]]
name = "OUT"
output = true
level = true
[[pod.tap]]
name = "b"
ir_length = 4
[[pod.tap.register]]
name = "pins"
kind = "boundary"
sample = 1
[[pod.tap.register.pin]]
name = "IN"
[[pod.net]]
name = "D0"
pins = ["a.OUT", "b.IN"]
[[pod.net]]
name = "FREE"
pins = []
pull = "down"
)";

TEST(StationTest, ABoardIsBrokenAndMendedByCommands) {
    PodsimProcess process(kBoard);
    EXPECT_EQ(process.ctl("level D0"), "1");
    EXPECT_EQ(process.ctl("level b.IN"), "1");
    EXPECT_EQ(process.ctl("core a.OUT 0"), "ok");
    EXPECT_EQ(process.ctl("level b.IN"), "0");
    EXPECT_EQ(process.ctl("fault stuck D0 1"), "ok");
    EXPECT_EQ(process.ctl("level b.IN"), "1");
    EXPECT_EQ(process.ctl("drive FREE 1"), "ok");
    EXPECT_EQ(process.ctl("fault short FREE D0 wired-or"), "ok");
    EXPECT_EQ(nlohmann::json::parse(process.ctl("board")), nlohmann::json::parse(R"({"nets": [
        {"name": "D0", "level": 1, "driven": "stuck", "contention": false,
         "pins": ["a.OUT", "b.IN"]},
        {"name": "FREE", "level": 1, "driven": "strong", "contention": false, "pins": []}],
        "faults": ["stuck D0 1", "short FREE D0 wired-or"]})"));
    EXPECT_EQ(process.ctl("mend stuck D0"), "ok");
    EXPECT_EQ(process.ctl("drive FREE Z"), "ok");
    EXPECT_EQ(process.ctl("level FREE"), "0");
    EXPECT_EQ(process.ctl("mend all"), "ok");
    EXPECT_EQ(nlohmann::json::parse(process.ctl("board"))["faults"], nlohmann::json::array());
}

TEST(StationTest, WhatTheBoardDoesNotHaveIsNamed) {
    PodsimProcess process(kBoard);
    EXPECT_EQ(process.ctl("fault open D9"), "error: this board has no net and no pin 'D9'");
    EXPECT_EQ(process.ctl("mend open D0"), "error: there is no such fault as 'open D0'");
    EXPECT_EQ(process.ctl("level D9"), "error: this board has no net and no pin 'D9'");
    EXPECT_EQ(process.ctl("core b.IN 1"),
              "error: IN is an input, which the device's own logic does not drive");
    EXPECT_EQ(process.ctl("pod 4 board"), "error: there is no pod 4");
    EXPECT_EQ(process.ctl("fault open D0"), "ok");
}

TEST(StationTest, FaultsOfTheBoardComeByScriptAndDescriptionToo) {
    const std::string script = "/dev/shm/board-script"; // private to this test
    std::ofstream(script) << "fault open b.IN\nbatch 2: mend all\n";
    std::string text(kBoard);
    text.insert(text.find("[[pod.tap]]"), "faults = [\"fault stuck FREE 1\"]\n");
    PodsimProcess process(text, {"--script", script});
    EXPECT_EQ(nlohmann::json::parse(process.ctl("board"))["faults"],
              nlohmann::json::parse(R"(["stuck FREE 1", "open b.IN"])"));
    Host host(3);
    EXPECT_EQ(read_port(host, 16), 0);
    EXPECT_EQ(read_port(host, 16), 0);
    EXPECT_EQ(nlohmann::json::parse(process.ctl("board"))["faults"], nlohmann::json::array());
    unlink(script.c_str());
}

TEST(StationTest, AScriptBringsFaultsAtItsBatches) {
    const std::string script = "/dev/shm/script"; // private to this test
    std::ofstream(script) << "emu0 low\nbatch 2: emu0 high\nbatch 3: fail 1\nbatch 5: unplug\n";
    PodsimProcess process("", {"--script", script});
    Host host(1);
    EXPECT_EQ(read_port(host, 17) & 3, TBC_STATUS1_EMU1);
    EXPECT_EQ(read_port(host, 17) & 3, TBC_STATUS1_EMU1 | TBC_STATUS1_EMU0);
    host.queue("read 16");
    EXPECT_LT(host.exchange(SHM_CMD_EXECUTE), 0);
    EXPECT_EQ(read_port(host, 16), 0);
    EXPECT_EQ(read_table().max_instances, 1U);
    host.queue("read 16");
    EXPECT_LT(host.exchange(SHM_CMD_EXECUTE), 0);
    EXPECT_EQ(read_table().max_instances, 0U);
    unlink(script.c_str());
}

TEST(StationTest, AScriptThatMeansNoPodIsRefusedWithItsPlace) {
    const std::string script = "/dev/shm/script";
    std::ofstream(script) << "\npod 5 power off\n";
    const ProgramResult result = run_program({built_program("talvor-podsim"), "--script", script});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "talvor-podsim: /dev/shm/script:2: there is no pod 5\n");
    unlink(script.c_str());
}

TEST(StationTest, StopsCleanlyWhileABatchRuns) {
    PodsimProcess process;
    Host host(1);
    EXPECT_EQ(process.ctl("latency 3600000000"), "ok");
    host.queue("read 16");
    host.block().cmd = SHM_CMD_EXECUTE;
    host.post_start();
    await_batch(process, 1);
    EXPECT_EQ(process.stop(), 0);
    EXPECT_TRUE(host.take_complete());
    EXPECT_LT(host.block().status, 0);
    EXPECT_THAT(proxy::shm_objects(), IsEmpty());
}

TEST(StationTest, StopsCleanlyInTheMiddleOfAScanOf4Gigabits) {
    PodsimProcess process;
    Host host(1);
    host.queue("write 4 0100; write 12 ffff; write 13 ffff; write 11 3002; write 10 4080; wait "
               "done");
    host.block().cmd = SHM_CMD_EXECUTE;
    host.post_start();
    while (proxy::posts_of("talvor_lcl_s_s_000001") > 0) { // until the pod has taken it up
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(process.stop(SIGINT), 0);
    EXPECT_TRUE(host.take_complete());
    EXPECT_LT(host.block().status, 0);
    EXPECT_THAT(proxy::shm_objects(), IsEmpty());
}

TEST(StationTest, AHostKilledInTheMiddleOfABatchHarmsNobody) {
    PodsimProcess process;
    EXPECT_EQ(process.ctl("latency 50000"), "ok");
    const pid_t child = fork();
    if (child == 0) {
        Host victim(1);
        victim.exchange(SHM_CMD_ATTACH);
        victim.queue("write 12 1234; read 12");
        victim.block().cmd = SHM_CMD_EXECUTE;
        victim.post_start();
        std::raise(SIGKILL);
    }
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    await_batch(process, 1);
    Host host(1);
    EXPECT_EQ(host.exchange(SHM_CMD_ATTACH), 0);
    EXPECT_EQ(process.ctl("latency 0"), "ok");
    EXPECT_EQ(host.block().tbcMblockPtr, 2U);
    EXPECT_EQ(read_port(host, 12), 0x1234);
    EXPECT_EQ(proxy::posts_of("talvor_lcl_s_c_000001"), 0);
}

TEST(StationTest, HostileBatchesLeaveAPodThatWorks) {
    PodsimProcess process;
    Host host(1);
    uint32_t seed = 12345;
    const auto next = [&seed] {
        seed = seed * 1664525 + 1013904223;
        return seed >> 8;
    };
    for (int round = 0; round < 300; ++round) {
        lcl_shm& block = host.block();
        for (unsigned i = 0; i < 64; ++i) {
            // Mostly legal ports and words, so that batches get far.
            const uint32_t word = next();
            block.tbcOMblock[2 + i] = static_cast<uint16_t>(word % 4 == 0   ? word
                                                            : word % 4 == 1 ? (word & 31) | 0x4000
                                                                            : word & 31);
        }
        block.tbcMblockPtr = round % 10 == 0 ? next() : 2 + next() % 64;
        block.rdCntrGbl = next() % 64;
        block.rdCntrLcl = next() % 4 == 0 ? next() : block.rdCntrGbl;
        block.lastWCNTR = next() % 8 == 0 ? next() : 1;
        block.useZeroOfs = next() % 8 == 0 ? next() : 0;
        const int32_t status = host.exchange(SHM_CMD_EXECUTE);
        ASSERT_GT(status, -2) << round;
        ASSERT_LE(status, 2 * 64);
        ASSERT_EQ(block.tbcMblockPtr, 2U);
        host.exchange(next() % 7);
    }
    EXPECT_EQ(host.exchange(SHM_CMD_ATTACH), 0);
    host.queue("write 10 7001; write 12 5555; read 12");
    EXPECT_EQ(host.exchange(SHM_CMD_EXECUTE), 2);
    EXPECT_EQ(host.block().tbcIMblock[0], 0x5555);
    EXPECT_EQ(process.stop(), 0);
}

TEST(StationTest, AnIdleSimulatorUsesNoProcessorTime) {
    PodsimProcess process(kTwoPods, {"--spin", "1000"});
    Host host(7);
    EXPECT_EQ(host.exchange(SHM_CMD_ATTACH), 0);
    const auto ticks = [&process] {
        std::ifstream file("/proc/" + std::to_string(process.pid()) + "/stat");
        std::string field;
        for (int i = 0; i < 13; ++i) {
            file >> field;
        }
        long user = 0;
        long system = 0;
        file >> user >> system;
        return user + system;
    };
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const long before = ticks();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_LE(ticks() - before, 1); // of 50 ticks of 10 ms
}

TEST(StationTest, SeveralPodsAreTracedToAFileEach) {
    const std::string folder = "/dev/shm/";
    {
        PodsimProcess process(kTwoPods, {"--vcd", folder + "trace.vcd"});
        Host host(9);
        host.queue("write 11 0002; write 10 4080; wait done");
        EXPECT_EQ(host.exchange(SHM_CMD_EXECUTE), 0);
        // What a batch has moved is in the file when the batch is answered.
        std::ifstream file(folder + "trace-9.vcd");
        const std::string text(std::istreambuf_iterator<char>(file), {});
        EXPECT_THAT(text, HasSubstr("$scope module pod_000009 $end"));
        EXPECT_THAT(text, HasSubstr("sRun-Test/Idle -"));
        std::ifstream other(folder + "trace-7.vcd");
        const std::string quiet(std::istreambuf_iterator<char>(other), {});
        EXPECT_THAT(quiet, HasSubstr("$scope module pod_000007 $end"));
        EXPECT_THAT(quiet, testing::Not(HasSubstr("Run-Test/Idle")));
    }
    unlink("/dev/shm/trace-7.vcd");
    unlink("/dev/shm/trace-9.vcd");
}

TEST(StationTest, TheLogShowsBatchesInTheNotation) {
    PodsimProcess process("", {"--log"});
    Host host(1);
    host.queue("write 12 1234; read 12");
    EXPECT_EQ(host.exchange(SHM_CMD_EXECUTE), 2);
    EXPECT_EQ(process.log(), "pod 1: batch 1, 5 words, status 2\n  reserved\n  marker\n  write 12 "
                             "1234\n  read 12\n  results 1234\n");
}

} // namespace
} // namespace talvor::podsim
