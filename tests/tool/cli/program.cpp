#include "program.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

namespace talvor::cli {
namespace {

// A file without a name that a child writes to or reads from.
int scratch_file(const std::string& text) {
    std::string path = testing::TempDir() + "talvor-cli-XXXXXX";
    const int fd = mkstemp(path.data());
    EXPECT_GE(fd, 0);
    unlink(path.c_str());
    EXPECT_EQ(write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    lseek(fd, 0, SEEK_SET);
    return fd;
}

std::string text_of(int fd) {
    std::string text(static_cast<size_t>(lseek(fd, 0, SEEK_END)), '\0');
    EXPECT_EQ(pread(fd, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    close(fd);
    return text;
}

pid_t start(const std::vector<std::string>& words, int in, int out, int err) {
    const pid_t child = fork();
    if (child != 0) {
        return child;
    }
    dup2(in, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    unsetenv("NO_COLOR");
    std::vector<char*> raw;
    for (const std::string& word : words) {
        raw.push_back(const_cast<char*>(word.c_str()));
    }
    raw.push_back(nullptr);
    execv(raw.front(), raw.data());
    _exit(127);
}

int wait_for(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace

Outcome run_program(const std::vector<std::string>& words, const std::string& input) {
    const int in = scratch_file(input);
    const int out = scratch_file("");
    const int err = scratch_file("");
    Outcome outcome;
    outcome.status = wait_for(start(words, in, out, err));
    close(in);
    outcome.out = text_of(out);
    outcome.err = text_of(err);
    return outcome;
}

Outcome talvor(std::vector<std::string> arguments, const std::string& input) {
    arguments.insert(arguments.begin(), TALVOR_PROGRAM);
    return run_program(arguments, input);
}

Outcome simulated(std::vector<std::string> arguments, const std::string& input) {
    arguments.insert(arguments.begin(), "--simulate");
    return talvor(std::move(arguments), input);
}

RunningSimulator::RunningSimulator(std::vector<std::string> arguments)
    : socket_(testing::TempDir() + "talvor-cli-" + std::to_string(getpid()) + ".sock") {
    const std::string ready = socket_ + ".ready";
    arguments.insert(arguments.begin(), TALVOR_PODSIM_PROGRAM);
    arguments.insert(arguments.end(), {"--control", socket_, "--ready-file", ready});
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    process_ = start(arguments, null, null, STDERR_FILENO);
    close(null);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (access(ready.c_str(), F_OK) != 0 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    EXPECT_EQ(unlink(ready.c_str()), 0) << "the simulator did not get ready";
}

RunningSimulator::~RunningSimulator() {
    if (process_ > 0) {
        ::kill(process_, SIGTERM);
        EXPECT_EQ(wait_for(process_), 0);
    }
}

std::string RunningSimulator::control(const std::vector<std::string>& words) const {
    std::vector<std::string> command{TALVOR_PODSIM_PROGRAM, "ctl", "--control", socket_};
    command.insert(command.end(), words.begin(), words.end());
    const Outcome outcome = run_program(command);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return outcome.out;
}

void RunningSimulator::kill() {
    ::kill(process_, SIGKILL);
    (void)wait_for(process_);
    process_ = -1;
}

std::string file_with(const std::string& name, const std::string& text) {
    const std::string path = testing::TempDir() + "talvor-cli-" + std::to_string(getpid()) + name;
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
    return path;
}

std::string source_file(const std::string& name) {
    return TALVOR_SOURCE_DIR "/" + name;
}

std::string read_file(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

} // namespace talvor::cli
