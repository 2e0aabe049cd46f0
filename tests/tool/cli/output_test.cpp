// What was printed and got lost is never passed over; and input that is no input says so.
#include "program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace talvor::cli {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

// `talvor` and the rest, as a shell does it.
Outcome shell(const std::string& rest) {
    const auto result = test_support::run_program(
        {"/bin/sh", "-c", test_support::built_program("talvor") + " " + rest});
    return {result.status, result.output, result.errors};
}

void expect_lost(const std::string& rest, const std::string& reason) {
    const Outcome outcome = shell(rest);
    EXPECT_EQ(outcome.status, 2) << rest << "\n" << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr("talvor: standard output: could not be written: " + reason +
                                       "\n  next: what was printed is not complete"))
        << rest;
}

constexpr const char* kSpeakingCommands[] = {
    "--help",
    "--version",
    "chain --help",
    "completion bash",
    "tclk convert 10MHz",
    "tclk convert 10MHz --json",
    "info",
    "info --json",
    "--simulate chain",
    "--simulate chain --json",
    "--simulate doctor",
    "--simulate status --json",
    "--simulate status --watch 0.01",
    "trace chain",
    "trace chain --help",
};

TEST(LostOutputTest, IsAnErrorWhereTheDiskIsFull) {
    for (const char* command : kSpeakingCommands) {
        expect_lost(std::string(command) + " > /dev/full", "No space left on device");
    }
}

TEST(LostOutputTest, IsAnErrorWhereTheStreamIsClosed) {
    for (const char* command : kSpeakingCommands) {
        expect_lost(std::string(command) + " >&-", "Bad file descriptor");
    }
}

TEST(LostOutputTest, LeavesTheStatusOfAnErrorAlone) {
    const Outcome outcome = shell("chain --json > /dev/full");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("no pod proxy is running"));
    EXPECT_THAT(outcome.err, HasSubstr("standard output: could not be written"));
}

TEST(LostOutputTest, IsNoErrorWhereNothingIsPrinted) {
    EXPECT_EQ(shell("--simulate reg write 3 0x0010 >&-").status, 0);
    EXPECT_EQ(shell("--simulate chain 2>&- <&-").status, 0);
}

TEST(LostOutputTest, OfErrorsDoesNoHarm) {
    EXPECT_EQ(shell("chain 2> /dev/full").status, 1);
    EXPECT_EQ(shell("--simulate svf --progress always " + source_file("examples/demo.svf") +
                    " 2> /dev/full")
                  .status,
              0);
}

// Nobody reads any more: that ends it as any program, but with the pod disconnected.
TEST(BrokenPipeTest, EndsQuietlyAfterDisconnecting) {
    const PodsimProcess simulator(five());
    const auto result = test_support::run_program(
        {"/bin/bash", "-c",
         test_support::built_program("talvor") +
             " status --watch 0.01 | head -n 1 > /dev/null; exit ${PIPESTATUS[0]}"});
    EXPECT_EQ(result.status, 128 + SIGPIPE);
    EXPECT_EQ(result.errors, "");
    EXPECT_FALSE(std::any_of(
        std::filesystem::directory_iterator("/dev/shm"), std::filesystem::directory_iterator(),
        [](const auto& entry) { return entry.path().filename().string().starts_with("JTI-"); }));
}

TEST(LostFileTest, OfAWaveformIsAnErrorThatNamesIt) {
    const Outcome svg = talvor({"trace", "--svg", "/dev/full", "chain"});
    EXPECT_EQ(svg.status, 2);
    EXPECT_THAT(svg.err,
                HasSubstr("talvor: /dev/full: cannot be written: No space left on device"));
    const Outcome vcd = talvor({"trace", "--vcd", "/dev/full", "chain"});
    EXPECT_EQ(vcd.status, 2);
    EXPECT_THAT(vcd.err,
                HasSubstr("talvor: simulator: writing the trace /dev/full: No space left on "
                          "device\n"));
    const Outcome nowhere = talvor({"trace", "--vcd", "/nonexistent/a.vcd", "--json", "chain"});
    EXPECT_EQ(nowhere.status, 2);
    EXPECT_THAT(nlohmann::json::parse(nowhere.out).at("error").at("reason").get<std::string>(),
                HasSubstr("/nonexistent/a.vcd: No such file or directory"));
}

