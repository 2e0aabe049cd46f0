// Scripts and the shell: many commands, one connection.
#include "program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <unistd.h>

namespace talvor::cli {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kWriteAndRead = R"(# An instruction stays, and so does what is written.
ir 0x1FFFFFFFF --bits 33
expect 0x008840401
dr 0xCAFEBABE --device 2 --ir 0x8
dr 0 --bits 32 --device 2   # IR is still there
expect 0xCAFEBABE
expect out 0xBABE --mask 0xFFFF
)";

std::vector<std::string> with_lengths(std::vector<std::string> words) {
    words.insert(words.begin(), {"--ir-lengths", "6,4,5,8,10"});
    return words;
}

TEST(RunTest, KeepsConnectionAndTarget) {
    const std::string script = file_with("keep.script", kWriteAndRead);
    for (const std::string& name : {script, std::string("-")}) {
        const Outcome outcome = simulated(with_lengths({"run", name}), kWriteAndRead);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out, "0x008840401\n0x00000000\n0xCAFEBABE\n");
    }
}

TEST(RunTest, NeedsNoPodUntilACommandDoes) {
    EXPECT_EQ(talvor({"run", "-"}, "tclk convert 1MHz\nhelp\n").status, 0);
    EXPECT_EQ(talvor({"run", "-"}, "tclk convert 1MHz\nstate\n").status, 1);
}

// What a connection of its own would undo: a link delay holds until the pod is disconnected.
TEST(RunTest, ConnectsOnce) {
    const Outcome outcome = simulated({"run", "-"}, "link set 3\nlink\nexpect sum 3\nstate\n"
                                                    "reg write 3 0x0010\nstate\n");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const std::string script = "link show\nexpect applied 2\n";
    EXPECT_EQ(simulated({"--link", "2", "run", "-"}, script).status, 0);
}

TEST(RunTest, EndsAtTheFirstFailureWithLineAndStatus) {
    const Outcome wrong = simulated({"run", "-"}, "state\nexpect reset\n\nexpect idle\nchain\n");
    EXPECT_EQ(wrong.status, 1);
    EXPECT_EQ(wrong.out, "Test-Logic-Reset\n");
    EXPECT_EQ(wrong.err, "talvor: standard input:4: state: expected idle, got reset\n");
    const std::string script = file_with("bad.script", "state\nchian\n");
    const Outcome unknown = simulated({"run", script});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_EQ(unknown.err, "talvor: " + script + ":2: chian: is no command\n  next: run 'help'\n");
}

TEST(RunTest, MistakesNameTheLine) {
    for (const auto& [text, err] : {
             std::pair<std::string, std::string>{"dr \"0x1", "1: \": the quote has no end\n"},
             {"chain --pod 5", "1: --pod: is not expected here\n  next: run 'chain --help'\n"},
             {"trace chain", "1: trace: is no command of a session\n"},
             {"shell", "1: shell: is no command of a session\n"},
             {"expect 5", "1: expect: no command has had a result yet\n"},
             {"state\nexpect nothing 5", "2: nothing: the last result has no such member\n"},
             {"status\nexpect serial x --mask 1", "2: --mask: is for numbers\n"},
             {"expect 1 2 3", "1: 3: is not expected here\n  next: run 'expect --help'\n"},
             {"run /nonexistent", "1: /nonexistent: cannot be read: No such file or directory\n"},
         }) {
        const Outcome outcome = simulated({"run", "-"}, text);
        EXPECT_EQ(outcome.status, 2) << text;
        EXPECT_THAT(outcome.err, StartsWith("talvor: standard input:" + err)) << text;
    }
}

TEST(RunTest, AScriptRunsAScriptButNotItself) {
    const std::string inner = file_with("inner.script", "state\n");
    EXPECT_EQ(simulated({"run", "-"}, "run " + inner + "\n").out, "Test-Logic-Reset\n");
    const std::string self = file_with("self.script", "");
    file_with("self.script", "run " + self + "\n");
    const Outcome outcome = simulated({"run", self});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("scripts run scripts, more than 16 deep"));
}

TEST(RunTest, ExitEndsIt) {
    const Outcome outcome = simulated({"run", "-"}, "state\nexit\nchian\n");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

TEST(RunTest, EveryCommandFindsThePodAsANewOneWould) {
    const std::string svf = file_with("slow.svf", "FREQUENCY 1E5 HZ;\nSTATE RESET;\n");
    const Outcome outcome = simulated({"run", "-"}, "status\nsvf --fast " + svf +
                                                        "\nstatus\nexpect test_clock_hz 3846153\n"
                                                        "state move pausedr\nreset\nstate\n"
                                                        "dr 0x12\nexpect 0x35\n");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

TEST(RunTest, AnInterruptEndsTheScript) {
    const std::string script = file_with("watch.script", "status --watch 0.01\nchian\n");
    Running run({"--simulate", "run", script});
    ASSERT_TRUE(await([&run] { return run.out().find("serial") != std::string::npos; }));
    run.signal(SIGINT);
    EXPECT_EQ(run.wait(), 128 + SIGINT);
    EXPECT_THAT(run.err(), Not(HasSubstr("chian")));
}

TEST(RunTest, DrawsAllOfItsClocks) {
    const Outcome outcome = talvor({"trace", "--count", "20", "run", file_with("t", "state\n")});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("TCK"));
}

TEST(ShellTest, WithoutATerminalIsRun) {
    const Outcome outcome = simulated({"shell"}, "state\nchian\nstate\n");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "Test-Logic-Reset\n");
}

