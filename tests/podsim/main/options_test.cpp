#include "support/podsim_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sys/wait.h>
#include <unistd.h>

namespace test_support {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

ProgramResult podsim(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), built_program("talvor-podsim"));
    return run_program(arguments);
}

// Whether this user may have a /dev/shm of its own; where not, --private says so.
bool namespaces_allowed() {
    return podsim({"--private", "true"}).status == 0;
}

#define SKIP_WITHOUT_NAMESPACES()                                                                  \
    if (!namespaces_allowed()) {                                                                   \
        GTEST_SKIP() << "namespaces are not allowed here";                                         \
    }

TEST(Options, help_and_version_go_to_the_standard_output) {
    const ProgramResult help = podsim({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.errors, "");
    for (const char* option : {"DESCRIPTION", "--script", "--control", "--strict", "--spin",
                               "--vcd", "--vcd-bytes", "--vcd-clocks", "--log", "--log-file",
                               "--ready-file", "--ready-fd", "--private", "ctl", "--version"}) {
        EXPECT_THAT(help.output, HasSubstr(option));
    }
    const ProgramResult version = podsim({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_THAT(version.output, testing::MatchesRegex("talvor-podsim [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST(Options, a_wrong_command_line_has_the_exit_status_2) {
    for (const std::vector<std::string>& wrong : {std::vector<std::string>{"--unknown"},
                                                  {"--spin", "-1"},
                                                  {"--spin", "1000001"},
                                                  {"--spin", "x"},
                                                  {"one.toml", "two.toml"},
                                                  {"--private"},
                                                  {"--private", "--"},
                                                  {"ctl", "status"},
                                                  {"ctl", "--control", "/x"},
                                                  {"--ready-fd", "-1"}}) {
        unsetenv("TALVOR_PODSIM_CONTROL");
        const ProgramResult result = podsim(wrong);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(wrong);
        EXPECT_EQ(result.output, "");
        EXPECT_THAT(result.errors, HasSubstr("--help")) << testing::PrintToString(wrong);
    }
}

TEST(Options, what_cannot_be_done_is_named_with_the_exit_status_1) {
    const struct {
        std::vector<std::string> arguments;
        std::string errors;
    } cases[] = {
        {{"/nowhere/pods.toml"},
         "reading the description /nowhere/pods.toml: No such file or directory"},
        {{"--script", "/nowhere/s"}, "reading the script /nowhere/s: No such file or directory"},
        {{"--log-file", "/nowhere/log"}, "writing the log /nowhere/log: No such file or directory"},
        {{"--vcd", "/nowhere/t.vcd"},
         "writing the trace /nowhere/t.vcd: No such file or directory"},
        {{"--control", "/nowhere/c"},
         "making the control socket /nowhere/c: No such file or directory"},
        {{"ctl", "--control", "/nowhere/c", "status"},
         "reaching the simulator at /nowhere/c: No such file or directory"},
    };
    for (const auto& one : cases) {
        const ProgramResult result = podsim(one.arguments);
        EXPECT_EQ(result.status, 1) << one.errors;
        EXPECT_EQ(result.errors, "talvor-podsim: " + one.errors + "\n");
        EXPECT_THAT(std::filesystem::is_empty("/dev/shm"), true) << one.errors;
    }
}

TEST(Options, a_ready_file_that_cannot_be_made_ends_the_simulator) {
    const ProgramResult result = podsim({"--ready-file", "/nowhere/ready"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors,
              "talvor-podsim: making the ready file /nowhere/ready: No such file or directory\n");
    EXPECT_TRUE(std::filesystem::is_empty("/dev/shm"));
}

TEST(Options, the_ready_line_names_the_pods) {
    PodsimProcess process("[[pod]]\nserial = 7\nrevision = 0x0302\n[[pod]]\nserial = 9\n");
    std::string line;
    std::getline(std::ifstream(process.directory() + "/output") >> std::ws, line);
    EXPECT_EQ(line, "ready, 2 pods: 7 (revision 3.2), 9 (revision 2.0)");
}

TEST(Options, the_ready_file_is_there_while_the_pods_are_served) {
    const std::string file =
        std::filesystem::temp_directory_path() / ("talvor-ready-" + std::to_string(getpid()));
    PodsimProcess process("", {"--ready-file", file});
    std::string text;
    std::ifstream(file) >> text;
    EXPECT_EQ(text, std::to_string(process.pid()));
    EXPECT_EQ(process.stop(), 0);
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST(Options, a_private_command_gives_its_exit_status_and_has_the_output_to_itself) {
    SKIP_WITHOUT_NAMESPACES();
    const ProgramResult result =
        podsim({"--private", "sh", "-c", "echo $0-$1; exit 7", "--private", "--"});
    EXPECT_EQ(result.status, 7);
    EXPECT_EQ(result.output, "--private---\n");
    EXPECT_EQ(result.errors, "ready, 1 pod: 1 (revision 2.0)\n");
    EXPECT_EQ(podsim({"--private", "--", "true"}).status, 0);
    EXPECT_EQ(podsim({"--private", "--strict", "--", "false"}).status, 1);
    EXPECT_EQ(podsim({"--private", "sh", "-c", "kill -9 $$"}).status, 137);
}

TEST(Options, a_private_command_that_cannot_be_run_is_named) {
    SKIP_WITHOUT_NAMESPACES();
    const ProgramResult missing = podsim({"--private", "/nowhere/program"});
    EXPECT_EQ(missing.status, 127);
    EXPECT_THAT(missing.errors, HasSubstr("talvor-podsim: running /nowhere/program: No such file"));
    const ProgramResult folder = podsim({"--private", "/dev"});
    EXPECT_EQ(folder.status, 126);
}

TEST(Options, a_private_command_sees_the_pods_and_nobody_else_does) {
    SKIP_WITHOUT_NAMESPACES();
    PodsimProcess outer; // a live proxy of the machine is not disturbed
    const ProgramResult result =
        podsim({"--private", "sh", "-c", "ls /dev/shm | wc -l; cat /dev/shm/*.lock"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, StartsWith("6\n"));
    EXPECT_THAT(result.output, testing::Not(HasSubstr(std::to_string(outer.pid()) + "\n")));
    EXPECT_EQ(outer.ctl("status").find("error"), std::string::npos);
}

TEST(Options, a_private_command_is_told_the_control_socket_and_gets_the_signals) {
    SKIP_WITHOUT_NAMESPACES();
    const std::string socket = std::filesystem::temp_directory_path() /
                               ("talvor-private-" + std::to_string(getpid()) + ".sock");
    const ProgramResult told = podsim(
        {"--control", socket, "--private", built_program("talvor-podsim"), "ctl", "power", "off"});
    EXPECT_EQ(told.status, 0);
    EXPECT_EQ(told.output, "ok\n");
    const ProgramResult signalled =
        podsim({"--private", "sh", "-c",
                "trap 'exit 5' TERM; kill -TERM $PPID; while :; do sleep "
                "0.01; done"});
    EXPECT_EQ(signalled.status, 5);
}

} // namespace
} // namespace test_support