TEST(FileNameTest, ThatIsNoUtf8LeavesJsonADocument) {
    const std::string svf = file_with("a\xFF.svf", "STATE RESET;\n");
    const Outcome played = simulated({"svf", "--json", svf});
    EXPECT_EQ(played.status, 0) << played.err;
    EXPECT_THAT(nlohmann::json::parse(played.out).at("file").get<std::string>(),
                HasSubstr("a\xEF\xBF\xBD.svf"));
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"svf", "--json", "none\xFF"},
          {"--board", "none\xFF", "--json", "chain"},
          {"--library", "none\xFF", "--json", "chain"},
          {"--simulate=none\xFF", "--json", "chain"}}) {
        const Outcome outcome = simulated(words);
        EXPECT_NE(outcome.status, 0);
        EXPECT_TRUE(nlohmann::json::parse(outcome.out).contains("error")) << words[0];
    }
}

TEST(EmptySvfTest, IsAnErrorThatSaysWhatWasFound) {
    const std::string empty = file_with("empty.svf", "");
    const std::string comments = file_with("comments.svf", "! one\n\n// two\n;\n");
    for (const char* option : {"--dry-run", "--exact", "--no-check"}) {
        const Outcome nothing = simulated({"svf", option, empty});
        EXPECT_EQ(nothing.status, 2) << option;
        EXPECT_THAT(nothing.err, StartsWith("talvor: " + empty + ": is empty\n  next: check that"));
        const Outcome blank = simulated({"svf", option, comments});
        EXPECT_EQ(blank.status, 2) << option;
        EXPECT_THAT(blank.err, StartsWith("talvor: " + comments +
                                          ": has no statement, only blanks and comments\n"));
    }
}

TEST(SvfSourceTest, ThatIsADeviceIsRefused) {
    for (const char* device : {"/dev/full", "/dev/zero", "/dev/null"}) {
        const Outcome outcome = simulated({"svf", "--dry-run", device});
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.err,
                  std::string("talvor: ") + device +
                      ": is a character device, not a file\n"
                      "  next: name a file that can be played, or pipe it in and say -\n");
    }
    const Outcome input = shell("--simulate svf - < /dev/zero");
    EXPECT_EQ(input.status, 2);
    EXPECT_THAT(input.err, StartsWith("talvor: standard input: is a character device"));
}

// A pipe that stays open and brings nothing.
TEST(SvfSourceTest, ThatBringsNothingIsLeftByAnInterrupt) {
    const std::string fifo = file_with("never", "") + ".fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const FileDescriptor writer(open(fifo.c_str(), O_RDWR | O_CLOEXEC));
    Running svf({"--simulate", "svf", fifo});
    // It has opened the pipe when a byte is gone.
    ASSERT_EQ(write(writer.get(), "!", 1), 1);
    ASSERT_TRUE(await([&writer] {
        int waiting = 0;
        return ioctl(writer.get(), FIONREAD, &waiting) == 0 && waiting == 0;
    }));
    svf.signal(SIGINT);
    EXPECT_EQ(svf.wait(), 128 + SIGINT);
    EXPECT_THAT(svf.err(), HasSubstr("interrupted: stopped at the user's request"));
    unlink(fifo.c_str());
}

TEST(SimulateTest, WithoutANameSaysSo) {
    const Outcome unnamed = talvor({"--simulate=", "chain"});
    EXPECT_EQ(unnamed.status, 2);
    EXPECT_THAT(unnamed.err, HasSubstr("names no description file"));
    const std::string empty = file_with("empty.toml", "");
    const Outcome blank = talvor({"--simulate=" + empty, "chain"});
    EXPECT_EQ(blank.status, 2);
    EXPECT_THAT(blank.err, HasSubstr(empty + ":1: pod: missing, expected at least one pod"));
}

} // namespace
} // namespace talvor::cli
