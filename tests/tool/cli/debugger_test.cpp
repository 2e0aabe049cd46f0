// A debugger at the far end of everything: GDB speaks to OpenOCD, which speaks to talvor serve,
// which moves a pod through the driver; behind the pod stands the simulated RISC-V target.
#include "program.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace talvor::cli {
namespace {

using test_support::ProgramResult;
using test_support::run_program;
using testing::HasSubstr;

class DebuggerTest : public testing::Test {
protected:
    void SetUp() override {
        for (const char* program : {"gdb-multiarch", "openocd"}) {
            if (!installed(program)) {
                GTEST_SKIP() << program << " is not installed";
            }
        }
    }

    // What GDB prints while it carries out `commands`.
    std::string gdb(const std::vector<std::string>& commands) const {
        const TemporaryFolder folder = TemporaryFolder::create().value();
        const std::string ready = folder.path() + "/ready";
        const Running served({"--simulate=" + source_file("examples/riscv.toml"), "serve", "--rbb",
                              "0", "--ready-file", ready});
        EXPECT_TRUE(await([&] { return std::filesystem::exists(ready); })) << served.err();
        const std::string said = served.out(); // "ready, rbb 127.0.0.1:PORT, pod 1"
        const size_t port = said.find(':') + 1;
        std::vector<std::string> line{"timeout", "60", "gdb-multiarch", "-nx", "-batch"};
        const auto say = [&line](const std::string& command) {
            line.insert(line.end(), {"-ex", command});
        };
        say("set architecture riscv:rv32");
        say("target extended-remote | " +
            openocd(said.substr(port, said.find(',', port) - port), folder.path() + "/log"));
        for (const std::string& command : commands) {
            say(command);
        }
        say("detach");
        const ProgramResult result = run_program(line);
        EXPECT_EQ(result.status, 0) << result.errors << read_file(folder.path() + "/log");
        return result.output;
    }

private:
    // The command that GDB speaks to through a pipe.
    static std::string openocd(const std::string& port, const std::string& log) {
        return fmt::format(
            "openocd -l {} -c 'gdb_port pipe; tcl_port disabled; telnet_port disabled' "
            "-c 'adapter driver remote_bitbang' -c 'remote_bitbang host 127.0.0.1' "
            "-c 'remote_bitbang port {}' "
            "-c 'jtag newtap hart cpu -irlen 5 -expected-id 0x15210001' "
            "-c 'target create hart.cpu riscv -chain-position hart.cpu' -c init -c halt",
            log, port);
    }
};

TEST_F(DebuggerTest, ReadsAndWritesMemoryAndRegisters) {
    const std::string said = gdb(
        {"set $a0 = 0x1234abcd", "set $s11 = 77", "maintenance flush register-cache", "print/x $a0",
         "print $s11", "set {unsigned int}0x80000100 = 0xdeadbeef",
         "set {unsigned char}0x80000105 = 0x42", "maintenance flush dcache", "x/2xw 0x80000100"});
    EXPECT_THAT(said, HasSubstr("$1 = 0x1234abcd\n$2 = 77\n"));
    EXPECT_THAT(said, HasSubstr("0x80000100:\t0xdeadbeef\t0x00004200\n"));
}

TEST_F(DebuggerTest, StepsAndStopsAtABreakpoint) {
    const std::string said = gdb({"set $pc = 0x80000040", "stepi", "print/x $pc",
                                  "break *0x80000080", "continue", "print/x $pc"});
    EXPECT_THAT(said, HasSubstr("$1 = 0x80000042\n"));
    EXPECT_THAT(said, HasSubstr("Breakpoint 1, 0x80000080 in ?? ()\n$2 = 0x80000080\n"));
}

} // namespace
} // namespace talvor::cli
