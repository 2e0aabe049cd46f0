#include "podsim/control/command.h"
#include "tests/podsim/reason.h"

#include <gtest/gtest.h>

namespace talvor::podsim::control {
namespace {

TEST(CommandTest, EveryCommandIsUnderstood) {
    const struct {
        const char* line;
        Command command;
    } lines[] = {
        {"power off", {.verb = Verb::Power, .on = false}},
        {"power on", {.verb = Verb::Power, .on = true}},
        {"clock off", {.verb = Verb::Clock, .on = false}},
        {"clock on", {.verb = Verb::Clock, .on = true}},
        {"emu0 low", {.verb = Verb::Emu0, .on = false}},
        {"emu0 high", {.verb = Verb::Emu0, .on = true}},
        {"emu1 low", {.verb = Verb::Emu1, .on = false}},
        {"emu1 high", {.verb = Verb::Emu1, .on = true}},
        {"fail 3", {.verb = Verb::Fail, .number = 3}},
        {"fail 4294967295", {.verb = Verb::Fail, .number = 4294967295}},
        {"refuse 0", {.verb = Verb::Refuse, .number = 0}},
        {"latency 1500", {.verb = Verb::Latency, .number = 1500}},
        {"latency 3600000000", {.verb = Verb::Latency, .number = 3'600'000'000}},
        {"loopback ok", {.verb = Verb::Loopback, .fault = LoopFault::None}},
        {"loopback high-ff", {.verb = Verb::Loopback, .fault = LoopFault::HighOnes}},
        {"loopback low-ff", {.verb = Verb::Loopback, .fault = LoopFault::LowOnes}},
        {"loopback high-00", {.verb = Verb::Loopback, .fault = LoopFault::HighZeros}},
        {"loopback low-00", {.verb = Verb::Loopback, .fault = LoopFault::LowZeros}},
        {"loopback corrupt", {.verb = Verb::Loopback, .fault = LoopFault::Corrupt}},
        {"unplug", {.verb = Verb::Plug, .on = false}},
        {"plug", {.verb = Verb::Plug, .on = true}},
        {"status", {.verb = Verb::Status}},
        {"  pod 42\tpower  off ", {.verb = Verb::Power, .on = false, .serial = 42}},
        {"pod 4294967295 plug", {.verb = Verb::Plug, .on = true, .serial = 4294967295}},
    };
    for (const auto& good : lines) {
        const auto command = parse(good.line);
        ASSERT_TRUE(command) << good.line << ": " << reason_of(command);
        EXPECT_EQ(command.value(), good.command) << good.line;
    }
}

TEST(CommandTest, WhatIsWrongIsNamedWithWhatWasExpected) {
    const struct {
        const char* line;
        const char* reason;
    } lines[] = {
        {"", "a command is missing"},
        {"pod 1", "a command is missing"},
        {"pod", "pod takes a serial number, and nothing came"},
        {"pod x power off", "pod takes a serial number, not 'x'"},
        {"power", "power takes off or on, and nothing came"},
        {"power up", "power takes off or on, not 'up'"},
        {"emu0 on", "emu0 takes low or high, not 'on'"},
        {"fail", "fail takes a number from 0 to 4294967295, and nothing came"},
        {"fail -1", "fail takes a number from 0 to 4294967295, not '-1'"},
        {"fail 4294967296", "fail takes a number from 0 to 4294967295, not '4294967296'"},
        {"refuse 1x", "refuse takes a number from 0 to 4294967295, not '1x'"},
        {"latency 3600000001", "latency takes a number from 0 to 3600000000, not '3600000001'"},
        {"loopback broken",
         "loopback takes ok, high-ff, low-ff, high-00, low-00 or corrupt, not 'broken'"},
        {"power off now", "'now' is too much after power"},
        {"status all", "'all' is too much after status"},
        {"POWER off", "unknown command 'POWER': expected power, clock, emu0, emu1, fail, refuse, "
                      "latency, loopback, unplug, plug or status"},
    };
    for (const auto& bad : lines) {
        const auto command = parse(bad.line);
        ASSERT_FALSE(command) << bad.line;
        EXPECT_EQ(reason_of(command), bad.reason) << bad.line;
    }
}

TEST(CommandTest, EveryLoopbackFaultHasTheWordThatSetsIt) {
    for (const LoopFault fault : {LoopFault::None, LoopFault::HighOnes, LoopFault::LowOnes,
                                  LoopFault::HighZeros, LoopFault::LowZeros, LoopFault::Corrupt}) {
        const auto command = parse("loopback " + std::string(name_of(fault)));
        ASSERT_TRUE(command);
        EXPECT_EQ(command.value().fault, fault);
    }
}

} // namespace
} // namespace talvor::podsim::control
