#include "support/podsim_process.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test_support {
namespace {

constexpr int start_patience_ms = 20'000;
constexpr int ready_fd = 3;

std::string read_file(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

std::string new_directory() {
    std::string name = std::filesystem::temp_directory_path() / "talvor-podsim-XXXXXX";
    return mkdtemp(name.data()) == nullptr ? "" : name;
}

std::vector<char*> raw_arguments(const std::vector<std::string>& arguments) {
    std::vector<char*> raw;
    for (const std::string& argument : arguments) {
        raw.push_back(const_cast<char*>(argument.c_str()));
    }
    raw.push_back(nullptr);
    return raw;
}

void redirect(const std::string& path, int fd) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0666);
    dup2(file, fd);
    close(file);
}

int status_of(int wait_status) {
    return WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : 128 + WTERMSIG(wait_status);
}

// Waits for the ready line; what came of it.
std::string await_ready(int fd) {
    std::string line;
    std::array<char, 256> bytes{};
    while (!line.ends_with('\n')) {
        pollfd wait{fd, POLLIN, 0};
        if (poll(&wait, 1, start_patience_ms) <= 0) {
            break;
        }
        const ssize_t count = read(fd, bytes.data(), bytes.size());
        if (count <= 0) {
            break;
        }
        line.append(bytes.data(), static_cast<size_t>(count));
    }
    return line;
}

} // namespace

std::string built_program(const std::string& name) {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / name;
}

PodsimProcess::PodsimProcess(const std::string& description, std::vector<std::string> arguments)
    : directory_(new_directory()) {
    std::vector<std::string> all{built_program("talvor-podsim"), "--control", directory_ + "/ctl",
                                 "--ready-fd", std::to_string(ready_fd)};
    all.insert(all.end(), arguments.begin(), arguments.end());
    if (!description.empty()) {
        std::ofstream(directory_ + "/pods.toml") << description;
        all.push_back(directory_ + "/pods.toml");
    }
    const std::vector<char*> raw = raw_arguments(all);
    std::array<int, 2> ready{};
    EXPECT_EQ(pipe2(ready.data(), O_CLOEXEC), 0);
    pid_ = fork();
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM); // a test that crashes leaves no simulator behind
        redirect(directory_ + "/output", STDOUT_FILENO);
        redirect(directory_ + "/log", STDERR_FILENO);
        if (ready[1] == ready_fd) {
            fcntl(ready_fd, F_SETFD, 0);
        } else {
            dup2(ready[1], ready_fd);
        }
        execv(raw[0], raw.data());
        _exit(127);
    }
    close(ready[1]);
    const std::string line = await_ready(ready[0]);
    close(ready[0]);
    if (!line.starts_with("ready")) {
        const int status = stop(SIGKILL);
        ADD_FAILURE() << "the simulator did not start, status " << status << ": " << log();
    }
}

PodsimProcess::~PodsimProcess() {
    stop();
    std::filesystem::remove_all(directory_);
}

std::string PodsimProcess::ctl(const std::string& command) const {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    (directory_ + "/ctl").copy(address.sun_path, sizeof(address.sun_path) - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const std::string line = command + "\n";
    std::string answer;
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 &&
        send(fd, line.data(), line.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(line.size())) {
        answer = await_ready(fd);
    }
    close(fd);
    EXPECT_TRUE(answer.ends_with('\n')) << "no answer to '" << command << "'";
    return answer.substr(0, answer.find('\n'));
}

std::string PodsimProcess::log() const {
    return read_file(directory_ + "/log");
}

int PodsimProcess::stop() {
    return stop(SIGTERM);
}

int PodsimProcess::stop(int signal) {
    if (pid_ <= 0) {
        return -1;
    }
    kill(pid_, signal);
    int status = 0;
    EXPECT_EQ(waitpid(pid_, &status, 0), pid_);
    pid_ = -1;
    return status_of(status);
}

} // namespace test_support
