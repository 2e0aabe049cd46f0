#include "common/child_process.h"
#include "common/file_descriptor.h"
#include "common/temporary.h"
#include "common/toml.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>

namespace talvor {
namespace {

ChildEnd end_of(const std::string& script) {
    auto child = ChildProcess::spawn({.arguments = {"sh", "-c", script}});
    EXPECT_TRUE(child) << headline(child.error());
    return child ? child->wait() : ChildEnd(-1);
}

TEST(ChildEndTest, AnExitIsToldByItsStatus) {
    EXPECT_TRUE(end_of("exit 0").succeeded());
    EXPECT_EQ(end_of("exit 0").text(), "ended with status 0");
    EXPECT_FALSE(end_of("exit 7").succeeded());
    EXPECT_EQ(end_of("exit 7").shell_status(), 7);
    EXPECT_EQ(end_of("exit 7").text(), "ended with status 7");
}

TEST(ChildEndTest, ASignalIsToldByNumberAndName) {
    const ChildEnd killed = end_of("kill -KILL $$");
    EXPECT_FALSE(killed.succeeded());
    EXPECT_EQ(killed.shell_status(), 128 + SIGKILL);
    EXPECT_EQ(killed.text(), "was ended by signal 9 (Killed)");
    EXPECT_EQ(end_of("kill -TERM $$").text(), "was ended by signal 15 (Terminated)");
}

TEST(ChildProcessTest, AWaitWithALimitTellsWhetherItHasEnded) {
    using std::chrono::milliseconds;
    auto child = ChildProcess::spawn({.arguments = {"sh", "-c", "exit 5"}});
    ASSERT_TRUE(child);
    const std::optional<ChildEnd> end = child->wait_for(milliseconds(60'000));
    ASSERT_TRUE(end);
    EXPECT_EQ(end->shell_status(), 5);
    EXPECT_FALSE(child->running());

    auto lasting = ChildProcess::spawn({.arguments = {"sleep", "60"}});
    ASSERT_TRUE(lasting);
    EXPECT_FALSE(lasting->wait_for(milliseconds(0)));
    EXPECT_FALSE(lasting->wait_for(milliseconds(20)));
    EXPECT_TRUE(lasting->running());
    lasting->signal(SIGKILL);
    EXPECT_EQ(lasting->wait().shell_status(), 128 + SIGKILL);
}

TEST(ChildProcessTest, WhatCannotBeRunIsNamedWithErrnoAsTheReason) {
    const auto missing = ChildProcess::spawn({.arguments = {"/nowhere/program"}});
    EXPECT_EQ(errno, ENOENT);
    ASSERT_FALSE(missing);
    EXPECT_EQ(headline(missing.error()), "running /nowhere/program: No such file or directory");
    const auto unknown = ChildProcess::spawn({.arguments = {"no-such-program-in-any-path"}});
    EXPECT_EQ(errno, ENOENT);
    ASSERT_FALSE(unknown);
    const auto folder = ChildProcess::spawn({.arguments = {"/dev"}});
    EXPECT_EQ(errno, EACCES);
    ASSERT_FALSE(folder);
    EXPECT_EQ(headline(folder.error()), "running /dev: Permission denied");
}

TEST(ChildProcessTest, RunsUntilItHasBeenWaitedFor) {
    auto child = ChildProcess::spawn({.arguments = {"sleep", "1000"}});
    ASSERT_TRUE(child);
    EXPECT_TRUE(child->running());
    EXPECT_EQ(child->poll(), std::nullopt);
    child->signal(SIGTERM);
    EXPECT_EQ(child->wait().shell_status(), 128 + SIGTERM);
    EXPECT_FALSE(child->running());
    child->signal(SIGTERM); // reaches nobody
}

TEST(ChildProcessTest, PollGivesTheEndOnce) {
    auto child = ChildProcess::spawn({.arguments = {"sh", "-c", "exit 3"}});
    ASSERT_TRUE(child);
    siginfo_t ended{};
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child->pid()), &ended, WEXITED | WNOWAIT), 0);
    const auto end = child->poll();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->shell_status(), 3);
    EXPECT_FALSE(child->running());
}

