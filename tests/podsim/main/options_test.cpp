#include "support/podsim_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace talvor::podsim {
namespace {

using test_support::built_program;
using test_support::PodsimProcess;
using test_support::ProgramResult;
using test_support::run_program;
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

TEST(OptionsTest, HelpAndVersionGoToTheStandardOutput) {
    const ProgramResult help = podsim({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.errors, "");
    for (const char* option :
         {"DESCRIPTION", "--script", "--control", "--strict", "--spin", "--vcd", "--vcd-bytes",
          "--vcd-clocks", "--vcd-last", "--vcd-plain", "--print-description", "--log", "--log-file",
          "--ready-file", "--ready-fd", "--end-with", "--private", "ctl", "--version"}) {
        EXPECT_THAT(help.output, HasSubstr(option));
    }
    const ProgramResult version = podsim({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_THAT(version.output, testing::MatchesRegex("talvor-podsim [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST(OptionsTest, ADescriptionToBeginWithIsPrinted) {
    const auto example = [](const std::string& name) {
        std::ostringstream text;
        text << std::ifstream(SOURCE_FOLDER "/examples/" + name + ".toml").rdbuf();
        return text.str();
    };
    EXPECT_EQ(podsim({"--print-description"}).output, example("single"));
    EXPECT_EQ(podsim({"--print-description=single"}).output, example("single"));
    const ProgramResult five = podsim({"--print-description=five"});
    EXPECT_EQ(five.status, 0);
    EXPECT_EQ(five.output, example("five"));
    const ProgramResult six = podsim({"--print-description=six"});
    EXPECT_EQ(six.status, 2);
    EXPECT_EQ(six.output, "");
    EXPECT_EQ(six.errors, "talvor-podsim: --print-description=six: there is no such description\n"
                          "  next: write =single or =five\n");
}

TEST(OptionsTest, AWrongCommandLineHasTheExitStatus2) {
    for (const std::vector<std::string>& wrong : {std::vector<std::string>{"--unknown"},
                                                  {"--spin", "-1"},
                                                  {"--spin", "1000001"},
                                                  {"--spin", "x"},
                                                  {"one.toml", "two.toml"},
                                                  {"--print-description", "one.toml"},
                                                  {"--private"},
                                                  {"--private", "--"},
                                                  {"ctl", "status"},
                                                  {"ctl", "--control", "/x"},
                                                  {"--ready-fd", "-1"},
                                                  {"--end-with", "0"},
                                                  {"--end-with", "x"}}) {
        unsetenv("TALVOR_PODSIM_CONTROL");
        const ProgramResult result = podsim(wrong);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(wrong);
        EXPECT_EQ(result.output, "");
        EXPECT_THAT(result.errors, HasSubstr("--help")) << testing::PrintToString(wrong);
    }
}

TEST(OptionsTest, WhatCannotBeDoneIsNamedWithTheExitStatus1) {
    const struct {
        std::vector<std::string> arguments;
        std::string errors;
    } cases[] = {
        {{"/nowhere/pods.toml"}, "/nowhere/pods.toml: cannot be read: No such file or directory"},
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

TEST(OptionsTest, AReadyFileThatCannotBeMadeEndsTheSimulator) {
    const ProgramResult result = podsim({"--ready-file", "/nowhere/ready"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors,
              "talvor-podsim: making the ready file /nowhere/ready: No such file or directory\n");
    EXPECT_TRUE(std::filesystem::is_empty("/dev/shm"));
}

TEST(OptionsTest, TheReadyLineNamesThePods) {
    PodsimProcess process("[[pod]]\nserial = 7\nrevision = 0x0302\n[[pod]]\nserial = 9\n");
    std::string line;
    std::getline(std::ifstream(process.directory() + "/output") >> std::ws, line);
    EXPECT_EQ(line, "ready, 2 pods: 7 (revision 3.2), 9 (revision 2.0)");
}

TEST(OptionsTest, TheReadyFileIsThereWhileThePodsAreServed) {
    const std::string file =
        std::filesystem::temp_directory_path() / ("talvor-ready-" + std::to_string(getpid()));
    PodsimProcess process("", {"--ready-file", file});
    std::string text;
    std::ifstream(file) >> text;
    EXPECT_EQ(text, std::to_string(process.pid()));
    EXPECT_EQ(process.stop(), 0);
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST(OptionsTest, APrivateCommandGivesItsExitStatusAndHasTheOutputToItself) {
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

TEST(OptionsTest, ADescriptionBehindPrivateIsSentToItsPlace) {
    const ProgramResult result = podsim({"--private", "pods.toml", "--", "true"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors, "talvor-podsim: pods.toml stands where --private has its command: the "
                             "description goes before --private\n"
                             "  next: talvor-podsim pods.toml --private COMMAND ARGUMENTS\n");
}

TEST(OptionsTest, APrivateCommandThatCannotBeRunIsNamed) {
    SKIP_WITHOUT_NAMESPACES();
    const ProgramResult missing = podsim({"--private", "/nowhere/program"});
    EXPECT_EQ(missing.status, 127);
    EXPECT_THAT(missing.errors, HasSubstr("talvor-podsim: running /nowhere/program: No such file"));
    const ProgramResult folder = podsim({"--private", "/dev"});
    EXPECT_EQ(folder.status, 126);
    EXPECT_THAT(podsim({"--private", "/nowhere/pods", "--", "true"}).errors,
                HasSubstr("\n  next: a description goes before --private\n"));
}

TEST(OptionsTest, APrivateCommandSeesThePodsAndNobodyElseDoes) {
    SKIP_WITHOUT_NAMESPACES();
    PodsimProcess outer; // a live proxy of the machine is not disturbed
    const ProgramResult result =
        podsim({"--private", "sh", "-c", "ls /dev/shm | wc -l; cat /dev/shm/*.lock"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, StartsWith("6\n"));
    EXPECT_THAT(result.output, testing::Not(HasSubstr(std::to_string(outer.pid()) + "\n")));
    EXPECT_EQ(outer.ctl("status").find("error"), std::string::npos);
}

TEST(OptionsTest, APrivateCommandIsToldTheControlSocketAndGetsTheSignals) {
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
} // namespace talvor::podsim