// The shell at a terminal of its own.
class Terminal {
public:
    explicit Terminal(const std::vector<std::string>& options)
        : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        grantpt(master_.get());
        unlockpt(master_.get());
        const FileDescriptor slave(open(ptsname(master_.get()), O_RDWR | O_NOCTTY | O_CLOEXEC));
        SpawnOptions spawn;
        spawn.arguments = {test_support::built_program("talvor")};
        spawn.arguments.insert(spawn.arguments.end(), options.begin(), options.end());
        spawn.arguments.emplace_back("shell");
        spawn.input = slave.get();
        spawn.output = slave.get();
        spawn.errors = slave.get();
        process_ = ChildProcess::spawn(spawn).value();
    }
    ~Terminal() {
        if (process_->running()) {
            process_->signal(SIGKILL);
            process_->wait();
        }
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    void type(const std::string& keys) const { ASSERT_TRUE(write_all(master_.get(), keys)); }
    // Until `text` has been shown, after what was shown for the last call.
    [[nodiscard]] bool shows(const std::string& text) {
        return await([&] {
            take();
            const size_t at = shown_.find(text, seen_);
            seen_ = at == std::string::npos ? seen_ : at + text.size();
            return at != std::string::npos;
        });
    }
    void signal(int number) const { process_->signal(number); }
    [[nodiscard]] int wait() { return process_->wait().shell_status(); }
    [[nodiscard]] const std::string& shown() const { return shown_; }

private:
    void take() {
        pollfd waits{.fd = master_.get(), .events = POLLIN, .revents = 0};
        char bytes[4096];
        while (poll(&waits, 1, 0) > 0 && (waits.revents & POLLIN) != 0) {
            const ssize_t got = read(master_.get(), bytes, sizeof bytes);
            if (got <= 0) {
                return;
            }
            shown_.append(bytes, static_cast<size_t>(got));
        }
    }

    FileDescriptor master_;
    std::optional<ChildProcess> process_;
    std::string shown_;
    size_t seen_ = 0;
};

TEST(ShellTest, KeepsItsStateAndGoesOnAfterAnError) {
    Terminal shell({"--simulate", "--ir-lengths", "6,4,5,8,10"});
    ASSERT_TRUE(shell.shows("talvor> "));
    shell.type("dr 0xCAFEBABE --device 2 --ir 0x8\n");
    ASSERT_TRUE(shell.shows("0x00000000")) << shell.shown();
    shell.type("chian\n");
    ASSERT_TRUE(shell.shows("talvor: chian: is no command")) << shell.shown();
    shell.type("dr 0 --bits 32 --device 2\n");
    ASSERT_TRUE(shell.shows("0xCAFEBABE")) << shell.shown();
    shell.type("exit\n");
    EXPECT_EQ(shell.wait(), 0);
}

TEST(ShellTest, CtrlCEndsTheCommandAndNotTheShell) {
    Terminal shell({"--simulate"});
    ASSERT_TRUE(shell.shows("talvor> "));
    shell.type("status --watch 0.01\n");
    ASSERT_TRUE(shell.shows("serial")) << shell.shown();
    shell.signal(SIGINT);
    ASSERT_TRUE(shell.shows("talvor> ")) << shell.shown();
    shell.signal(SIGINT); // at the prompt it only begins a new line
    ASSERT_TRUE(shell.shows("talvor> ")) << shell.shown();
    shell.type("state\n");
    ASSERT_TRUE(shell.shows("Test-Logic-Reset")) << shell.shown();
    ASSERT_TRUE(shell.shows("talvor> ")) << shell.shown();
    shell.signal(SIGTERM);
    EXPECT_EQ(shell.wait(), 128 + SIGTERM);
}

TEST(ShellTest, EndsWhenItsTimeIsOver) {
    Terminal shell({"--timeout", "0.5"});
    EXPECT_TRUE(shell.shows("the 0.5 seconds that --timeout gives are over")) << shell.shown();
    EXPECT_EQ(shell.wait(), 124);
}

TEST(ShellTest, KeepsWhatWasTyped) {
    const TemporaryFolder folder = TemporaryFolder::create().value();
    setenv("XDG_STATE_HOME", folder.path().c_str(), 1);
    {
        Terminal shell({});
        ASSERT_TRUE(shell.shows("talvor> "));
        shell.type("tclk convert 5MHz\nexit\n");
        EXPECT_EQ(shell.wait(), 0);
    }
    setenv("XDG_STATE_HOME", "/dev/null", 1);
    EXPECT_EQ(read_file(folder.path() + "/talvor/history"), "tclk convert 5MHz\nexit\n");
}

} // namespace
} // namespace talvor::cli
