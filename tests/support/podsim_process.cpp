#include "support/podsim_process.h"

#include "common/file_descriptor.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <sstream>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace test_support {
namespace {

constexpr int kStartPatienceMs = 20'000;

std::string read_file(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

talvor::FileDescriptor open_to_write(const std::string& path) {
    return talvor::FileDescriptor(
        open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666));
}

talvor::TemporaryFolder new_folder() {
    auto folder = talvor::TemporaryFolder::create();
    EXPECT_TRUE(folder) << headline(folder.error());
    return *std::move(folder);
}

// Waits for the ready line; what came of it.
std::string await_ready(int fd) {
    std::string line;
    std::array<char, 256> bytes{};
    while (!line.ends_with('\n')) {
        pollfd wait{fd, POLLIN, 0};
        if (poll(&wait, 1, kStartPatienceMs) <= 0) {
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
    : folder_(new_folder()) {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    const talvor::FileDescriptor ready(ends[0]);
    talvor::FileDescriptor to_child(ends[1]);
    // With --end-with a test that crashes leaves no simulator behind.
    std::vector<std::string> all{
        built_program("talvor-podsim"), "--control",  directory() + "/ctl",    "--ready-fd",
        std::to_string(to_child.get()), "--end-with", std::to_string(getpid())};
    all.insert(all.end(), arguments.begin(), arguments.end());
    if (!description.empty()) {
        std::ofstream(directory() + "/pods.toml") << description;
        all.push_back(directory() + "/pods.toml");
    }
    const talvor::FileDescriptor output = open_to_write(directory() + "/output");
    const talvor::FileDescriptor errors = open_to_write(directory() + "/log");
    auto started = talvor::ChildProcess::spawn({.arguments = std::move(all),
                                                .output = output.get(),
                                                .errors = errors.get(),
                                                .kept = {to_child.get()}});
    to_child.reset();
    if (!started) {
        ADD_FAILURE() << headline(started.error());
        return;
    }
    process_ = *std::move(started);
    if (!await_ready(ready.get()).starts_with("ready")) {
        const int status = stop(SIGKILL);
        ADD_FAILURE() << "the simulator did not start, status " << status << ": " << log();
    }
}

PodsimProcess::~PodsimProcess() {
    stop();
}

std::string PodsimProcess::ctl(const std::string& command) const {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    (directory() + "/ctl").copy(address.sun_path, sizeof(address.sun_path) - 1);
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
    return read_file(directory() + "/log");
}

int PodsimProcess::stop() {
    return stop(SIGTERM);
}

int PodsimProcess::stop(int signal) {
    if (!running()) {
        return -1;
    }
    process_->signal(signal);
    return process_->wait().shell_status();
}

} // namespace test_support
