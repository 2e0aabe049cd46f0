#include "session/simulator.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

#include <fmt/format.h>

#include "podsim/privacy/private_shm.h"
#include "session/built_in_description.h"

namespace talvor {
namespace {

constexpr const char* kProgram = "talvor-podsim";
constexpr const char* kProgramVariable = "TALVOR_PODSIM";
constexpr std::chrono::seconds kStartPatience{20};
constexpr std::chrono::milliseconds kLookEvery{2};
constexpr size_t kLastWords = 2000;

Error simulator_error(ErrorKind kind, std::string reason, std::string next_step = {}) {
    return Error{kind, 0, "simulator", std::move(reason), std::move(next_step)};
}

std::string find_program(const std::optional<std::string>& chosen) {
    if (chosen) {
        return *chosen;
    }
    if (const char* variable = std::getenv(kProgramVariable);
        variable != nullptr && *variable != '\0') {
        return variable;
    }
    std::error_code error;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
    if (const auto beside = self.parent_path() / kProgram;
        !error && std::filesystem::exists(beside, error)) {
        return beside.string();
    }
    return kProgram;
}

// A file in memory with `text`, open for a child to read.
FileDescriptor memory_file(const char* name, std::string_view text) {
    FileDescriptor file(memfd_create(name, 0));
    if (file.is_open() && !text.empty() &&
        (write(file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
         lseek(file.get(), 0, SEEK_SET) != 0)) {
        file.reset();
    }
    return file;
}

// How the child ended, in words.
std::string end_text(int status) {
    if (WIFSIGNALED(status)) {
        return fmt::format("was ended by signal {} ({})", WTERMSIG(status),
                           strsignal(WTERMSIG(status)));
    }
    return fmt::format("ended with status {}", WEXITSTATUS(status));
}

[[noreturn]] void become(const std::vector<std::string>& arguments, int words, pid_t parent) {
    // It must not outlive this program, and a Ctrl-C at the terminal is this program's affair.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) {
        _exit(0);
    }
    setpgid(0, 0);
    dup2(words, STDOUT_FILENO);
    dup2(words, STDERR_FILENO);
    std::vector<char*> raw;
    for (const std::string& argument : arguments) {
        raw.push_back(const_cast<char*>(argument.c_str()));
    }
    raw.push_back(nullptr);
    execvp(raw.front(), raw.data());
    dprintf(words, "%s: %s\n", arguments.front().c_str(), std::strerror(errno));
    _exit(127);
}

std::string tail_of(int words) {
    const off_t size = lseek(words, 0, SEEK_END);
    const off_t from = std::max<off_t>(0, size - static_cast<off_t>(kLastWords));
    std::string text(static_cast<size_t>(std::max<off_t>(0, size - from)), '\0');
    const ssize_t got = pread(words, text.data(), text.size(), from);
    text.resize(static_cast<size_t>(std::max<ssize_t>(0, got)));
    text.erase(text.find_last_not_of('\n') + 1);
    return text;
}

} // namespace

std::string_view built_in_description() noexcept {
    return kBuiltInDescription;
}

Result<Simulator> Simulator::start(const SimulatorOptions& options) {
    const podsim::Status privacy = podsim::enter_private_shm();
    if (privacy.failed()) {
        return simulator_error(ErrorKind::Pod, privacy.reason(),
                               "start talvor-podsim yourself and leave --simulate away");
    }
    const FileDescriptor built_in = memory_file("built-in.toml", built_in_description());
    FileDescriptor words = memory_file("podsim.log", "");
    if (!built_in.is_open() || !words.is_open()) {
        return simulator_error(ErrorKind::Pod, std::strerror(errno));
    }
    // In the /dev/shm that only this process and its children see.
    const std::string ready = "/dev/shm/talvor_ready";
    std::vector<std::string> arguments{find_program(options.program), "--ready-file", ready};
    if (options.vcd) {
        arguments.insert(arguments.end(), {"--vcd", *options.vcd});
    }
    arguments.push_back(options.description.empty()
                            ? fmt::format("/proc/self/fd/{}", built_in.get())
                            : options.description);
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child < 0) {
        return simulator_error(ErrorKind::Pod, std::strerror(errno));
    }
    if (child == 0) {
        become(arguments, words.get(), parent);
    }
    Simulator simulator(child, std::move(words));
    const auto deadline = std::chrono::steady_clock::now() + kStartPatience;
    while (access(ready.c_str(), F_OK) != 0) {
        int status = 0;
        if (waitpid(child, &status, WNOHANG) == child) {
            simulator.process_ = -1;
            const std::string said = simulator.last_words();
            // What it says about a description names the file.
            const bool bad_file =
                !options.description.empty() && said.find(options.description) != std::string::npos;
            return simulator_error(bad_file ? ErrorKind::BadFile : ErrorKind::Pod,
                                   said.empty() ? arguments.front() + " " + end_text(status)
                                                : said);
        }
        if (std::chrono::steady_clock::now() > deadline) {
            return simulator_error(ErrorKind::Pod, "it does not get ready",
                                   "run talvor-podsim by itself to see why");
        }
        std::this_thread::sleep_for(kLookEvery);
    }
    unlink(ready.c_str());
    return simulator;
}

Simulator::Simulator(Simulator&& other) noexcept
    : process_(std::exchange(other.process_, -1)), words_(std::move(other.words_)) {}

Simulator::~Simulator() {
    (void)stop();
}

Status Simulator::stop() {
    if (process_ < 0) {
        return {};
    }
    const pid_t child = std::exchange(process_, -1);
    kill(child, SIGTERM);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
        return {};
    }
    return simulator_error(ErrorKind::Pod, std::string(kProgram) + " " + end_text(status));
}

std::string Simulator::last_words() const {
    return tail_of(words_.get());
}

} // namespace talvor
