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
        {"cable ok", {.verb = Verb::Cable}},
        {"cable tck 0", {.verb = Verb::Cable, .wire = Wire::Tck, .wire_state = WireState::Low}},
        {"cable tms 1", {.verb = Verb::Cable, .wire = Wire::Tms, .wire_state = WireState::High}},
        {"cable tdi open", {.verb = Verb::Cable, .wire = Wire::Tdi, .wire_state = WireState::Open}},
        {"cable tdo ok", {.verb = Verb::Cable, .wire = Wire::Tdo, .wire_state = WireState::Whole}},
        {"cable trst 0", {.verb = Verb::Cable, .wire = Wire::Trst, .wire_state = WireState::Low}},
        {"registers", {.verb = Verb::Registers}},
        {"register cpu idcode 12",
         {.verb = Verb::Register, .place = "cpu", .name = "idcode", .value = {12}}},
        {"register cpu long 0x1fedcba9876543210",
         {.verb = Verb::Register,
          .place = "cpu",
          .name = "long",
          .value = {0xFEDC'BA98'7654'3210, 1}}},
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

TEST(CommandTest, EveryCommandOfTheBoardIsUnderstood) {
    using Kind = BoardFault::Kind;
    using Model = BoardFault::Model;
    const auto fault = [](Verb verb, Kind kind, std::vector<std::string> places,
                          Model model = Model::WiredAnd, bool level = true) {
        return Command{
            .verb = verb,
            .board_fault = {
                .kind = kind, .places = std::move(places), .model = model, .level = level}};
    };
    const struct {
        const char* line;
        Command command;
    } lines[] = {
        {"fault open u1.PA(3)", fault(Verb::Fault, Kind::Open, {"u1.PA(3)"})},
        {"fault short D3 D4", fault(Verb::Fault, Kind::Short, {"D3", "D4"})},
        {"fault short A B C strong",
         fault(Verb::Fault, Kind::Short, {"A", "B", "C"}, Model::Strong)},
        {"fault short A B wired-or", fault(Verb::Fault, Kind::Short, {"A", "B"}, Model::WiredOr)},
        {"fault stuck D3 0", fault(Verb::Fault, Kind::Stuck, {"D3"}, Model::WiredAnd, false)},
        {"fault stuck 1 1", fault(Verb::Fault, Kind::Stuck, {"1"})},
        {"fault dead u2", fault(Verb::Fault, Kind::Dead, {"u2"})},
        {"fault dead u2 0", fault(Verb::Fault, Kind::Dead, {"u2"}, Model::WiredAnd, false)},
        {"fault swapped u1 u2", fault(Verb::Fault, Kind::Swapped, {"u1", "u2"})},
        {"mend stuck D3", fault(Verb::Mend, Kind::Stuck, {"D3"})},
        {"mend short A B wired-or", fault(Verb::Mend, Kind::Short, {"A", "B"}, Model::WiredOr)},
        {"mend all", {.verb = Verb::MendAll}},
        {"core u1.PA(0) 1", {.verb = Verb::Core, .place = "u1.PA(0)", .core = Core::High}},
        {"core u1.PA(0) z", {.verb = Verb::Core, .place = "u1.PA(0)", .core = Core::Off}},
        {"drive D3 0", {.verb = Verb::Drive, .place = "D3", .core = Core::Low}},
        {"pod 7 level D3", {.verb = Verb::Level, .serial = 7, .place = "D3"}},
        {"board", {.verb = Verb::Board}},
    };
    for (const auto& good : lines) {
        const auto command = parse(good.line);
        ASSERT_TRUE(command) << good.line << ": " << reason_of(command);
        EXPECT_EQ(command.value(), good.command) << good.line;
        EXPECT_TRUE(is_of_board(command->verb)) << good.line;
    }
}

// What a fault is listed as is what brings it about.
TEST(CommandTest, AFaultIsListedInTheWordsThatBringItAbout) {
    for (const char* line :
         {"open D3", "short A B wired-or", "stuck u1.PA(3) 0", "dead u2 1", "swapped u1 u2"}) {
        const auto command = parse("fault " + std::string(line));
        ASSERT_TRUE(command) << reason_of(command);
        EXPECT_EQ(text_of(command->board_fault), line);
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
                      "latency, loopback, cable, fault, mend, core, drive, level, board, "
                      "registers, register, unplug, plug or status"},
        {"cable", "cable takes ok, tck, tms, tdi, tdo or trst, and nothing came"},
        {"cable emu0 0", "cable takes ok, tck, tms, tdi, tdo or trst, not 'emu0'"},
        {"cable tdo", "cable tdo takes ok, open, 0 or 1"},
        {"cable tdo 2", "cable tdo takes ok, open, 0 or 1"},
        {"cable ok 0", "'0' is too much after cable"},
        {"cable tdo 1 1", "'1' is too much after cable"},
        {"register", "register takes a device, a register and a number, as in 12 or 0xC"},
        {"register cpu", "register takes a device, a register and a number, as in 12 or 0xC"},
        {"register cpu a 0x", "register takes a device, a register and a number, as in 12 or 0xC"},
        {"register cpu a 0x12345678123456789g",
         "register takes a device, a register and a number, as in 12 or 0xC"},
        {"register cpu a -1", "register takes a device, a register and a number, as in 12 or 0xC"},
        {"register cpu a 1 2", "'2' is too much after register"},
        {"registers cpu", "'cpu' is too much after registers"},
        {"fault", "fault takes open, short, stuck, dead or swapped, and nothing came"},
        {"fault all", "fault takes open, short, stuck, dead or swapped, not 'all'"},
        {"fault open", "fault open takes a net or a pin"},
        {"fault open D3 D4", "'D4' is too much after fault open"},
        {"fault short D3", "fault short takes two nets or more"},
        {"fault short D3 wired-or", "fault short takes two nets or more"},
        {"fault stuck D3", "fault stuck takes a net or a pin, and 0 or 1"},
        {"fault stuck 1", "fault stuck takes a net or a pin, and 0 or 1"},
        {"fault stuck D3 2", "fault stuck takes a net or a pin, and 0 or 1"},
        {"fault dead u1 u2", "'u2' is too much after fault dead"},
        {"fault swapped u1", "fault swapped takes two devices"},
        {"fault swapped u1 u2 u3", "'u3' is too much after fault swapped"},
        {"mend", "mend takes all, open, short, stuck, dead or swapped, and nothing came"},
        {"mend all now", "'now' is too much after mend"},
        {"mend broken", "mend takes all, open, short, stuck, dead or swapped, not 'broken'"},
        {"core", "core takes a pin and 0, 1 or Z"},
        {"core u1.A", "core takes a pin and 0, 1 or Z"},
        {"core u1.A 2", "core takes a pin and 0, 1 or Z"},
        {"core u1.A 1 1", "'1' is too much after core"},
        {"drive D3", "drive takes a net and 0, 1 or Z"},
        {"level", "level takes a net or a pin, and nothing came"},
        {"level D3 D4", "'D4' is too much after level"},
        {"board all", "'all' is too much after board"},
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