TEST(ChildProcessTest, OutputAndErrorsGoWhereTheyAreSent) {
    const auto output = TemporaryFile::create();
    const auto errors = TemporaryFile::create();
    auto child = ChildProcess::spawn({.arguments = {"sh", "-c", "echo out; echo err >&2"},
                                      .output = output->descriptor(),
                                      .errors = errors->descriptor()});
    ASSERT_TRUE(child);
    EXPECT_TRUE(child->wait().succeeded());
    EXPECT_EQ(read_text_file(output->path()), "out\n");
    EXPECT_EQ(read_text_file(errors->path()), "err\n");
}

TEST(ChildProcessTest, OnlyDescriptorsWithoutCloseOnExecAreInherited) {
    std::array<int, 2> pipe_ends{};
    ASSERT_EQ(pipe2(pipe_ends.data(), O_CLOEXEC), 0);
    const FileDescriptor closed(pipe_ends[0]);
    const FileDescriptor kept(pipe_ends[1]);
    ASSERT_EQ(fcntl(kept.get(), F_SETFD, 0), 0);
    const auto there = [](int fd) {
        return end_of("test -e /proc/self/fd/" + std::to_string(fd)).succeeded();
    };
    EXPECT_TRUE(there(kept.get()));
    EXPECT_FALSE(there(closed.get()));
}

TEST(ChildProcessTest, AGroupOfItsOwnIsItsOwn) {
    for (const bool own_group : {false, true}) {
        auto child = ChildProcess::spawn({.arguments = {"sleep", "1000"}, .own_group = own_group});
        ASSERT_TRUE(child);
        EXPECT_EQ(getpgid(child->pid()), own_group ? child->pid() : getpgrp());
        child->signal(SIGKILL);
        child->wait();
    }
}

TEST(ChildProcessTest, SignalsAreAsAShellWouldHaveThem) {
    // What this process blocks and ignores is no affair of the child's.
    sigset_t term;
    sigemptyset(&term);
    sigaddset(&term, SIGTERM);
    sigset_t before;
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &term, &before), 0);
    const auto pipe_before = std::signal(SIGPIPE, SIG_IGN);
    EXPECT_EQ(end_of("kill -TERM $$").shell_status(), 128 + SIGTERM);
    EXPECT_EQ(end_of("kill -PIPE $$").shell_status(), 128 + SIGPIPE);
    std::signal(SIGPIPE, pipe_before);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST(ChildProcessTest, GoesToItsLastOwner) {
    auto first = ChildProcess::spawn({.arguments = {"true"}});
    ASSERT_TRUE(first);
    ChildProcess second = std::move(*first);
    EXPECT_FALSE(first->running());
    EXPECT_TRUE(second.running());
    EXPECT_TRUE(second.wait().succeeded());
}

TEST(ChildProcessTest, IsHeardOfThoughThisProgramWasStartedWithItsEndsIgnored) {
    const auto before = std::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(end_of("exit 7").text(), "ended with status 7");
    std::signal(SIGCHLD, before);
}

TEST(ChildProcessTest, OneThatSomebodyElseWaitedForIsNoSuccessAndNoHang) {
    for (const bool polled : {true, false}) {
        auto child = ChildProcess::spawn({.arguments = {"true"}});
        ASSERT_TRUE(child);
        ASSERT_EQ(waitpid(child->pid(), nullptr, 0), child->pid());
        const std::optional<ChildEnd> end = polled ? child->poll() : child->wait();
        ASSERT_TRUE(end);
        EXPECT_FALSE(end->succeeded());
        EXPECT_EQ(end->shell_status(), 127);
        EXPECT_EQ(end->text(), "ended, and nobody knows how");
        EXPECT_FALSE(child->running());
    }
}

} // namespace
} // namespace talvor
