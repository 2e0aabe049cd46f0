#include "podsim/description/description.h"
#include "tests/podsim/reason.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

namespace talvor::podsim::description {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Description parsed(std::string_view text) {
    auto description = parse(text, "pods.toml");
    EXPECT_TRUE(description) << reason_of(description);
    return description ? *std::move(description) : Description{};
}

const ChainDescription& chain_of(const Pod& pod) {
    return std::get<ChainDescription>(pod.target);
}

TEST(DescriptionTest, APodNeedsASerialNumberAndNothingElse) {
    const Description description = parsed("[[pod]]\nserial = 1\n");
    ASSERT_EQ(description.pods.size(), 1U);
    const Pod& pod = description.pods[0];
    EXPECT_EQ(pod.serial, 1U);
    EXPECT_EQ(pod.controller.revision, 0x0200);
    EXPECT_EQ(pod.controller.kind, eJTI_CONTROL_ID_TBC);
    EXPECT_EQ(pod.controller.utility_revision, 1U);
    EXPECT_EQ(pod.controller.cable_delay_bits, 3U);
    EXPECT_EQ(pod.controller.return_pipeline_bits, 16U);
    EXPECT_EQ(pod.controller.max_tck_hz, 0U);
    EXPECT_FALSE(pod.controller.strict);
    EXPECT_THAT(pod.faults, IsEmpty());
    EXPECT_THAT(chain_of(pod).devices, IsEmpty());
}

TEST(DescriptionTest, ReadsEveryKeyOfAPod) {
    const Description description = parsed(R"(
        [[pod]]
        serial = 4294967295
        revision = 0x0403
        controller = "dpm"
        utility_revision = 8
        cable_delay = 31
        return_pipeline = 0
        max_tck_hz = 10_000_000
        strict = true
        faults = ["power off", "loopback low-00"]
        [[pod]]
        serial = 7
        controller = "exl"
        target = "localhost:9824"
        target_protocol = "jtag_vpi"
        target_resets = true
        target_quit = true
        target_patience_ms = 250
    )");
    ASSERT_EQ(description.pods.size(), 2U);
    const Pod& pod = description.pods[0];
    EXPECT_EQ(pod.serial, 4294967295U);
    EXPECT_EQ(pod.controller.revision, 0x0403);
    EXPECT_EQ(pod.controller.kind, eJTI_CONTROL_ID_DPM);
    EXPECT_EQ(pod.controller.utility_revision, 8U);
    EXPECT_EQ(pod.controller.cable_delay_bits, 31U);
    EXPECT_EQ(pod.controller.return_pipeline_bits, 0U);
    EXPECT_EQ(pod.controller.max_tck_hz, 10'000'000U);
    EXPECT_TRUE(pod.controller.strict);
    ASSERT_EQ(pod.faults.size(), 2U);
    EXPECT_EQ(pod.faults[0], (control::Command{.verb = control::Verb::Power, .on = false}));
    EXPECT_EQ(pod.faults[1],
              (control::Command{.verb = control::Verb::Loopback, .fault = LoopFault::LowZeros}));
    EXPECT_EQ(description.pods[1].controller.kind, eJTI_CONTROL_ID_EXL);
    EXPECT_EQ(std::get<External>(description.pods[1].target),
              (External{.address = "localhost:9824",
                        .protocol = TargetProtocol::JtagVpi,
                        .send_resets = true,
                        .quit = true,
                        .patience = std::chrono::milliseconds(250)}));
}

TEST(DescriptionTest, ReadsTapsWithRegistersOfEveryKindAndNets) {
    const Description description = parsed(R"(
        [[pod]]
        serial = 1
        [[pod.tap]]
        name = "a"
        ir_length = 6
        ir_capture = 0b110101
        idcode = 0xFFFF0001
        idcode_instruction = 9
        [[pod.tap.register]]
        name = "c"
        kind = "constant"
        instruction = [1, 2]
        length = 68
        value = "0xA_0123456789abcDEF"
        [[pod.tap.register]]
        name = "s"
        kind = "scratch"
        instruction = 3
        length = 20
        value = 0xFFFFF
        [[pod.tap.register]]
        name = "n"
        kind = "counter"
        instruction = 4
        length = 8
        [[pod.tap.register]]
        name = "m"
        kind = "memory"
        instruction = 5
        address_bits = 10
        data_bits = 64
        words = 1000
        [[pod.tap.register]]
        name = "b"
        kind = "boundary"
        extest = 6
        sample = 7
        [[pod.tap.register.pin]]
        name = "OUT"
        output = true
        level = true
        [[pod.tap.register.pin]]
        name = "IN"
        [[pod.tap]]
        name = "z"
        ir_length = 2
        [[pod.net]]
        from = "a.OUT"
        to = "a.IN"
    )");
    ASSERT_EQ(description.pods.size(), 1U);
    const ChainDescription& chain = chain_of(description.pods[0]);
    ASSERT_EQ(chain.devices.size(), 2U);
    const DeviceDescription& a = chain.devices[0];
    EXPECT_EQ(a.name, "a");
    EXPECT_EQ(a.instruction_bits, 6U);
    EXPECT_EQ(a.instruction_capture, 0b110101U);
    EXPECT_EQ(a.idcode, 0xFFFF0001U);
    EXPECT_EQ(a.idcode_instruction, 9U);
    ASSERT_EQ(a.registers.size(), 5U);
    EXPECT_THAT(a.registers[0].instructions, ElementsAre(1, 2));
    const auto& constant = std::get<ConstantRegister>(a.registers[0].kind);
    EXPECT_EQ(constant.bits, 68U);
    EXPECT_THAT(constant.value, ElementsAre(0x0123456789ABCDEF, 0xA));
    const auto& scratch = std::get<ScratchRegister>(a.registers[1].kind);
    EXPECT_EQ(scratch.bits, 20U);
    EXPECT_THAT(scratch.value, ElementsAre(0xFFFFF));
    EXPECT_EQ(std::get<CounterRegister>(a.registers[2].kind).bits, 8U);
    const auto& memory = std::get<MemoryRegister>(a.registers[3].kind);
    EXPECT_EQ(memory.address_bits, 10U);
    EXPECT_EQ(memory.data_bits, 64U);
    EXPECT_EQ(memory.words, 1000U);
    const auto& boundary = std::get<BoundaryRegister>(a.registers[4].kind);
    EXPECT_EQ(boundary.extest, 6U);
    EXPECT_EQ(boundary.sample, 7U);
    ASSERT_EQ(boundary.pins.size(), 2U);
    EXPECT_EQ(boundary.pins[0].name, "OUT");
    EXPECT_TRUE(boundary.pins[0].output);
    EXPECT_TRUE(boundary.pins[0].level);
    EXPECT_FALSE(boundary.pins[1].output);
    EXPECT_EQ(chain.devices[1].name, "z");
    EXPECT_FALSE(chain.devices[1].idcode);
    ASSERT_EQ(chain.nets.size(), 1U);
    EXPECT_EQ(chain.nets[0].from_pin, 0U);
    EXPECT_EQ(chain.nets[0].to_pin, 1U);
}

// A description that is wrong, and the one line that says so.
struct Wrong {
    std::string text;
    std::string reason;
};

void expect_reasons(const std::vector<Wrong>& all) {
    for (const Wrong& wrong : all) {
        const auto description = parse(wrong.text, "pods.toml");
        EXPECT_FALSE(description) << wrong.text;
        EXPECT_EQ(reason_of(description), "pods.toml:" + wrong.reason) << wrong.text;
    }
}

std::string pod_with(const std::string& lines) {
    return "[[pod]]\nserial = 1\n" + lines;
}
std::string tap_with(const std::string& lines) {
    return pod_with("[[pod.tap]]\nname = \"a\"\nir_length = 4\n" + lines);
}
std::string register_with(const std::string& lines) {
    return tap_with("[[pod.tap.register]]\nname = \"r\"\n" + lines);
}

TEST(DescriptionTest, ErrorsOfAPodNameFileLineKeyAndExpectation) {
    const std::string generation = "3: pod[0].revision: expected the pod's generation, 1 to 4, in "
                                   "the high byte, as in 0x0200";
    expect_reasons({
        {"", "1: pod: missing, expected at least one pod, written [[pod]]"},
        {"pods = 1\n", "1: pods: unknown key, expected one of pod"},
        {"pod = 1\n", "1: pod: expected an array of tables, written [[pod]], found an integer"},
        {"\n[[pod]]\nrevision = 0x0200\n",
         "2: pod[0].serial: missing, expected the pod's serial number"},
        {"[[pod]]\nserial = \"one\"\n",
         "2: pod[0].serial: expected an integer from 0 to 4294967295, found a text"},
        {"[[pod]]\nserial = 4294967296\n",
         "2: pod[0].serial: expected an integer from 0 to 4294967295, found 4294967296"},
        {"[[pod]]\nserial = -1\n",
         "2: pod[0].serial: expected an integer from 0 to 4294967295, found -1"},
        {"[[pod]]\nserial = 1\n[[pod]]\nserial = 1\n",
         "4: pod[1].serial: expected a serial number of its own, found 1 again"},
        {pod_with("revision = 0x0500\n"), generation},
        {pod_with("revision = 0x00FF\n"), generation},
        {pod_with("controller = \"abc\"\n"),
         "3: pod[0].controller: expected tbc, exl or dpm, found \"abc\""},
        {pod_with("utility_revision = 9\n"),
         "3: pod[0].utility_revision: expected an integer from 1 to 8, found 9"},
        {pod_with("cable_delay = 32\n"),
         "3: pod[0].cable_delay: expected an integer from 0 to 31, found 32"},
        {pod_with("return_pipeline = 65\n"),
         "3: pod[0].return_pipeline: expected an integer from 0 to 64, found 65"},
        {pod_with("strict = 1\n"), "3: pod[0].strict: expected true or false, found an integer"},
        {pod_with("faults = \"power off\"\n"),
         "3: pod[0].faults: expected an array of texts, found a text"},
        {pod_with("faults = [\"power maybe\"]\n"),
         "3: pod[0].faults: power takes off or on, not 'maybe'"},
        {pod_with("faults = [\"pod 2 power off\"]\n"),
         "3: pod[0].faults: expected faults of this pod, found \"pod 2 power off\""},
        {pod_with("target = \"9000\"\n[[pod.tap]]\nname = \"a\"\nir_length = 4\n"),
         "3: pod[0].target: expected no tap and no net beside an external target"},
        {pod_with("target_resets = true\n"), "3: pod[0].target_resets: expected only with target"},
        {pod_with("target_quit = true\n"), "3: pod[0].target_quit: expected only with target"},
        {pod_with("target_protocol = \"xvc\"\n"),
         "3: pod[0].target_protocol: expected only with target"},
        {pod_with("target = \"9000\"\ntarget_protocol = \"spi\"\n"),
         "4: pod[0].target_protocol: expected remote_bitbang, xvc or jtag_vpi, found \"spi\""},
        {pod_with("target = \"9000\"\ntarget_protocol = \"xvc\"\ntarget_quit = false\n"),
         "5: pod[0].target_quit: expected only with remote_bitbang or jtag_vpi, for xvc has no "
         "request for it"},
        {pod_with("colour = 1.5\n"),
         "3: pod[0].colour: unknown key, expected one of serial, revision, controller, "
         "utility_revision, cable_delay, return_pipeline, max_tck_hz, strict, faults, tap, net, "
         "fault, floating, target, target_protocol, target_resets, target_quit, "
         "target_patience_ms"},
        {"[[pod]\nserial = 1\n",
         "1: not TOML: Error while parsing table header: expected ']', saw '\\n'"},
    });
}

TEST(DescriptionTest, ErrorsOfATapNameFileLineKeyAndExpectation) {
    expect_reasons({
        {pod_with("[[pod.tap]]\nir_length = 4\n"),
         "3: pod[0].tap[0].name: missing, expected a text"},
        {pod_with("[[pod.tap]]\nname = \"a\"\n"),
         "3: pod[0].tap[0].ir_length: missing, expected the length of the instruction register in "
         "bits"},
        {pod_with("[[pod.tap]]\nname = \"a\"\nir_length = 1\n"),
         "5: pod[0].tap[0].ir_length: expected an integer from 2 to 64, found 1"},
        {tap_with("ir_capture = 0b0010\n"),
         "6: pod[0].tap[0].ir_capture: expected a value of 4 bits that ends in binary 01"},
        {tap_with("ir_capture = 16\n"),
         "6: pod[0].tap[0].ir_capture: expected an integer from 0 to 15, found 16"},
        {tap_with("idcode = 0x10000000\nidcode_instruction = 1\n"),
         "6: pod[0].tap[0].idcode: expected an odd number, for bit 0 is 1"},
        {tap_with("idcode = 1\n"),
         "3: pod[0].tap[0].idcode_instruction: missing, expected the instruction IDCODE of a TAP "
         "with an idcode"},
        {tap_with("idcode_instruction = 1\n"),
         "6: pod[0].tap[0].idcode_instruction: expected only with idcode"},
        {tap_with("kind = \"arm\"\n"),
         "6: pod[0].tap[0].kind: expected plain or riscv-dtm, found \"arm\""},
        {tap_with("[[pod.tap]]\nname = \"a\"\nir_length = 4\n"),
         "7: pod[0].tap[1].name: expected a name of its own, found \"a\" again"},
        {tap_with("[[pod.net]]\nfrom = \"a.X\"\nto = \"a.Y\"\n"),
         "7: pod[0].net[0].from: expected a pin of this chain, written \"tap.pin\", found "
         "\"a.X\""},
    });
}

TEST(DescriptionTest, ErrorsOfARegisterNameFileLineKeyAndExpectation) {
    const std::string at = "pod[0].tap[0].register[0].";
    expect_reasons({
        {register_with("instruction = 1\n"),
         "6: " + at + "kind: missing, expected constant, scratch, counter, memory or boundary"},
        {register_with("kind = \"shift\"\ninstruction = 1\n"),
         "8: " + at +
             "kind: expected constant, scratch, counter, memory or boundary, found \"shift\""},
        {register_with("kind = \"scratch\"\n"),
         "6: " + at +
             "instruction: missing, expected the instruction that selects the register, or "
             "several"},
        {register_with("kind = \"scratch\"\ninstruction = [1, 16]\n"),
         "9: " + at + "instruction: expected integers from 0 to 15"},
        {register_with("kind = \"scratch\"\ninstruction = 1\nlength = 0\n"),
         "10: " + at + "length: expected an integer from 1 to 16777216, found 0"},
        {register_with("kind = \"scratch\"\ninstruction = 1\nlength = 4\nvalue = 16\n"),
         "11: " + at +
             "value: expected a value of at most 4 bits, as an integer or as a text like "
             "\"0x1F\""},
        {register_with("kind = \"scratch\"\ninstruction = 1\nvalue = \"1F\"\n"),
         "10: " + at +
             "value: expected a value of at most 32 bits, as an integer or as a text like "
             "\"0x1F\""},
        {register_with("kind = \"counter\"\ninstruction = 1\nvalue = 3\n"),
         "10: " + at + "value: unknown key, expected one of name, kind, instruction, length"},
        {register_with("kind = \"memory\"\ninstruction = 1\naddress_bits = 4\nwords = 17\n"),
         "11: " + at + "words: expected an integer from 1 to 16, found 17"},
        {register_with("kind = \"boundary\"\nsample = 1\n"),
         "6: " + at + "pin: missing, expected the pins, written [[pod[0].tap[0].register[0].pin]]"},
        {register_with("kind = \"scratch\"\ninstruction = 15\n"),
         "9: " + at + "instruction: expected from 0 to 14, for all ones is BYPASS"},
    });
}

// Two devices with a boundary register in plain form, and what stands behind them.
std::string board_with(const std::string& lines) {
    std::string text = "[[pod]]\nserial = 1\n";
    for (const char* name : {"a", "b"}) {
        text += std::string("[[pod.tap]]\nname = \"") + name +
                "\"\nir_length = 4\n[[pod.tap.register]]\nname = \"r\"\nkind = \"boundary\"\n"
                "sample = 1\n[[pod.tap.register.pin]]\nname = \"OUT\"\noutput = true\n"
                "[[pod.tap.register.pin]]\nname = \"IN\"\n";
    }
    return text + lines;
}

TEST(DescriptionTest, ReadsNetsOfManyPinsAndFaults) {
    const Description description = parsed(board_with(R"(
        [[pod.net]]
        name = "D0"
        pins = ["a.OUT", "b.IN"]
        pull = "up"
        [[pod.net]]
        name = "D1"
        pins = ["b.OUT"]
        pull = "down"
        drive = 1
        floating = 0
        [[pod.fault]]
        kind = "open"
        net = "D0"
        [[pod.fault]]
        kind = "open"
        pin = "b.IN"
        [[pod.fault]]
        kind = "stuck"
        net = "D1"
        level = 0
        [[pod.fault]]
        kind = "short"
        nets = ["D1", "D0"]
        [[pod.fault]]
        kind = "short"
        nets = ["D1", "D0"]
        model = "strong"
        [[pod.fault]]
        kind = "dead"
        device = "b"
        [[pod.fault]]
        kind = "swapped"
        devices = ["b", "a"]
    )"));
    ASSERT_EQ(description.pods.size(), 1U);
    const BoardDescription& board = chain_of(description.pods[0]).board;
    ASSERT_EQ(board.nets.size(), 2U);
    EXPECT_EQ(board.nets[0].name, "D0");
    EXPECT_THAT(board.nets[0].pins, ElementsAre(PinPlace{0, 0}, PinPlace{1, 1}));
    EXPECT_EQ(board.nets[0].pull, true);
    EXPECT_EQ(board.nets[0].drive, std::nullopt);
    EXPECT_EQ(board.nets[1].pull, false);
    EXPECT_EQ(board.nets[1].drive, true);
    EXPECT_EQ(board.nets[1].floating, false);
    EXPECT_TRUE(board.floating);
    std::vector<std::string> faults;
    for (const BoardFault& fault : board.faults) {
        faults.push_back(text_of(fault));
    }
    EXPECT_THAT(faults, ElementsAre("open D0", "open b.IN", "stuck D1 0", "short D1 D0 wired-and",
                                    "short D1 D0 strong", "dead b 1", "swapped b a"));
}

TEST(DescriptionTest, ErrorsOfABoardNameFileLineKeyAndExpectation) {
    // What stands behind the two TAPs begins with line 27.
    const auto net = [](const std::string& lines) { return board_with("[[pod.net]]\n" + lines); };
    const auto fault = [&](const std::string& lines) {
        return net("name = \"N\"\npins = []\n[[pod.fault]]\n" + lines);
    };
    expect_reasons({
        {net("name = \"N\"\n"),
         "27: pod[0].net[0].pins: missing, expected the pins, each written \"tap.pin\""},
        {net("pins = []\n"), "27: pod[0].net[0].name: missing, expected a text"},
        {net("name = \"N\"\npins = [\"a.X\"]\n"),
         "29: pod[0].net[0].pins: expected pins of this chain, each written \"tap.pin\", found "
         "\"a.X\""},
        {net("name = \"N\"\npins = [\"a.IN\", \"a.in\"]\n"),
         "29: pod[0].net[0].pins: expected pins that no other net has"},
        {net("from = \"a.OUT\"\nto = \"b.IN\"\n[[pod.net]]\nname = \"N\"\npins = "
             "[\"b.IN\"]\n"),
         "32: pod[0].net[1].pins: expected pins that no other net has"},
        {net("name = \"N M\"\npins = []\n"),
         "28: pod[0].net[0].name: expected a name without blanks, found \"N M\""},
        {net("name = \"a.IN\"\npins = []\n"),
         "28: pod[0].net[0].name: expected a name that no pin has, found \"a.IN\""},
        {net("name = \"N\"\npins = []\n[[pod.net]]\nname = \"N\"\npins = []\n"),
         "31: pod[0].net[1].name: expected a name of its own, found \"N\" again"},
        {net("name = \"N\"\npins = []\npull = \"left\"\n"),
         "30: pod[0].net[0].pull: expected up or down, found \"left\""},
        {net("name = \"N\"\npins = []\ndrive = 2\n"),
         "30: pod[0].net[0].drive: expected an integer from 0 to 1, found 2"},
        {fault("net = \"N\"\n"),
         "30: pod[0].fault[0].kind: missing, expected open, short, stuck, dead or swapped"},
        {fault("kind = \"bad\"\n"),
         "31: pod[0].fault[0].kind: expected open, short, stuck, dead or swapped, found \"bad\""},
        {fault("kind = \"open\"\n"),
         "30: pod[0].fault[0].net: missing, expected the net or the pin that is meant"},
        {fault("kind = \"open\"\nnet = \"M\"\n"),
         "32: pod[0].fault[0].net: expected the name of a net, found \"M\""},
        {fault("kind = \"open\"\npin = \"N\"\n"),
         "32: pod[0].fault[0].pin: expected a pin of this chain, written \"tap.pin\", found "
         "\"N\""},
        {fault("kind = \"open\"\nnet = \"N\"\npin = \"a.IN\"\n"),
         "33: pod[0].fault[0].pin: expected a net or a pin, not both"},
        {fault("kind = \"stuck\"\nnet = \"N\"\n"),
         "30: pod[0].fault[0].level: missing, expected 0 or 1"},
        {fault("kind = \"short\"\nnets = [\"N\"]\n"),
         "32: pod[0].fault[0].nets: expected two names or more, each another"},
        {fault("kind = \"short\"\nnets = [\"N\", \"N\"]\n"),
         "32: pod[0].fault[0].nets: expected two names or more, each another"},
        {fault("kind = \"short\"\nnets = [\"N\", \"M\"]\n"),
         "32: pod[0].fault[0].nets: expected the name of a net, found \"M\""},
        {fault("kind = \"dead\"\ndevice = \"c\"\n"),
         "32: pod[0].fault[0].device: expected the name of a TAP, found \"c\""},
        {fault("kind = \"swapped\"\ndevices = [\"a\"]\n"),
         "32: pod[0].fault[0].devices: expected two different names"},
        {fault("kind = \"open\"\nnet = \"N\"\nlevel = 1\n"),
         "33: pod[0].fault[0].level: unknown key, expected one of kind, net, pin"},
        {"[[pod]]\nserial = 1\ntarget = \"9000\"\nfloating = 0\n",
         "4: pod[0].floating: expected only without target"},
        {pod_with("faults = [\"board\"]\n"),
         "3: pod[0].faults: expected faults of this pod, found \"board\""},
    });
}

std::string bsdl_with(const std::string& lines) {
    return "[[pod]]\nserial = 1\n[[pod.tap]]\nname = \"u\"\nbsdl = \"board/tlc44.bsd\"\n" + lines;
}

// `text` as a file in the folder of the examples.
Result<Description> parsed_beside_examples(const std::string& text) {
    return parse(text, EXAMPLES_FOLDER "/pods.toml");
}

TEST(DescriptionTest, ABsdlFileMakesATap) {
    const auto description = parsed_beside_examples(
        bsdl_with("core = { \"Y0\" = 1, \"IO3\" = \"0\", \"IO4\" = \"Z\" }\n[[pod.net]]\nname = "
                  "\"N\"\npins = "
                  "[\"u.y0\", \"u.2\"]\n[[pod.net]]\nfrom = \"u.Y1\"\nto = \"u.A1\"\n"));
    ASSERT_TRUE(description) << reason_of(description);
    const ChainDescription& chain = chain_of(description->pods[0]);
    ASSERT_EQ(chain.devices.size(), 1U);
    const DeviceDescription& device = chain.devices[0];
    EXPECT_EQ(device.name, "u");
    EXPECT_EQ(device.instruction_bits, 8U);
    EXPECT_EQ(device.idcode_instruction, 0xFEU);
    ASSERT_TRUE(device.boundary);
    const bsdl::Device& file = *device.boundary->device;
    const auto core = [&](const char* pin) {
        return device.boundary->core[bsdl::find_signal(file, pin).value_or(0)];
    };
    EXPECT_EQ(core("Y0"), Core::High);
    EXPECT_EQ(core("IO3"), Core::Low);
    EXPECT_EQ(core("IO4"), Core::Off);
    ASSERT_EQ(chain.board.nets.size(), 2U);
    EXPECT_EQ(file.signals[chain.board.nets[0].pins[0].pin].name, "Y0");
    EXPECT_EQ(file.signals[chain.board.nets[0].pins[1].pin].name, "A0");
    EXPECT_EQ(chain.board.nets[1].name, "");
}

TEST(DescriptionTest, ErrorsOfABsdlTapNameFileLineKeyAndExpectation) {
    const std::string at = EXAMPLES_FOLDER "/pods.toml:";
    const std::vector<Wrong> all{
        {bsdl_with("ir_length = 4\n"),
         "6: pod[0].tap[0].ir_length: unknown key, expected one of name, bsdl, package, core"},
        {"[[pod]]\nserial = 1\n[[pod.tap]]\nname = \"u\"\nbsdl = \"none.bsd\"\n",
         "5: pod[0].tap[0].bsdl: " EXAMPLES_FOLDER
         "/none.bsd: cannot be read: No such file or directory"},
        {"[[pod]]\nserial = 1\n[[pod.tap]]\nname = \"u\"\nbsdl = \"board\"\n",
         "5: pod[0].tap[0].bsdl: " EXAMPLES_FOLDER "/board: cannot be read: it is not a file"},
        {bsdl_with("core = { \"Y9\" = 1 }\n"),
         "6: pod[0].tap[0].core.Y9: expected a signal, a port or a package pin of TLC44"},
        {bsdl_with("core = { \"Y0\" = 2 }\n"), "6: pod[0].tap[0].core.Y0: expected 0, 1 or \"Z\""},
        {bsdl_with("core = { \"A0\" = 1 }\n"),
         "6: pod[0].tap[0].core.A0: A0 is an input, which the device's own logic does not drive"},
    };
    for (const Wrong& wrong : all) {
        const auto description = parsed_beside_examples(wrong.text);
        EXPECT_FALSE(description) << wrong.text;
        EXPECT_EQ(reason_of(description), at + wrong.reason) << wrong.text;
    }
    const auto package = parsed_beside_examples(bsdl_with("package = \"BGA\"\n"));
    ASSERT_FALSE(package);
    EXPECT_NE(reason_of(package).find("BGA"), std::string::npos) << reason_of(package);
}

TEST(DescriptionTest, AFileThatIsNotThereIsNamed) {
    EXPECT_EQ(reason_of(read("/nowhere/pods.toml")),
              "/nowhere/pods.toml: cannot be read: No such file or directory");
}

TEST(DescriptionTest, TheBuiltInOneIsTheSingleDeviceOfTheExamples) {
    const Description built = built_in();
    const auto file = read(EXAMPLES_FOLDER "/single.toml");
    ASSERT_TRUE(file) << reason_of(file);
    ASSERT_EQ(built.pods.size(), 1U);
    ASSERT_EQ(file.value().pods.size(), 1U);
    EXPECT_EQ(built.pods[0].serial, file.value().pods[0].serial);
    ASSERT_EQ(chain_of(built.pods[0]).devices.size(), 1U);
    EXPECT_EQ(chain_of(built.pods[0]).devices[0].idcode,
              chain_of(file.value().pods[0]).devices[0].idcode);
}

TEST(DescriptionTest, TheExampleOfFiveIsWhatItSays) {
    const auto file = read(EXAMPLES_FOLDER "/five.toml");
    ASSERT_TRUE(file) << reason_of(file);
    const ChainDescription& chain = chain_of(file.value().pods[0]);
    std::vector<unsigned> lengths;
    unsigned without_idcode = 0;
    for (const DeviceDescription& device : chain.devices) {
        lengths.push_back(device.instruction_bits);
        without_idcode += device.idcode ? 0 : 1;
    }
    EXPECT_THAT(lengths, ElementsAre(6, 4, 5, 8, 10));
    EXPECT_EQ(without_idcode, 1U);
}

TEST(DescriptionTest, BuiltInTextsAreThoseOfTheExamples) {
    for (const std::string name : {"single", "five"}) {
        const std::string path = std::string(EXAMPLES_FOLDER "/") + name + ".toml";
        std::ostringstream text;
        text << std::ifstream(path).rdbuf();
        EXPECT_FALSE(text.str().empty());
        EXPECT_EQ(built_in_text(name), text.str());
    }
    EXPECT_EQ(built_in_text("six"), "");
}

TEST(DescriptionTest, RowsAreReadWithTheirInstructions) {
    const auto file = read(EXAMPLES_FOLDER "/cpld.toml");
    ASSERT_TRUE(file) << reason_of(file);
    const DeviceDescription& device = chain_of(file.value().pods[0]).devices.at(0);
    ASSERT_EQ(device.rows.size(), 1U);
    const RowsDescription& rows = device.rows[0];
    EXPECT_EQ(rows.name, "fuses");
    EXPECT_EQ(rows.address_bits, 10U);
    EXPECT_EQ(rows.row_bits, 96U);
    EXPECT_EQ(rows.rows, 1000U);
    EXPECT_EQ(rows.address, 0xA1U);
    EXPECT_EQ(rows.program, 0xA4U);
    EXPECT_EQ(rows.verify, 0xA5U);
    EXPECT_EQ(rows.erase, 0xE0U);
    EXPECT_EQ(rows.status, 0x5FU);
}

TEST(DescriptionTest, ErrorsOfRowsNameFileLineKeyAndExpectation) {
    const std::string head = "[[pod]]\nserial = 1\n[[pod.tap]]\nname = \"a\"\nir_length = 4\n"
                             "[[pod.tap.rows]]\nname = \"r\"\naddress = 1\nprogram = 2\n"
                             "verify = 3\nerase = 4\n";
    const std::string at = "pod[0].tap[0].rows[0].";
    expect_reasons({
        {head, "6: " + at + "status: missing, expected the instruction that reads the status"},
        {head + "status = 4\n",
         "12: " + at + "status: expected an instruction that selects nothing else"},
        {head + "status = 5\naddress_bits = 3\nrows = 9\n",
         "14: " + at + "rows: expected an integer from 1 to 8, found 9"},
        {head + "status = 5\nbits = 3\n",
         "13: " + at +
             "bits: unknown key, expected one of name, address_bits, row_bits, rows, address, "
             "program, verify, erase, status"},
    });
}

TEST(DescriptionTest, ARiscvTapBringsItsOwnRegisters) {
    const auto file = read(EXAMPLES_FOLDER "/riscv.toml");
    ASSERT_TRUE(file) << reason_of(file);
    const ChainDescription& chain = chain_of(file.value().pods[0]);
    ASSERT_EQ(chain.devices.size(), 1U);
    const DeviceDescription& hart = chain.devices[0];
    EXPECT_EQ(hart.instruction_bits, 5U);
    EXPECT_EQ(hart.idcode, 0x1521'0001U);
    EXPECT_EQ(hart.idcode_instruction, 0x01U);
    ASSERT_EQ(hart.registers.size(), 2U);
    EXPECT_THAT(hart.registers[0].instructions, ElementsAre(0x10U));
    const auto& dtmcs = std::get<ConstantRegister>(hart.registers[0].kind);
    EXPECT_EQ(dtmcs.bits, 32U);
    EXPECT_THAT(dtmcs.value, ElementsAre(0x71U)); // version 0.13, 7 bits of address
    EXPECT_THAT(hart.registers[1].instructions, ElementsAre(0x11U));
    EXPECT_EQ(register_bits(hart.registers[1]), 41U);
    const auto& dmi = std::get<RiscvDescription>(hart.registers[1].kind);
    EXPECT_EQ(dmi.memory_address, 0x8000'0000U);
    EXPECT_EQ(dmi.memory_bytes, 0x10'0000U);
}

TEST(DescriptionTest, ErrorsOfARiscvTapNameFileLineKeyAndExpectation) {
    const auto riscv_with = [](const std::string& lines) {
        return pod_with("[[pod.tap]]\nname = \"a\"\nkind = \"riscv-dtm\"\n" + lines);
    };
    const std::string at = "pod[0].tap[0].";
    expect_reasons({
        {riscv_with(""), "3: " + at + "idcode: missing, expected the 32 bits of IDCODE"},
        {riscv_with("idcode = 1\nir_length = 4\n"),
         "7: " + at + "ir_length: expected an integer from 5 to 64, found 4"},
        {riscv_with("idcode = 1\nmemory_bytes = 0\n"),
         "7: " + at + "memory_bytes: expected an integer from 1 to 268435456, found 0"},
        {riscv_with("idcode = 1\nmemory_address = 0xFFFF0001\n"),
         "7: " + at +
             "memory_address: expected an address from which the memory fits into 32 bits"},
        {riscv_with("idcode = 1\nidcode_instruction = 2\n"),
         "7: " + at +
             "idcode_instruction: unknown key, expected one of name, kind, ir_length, "
             "ir_capture, idcode, memory_address, memory_bytes, register"},
        {riscv_with("idcode = 1\n[[pod.tap.register]]\nname = \"r\"\nkind = \"counter\"\n"
                    "instruction = 0x11\n"),
         "3: " + at + "instruction: expected an instruction that selects nothing else"},
    });
}

TEST(DescriptionTest, TheExampleOfTwoPodsHasTwo) {
    const auto file = read(EXAMPLES_FOLDER "/two-pods.toml");
    ASSERT_TRUE(file) << reason_of(file);
    ASSERT_EQ(file.value().pods.size(), 2U);
    EXPECT_EQ(file.value().pods[0].controller.revision, 0x0100);
    EXPECT_EQ(file.value().pods[1].controller.revision, 0x0400);
}

} // namespace
} // namespace talvor::podsim::description
