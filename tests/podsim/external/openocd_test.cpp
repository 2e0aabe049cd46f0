// A debugger that other people wrote examines, halts, reads and writes the simulated RISC-V target.
#include "chain_server.h"
#include "common/temporary.h"
#include "support/run_program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

namespace talvor::podsim::external {
namespace {

using test_support::ProgramResult;
using test_support::run_program;
using testing::HasSubstr;
using testing::Not;

ChainDescription riscv() {
    DeviceDescription device;
    device.name = "hart";
    device.instruction_bits = 5;
    device.idcode = 0x1521'0001;
    device.idcode_instruction = 1;
    device.registers.push_back({"dtmcs", {0x10}, ConstantRegister{32, {0x71}}});
    device.registers.push_back(
        {"dmi", {0x11}, RiscvDescription{.memory_address = 0x8000'0000, .memory_bytes = 65'536}});
    return {{device}, {}};
}

// What it says while it carries out `commands` on a target that was examined.
std::string openocd(const std::vector<std::string>& commands) {
    const ChainServer server(riscv());
    const size_t colon = server.address().rfind(':');
    std::vector<std::string> line{"timeout", "60", "openocd"};
    const auto say = [&line](const std::string& command) {
        line.insert(line.end(), {"-c", command});
    };
    say("adapter driver remote_bitbang");
    say("remote_bitbang host 127.0.0.1");
    say("remote_bitbang port " + server.address().substr(colon + 1));
    say("gdb_port disabled; tcl_port disabled; telnet_port disabled");
    say("jtag newtap hart cpu -irlen 5 -expected-id 0x15210001");
    say("target create hart.cpu riscv -chain-position hart.cpu");
    say("init");
    for (const std::string& command : commands) {
        say(command);
    }
    say("shutdown");
    return run_program(line).errors;
}

class OpenOcdTest : public testing::Test {
protected:
    void SetUp() override {
        if (run_program({"sh", "-c", "command -v openocd"}).status != 0) {
            GTEST_SKIP() << "openocd is not installed";
        }
    }
};

TEST_F(OpenOcdTest, ExaminesTheTarget) {
    const std::string said = openocd({"echo [hart.cpu curstate]"});
    EXPECT_THAT(said, HasSubstr("tap/device found: 0x15210001"));
    EXPECT_THAT(said, HasSubstr("datacount=1 progbufsize=0"));
    EXPECT_THAT(said, HasSubstr("XLEN=32, misa=0x40000104"));
    EXPECT_THAT(said, HasSubstr("\nrunning\n"));
    EXPECT_THAT(said, Not(HasSubstr("Error")));
}

TEST_F(OpenOcdTest, HaltsResumesAndSteps) {
    const std::string said = openocd({"halt", "echo [hart.cpu curstate]", "step 0x80000010",
                                      "reg pc", "resume", "echo [hart.cpu curstate]"});
    EXPECT_THAT(said, HasSubstr("\nhalted\n"));
    EXPECT_THAT(said, HasSubstr("pc (/32): 0x80000012"));
    EXPECT_THAT(said, HasSubstr("\nrunning\n"));
    EXPECT_THAT(said, Not(HasSubstr("Error")));
}

TEST_F(OpenOcdTest, ABreakpointStopsTheHart) {
    const std::string said = openocd({"halt", "bp 0x80000040 2", "resume 0x80000000",
                                      "wait_halt 2000", "reg pc", "mdh 0x80000040"});
    EXPECT_THAT(said, HasSubstr("pc (/32): 0x80000040"));
    EXPECT_THAT(said, HasSubstr("0x80000040: 9002"));
    EXPECT_THAT(said, Not(HasSubstr("Error")));
}

TEST_F(OpenOcdTest, ReadsAndWritesRegistersAndMemory) {
    const std::string said = openocd(
        {"halt", "reg a0 0xCAFE1234", "reg a0 force", "reg mscratch 0x55AA", "reg mscratch force",
         "mww 0x80000100 0x11223344", "mwb 0x80000101 0xEE", "mdw 0x80000100", "mdh 0x80000102"});
    EXPECT_THAT(said, HasSubstr("a0 (/32): 0xcafe1234"));
    EXPECT_THAT(said, HasSubstr("mscratch (/32): 0x000055aa"));
    EXPECT_THAT(said, HasSubstr("0x80000100: 1122ee44"));
    EXPECT_THAT(said, HasSubstr("0x80000102: 1122"));
    EXPECT_THAT(said, Not(HasSubstr("Error")));
}

TEST_F(OpenOcdTest, LoadsAnImageAndVerifiesIt) {
    const auto folder = TemporaryFolder::create();
    ASSERT_TRUE(folder);
    const std::string image = folder->path() + "/image";
    std::ofstream(image) << std::string(3000, 'x') << "and an end that is no whole word";
    const std::string said =
        openocd({"halt", "load_image " + image + " 0x80001000 bin", "mdb 0x80001bb8 4",
                 "verify_image " + image + " 0x80001000 bin"});
    EXPECT_THAT(said, HasSubstr("3032 bytes written at address 0x80001000"));
    EXPECT_THAT(said, HasSubstr("0x80001bb8: 61 6e 64 20"));
    EXPECT_THAT(said, HasSubstr("verified 3032 bytes"));
    EXPECT_THAT(said, Not(HasSubstr("Error")));
}

TEST_F(OpenOcdTest, MemoryThatIsNotThereIsAnError) {
    EXPECT_THAT(openocd({"halt", "catch {mdw 0x70000000}", "mdw 0x80000000"}),
                HasSubstr("Failed to read memory"));
}

} // namespace
} // namespace talvor::podsim::external
