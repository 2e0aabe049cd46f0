#include "host/simulator/simulator.h"

#include "common/program_folder.h"
#include "common/simulation_shm.h"
#include "common/system_calls.h"
#include "host/simulator/built_in_description.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <sys/mman.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace talvor {
namespace {

constexpr const char* kProgram = "talvor-podsim";
constexpr const char* kProgramVariable = "TALVOR_PODSIM";
constexpr std::chrono::seconds kStartPatience{20};
constexpr std::chrono::microseconds kLookEvery{250}; // a start takes some milliseconds
constexpr size_t kLastWords = 2000;

Failure simulator_error(std::string reason, std::string next_step = {}) {
    return pod_error("simulator", std::move(reason), std::move(next_step));
}

// What a simulator that fails says at its end.
struct Complaint {
    std::string reason;
    std::string next_step;
};

// Finds it behind the log; all that was said when there is none.
Complaint complaint_in(const std::string& said) {
    const std::string name = std::string(kProgram) + ": ";
    const size_t at = said.rfind(name);
    if (at == std::string::npos || (at != 0 && said[at - 1] != '\n')) {
        return {said, ""};
    }
    constexpr std::string_view kNext = "\n  next: ";
    const std::string text = said.substr(at + name.size());
    const size_t next = text.find(kNext);
    return next == std::string::npos
               ? Complaint{text, ""}
               : Complaint{text.substr(0, next), text.substr(next + kNext.size())};
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
    const auto folder = program_folder();
    if (const auto beside = folder / kProgram;
        !folder.empty() && std::filesystem::exists(beside, error)) {
        return beside.string();
    }
    return kProgram;
}

// A file in memory with `text`, open for a child to read.
Result<FileDescriptor> memory_file(const char* name, std::string_view text) {
    FileDescriptor file(system_calls.memfd_create(name, 0));
    if (!file.is_open() || !write_all(file.get(), text) ||
        system_calls.lseek(file.get(), 0, SEEK_SET) != 0) {
        const Failure failed = system_failure(fmt::format("making {} in memory", name));
        return simulator_error(headline(failed.value()), failed.value().next_step);
    }
    return file;
}

void add_waveform(std::vector<std::string>& arguments, const WaveformFile& vcd) {
    arguments.insert(arguments.end(), {"--vcd", vcd.path});
    if (vcd.bytes != WaveformFile::kDefaultBytes) {
        arguments.insert(arguments.end(), {"--vcd-bytes", fmt::format("{}", vcd.bytes)});
    }
    if (vcd.keep_last) {
        arguments.emplace_back("--vcd-last");
    }
    if (vcd.plain) {
        arguments.emplace_back("--vcd-plain");
    }
}

// Starts it: `words` takes what it says, `ready` its line that the pods are served.
Result<ChildProcess> spawn(const SimulatorOptions& options, const std::string& description,
                           int words, int ready) {
    SpawnOptions child;
    // It ends with this program, however that ends; a Ctrl-C at the terminal is ours alone.
    child.arguments = {find_program(options.program), "--end-with", fmt::format("{}", getpid()),
                       "--ready-fd", fmt::format("{}", ready)};
    child.own_group = true;
    if (options.vcd) {
        add_waveform(child.arguments, *options.vcd);
    }
    if (!options.control.empty()) {
        child.arguments.insert(child.arguments.end(), {"--control", options.control});
    }
    child.arguments.push_back(description);
    child.output = words;
    child.errors = words;
    Result<ChildProcess> process = ChildProcess::spawn(child);
    if (!process) {
        return simulator_error(
            fmt::format("{}: {}", child.arguments.front(), process.error().reason),
            process.error().next_step);
    }
    return process;
}

} // namespace

std::string_view built_in_description() noexcept {
    return kBuiltInDescription;
}

Result<Simulator> Simulator::start(const SimulatorOptions& options) {
    Result<std::string> note = enter_simulation_shm();
    if (!note) {
        return simulator_error(headline(note.error()), note.error().next_step);
    }
    const FileDescriptor built_in = TRY(memory_file("built-in.toml", built_in_description()));
    const FileDescriptor ready = TRY(memory_file("podsim.ready", ""));
    FileDescriptor words = TRY(memory_file("podsim.log", ""));
    const std::string description = options.description.empty()
                                        ? fmt::format("/proc/self/fd/{}", built_in.get())
                                        : options.description;
    ChildProcess process = TRY(spawn(options, description, words.get(), ready.get()));
    Simulator simulator(std::move(process), std::move(words), options, *std::move(note));
    TRY(simulator.wait_until_ready(options, ready.get()));
    return simulator;
}

Status Simulator::wait_until_ready(const SimulatorOptions& options, int ready) {
    const auto deadline = std::chrono::steady_clock::now() + kStartPatience;
    char first = '\0';
    while (system_calls.pread(ready, &first, sizeof(first), 0) != sizeof(first)) {
        if (const std::optional<ChildEnd> end = process_.poll()) {
            return early_end(*end, options);
        }
        if (std::chrono::steady_clock::now() > deadline) {
            return simulator_error("it does not get ready",
                                   "run talvor-podsim by itself to see why");
        }
        std::this_thread::sleep_for(kLookEvery);
    }
    return {};
}

Failure Simulator::early_end(const ChildEnd& end, const SimulatorOptions& options) const {
    const std::string said = last_words();
    if (said.empty()) {
        return simulator_error(find_program(options.program) + " " + end.text());
    }
    // What it says about a description, or about the waveform, names the file.
    const bool bad_file =
        (!options.description.empty() && said.find(options.description) != std::string::npos) ||
        (options.vcd && said.find(options.vcd->path) != std::string::npos);
    return bad_file ? file_error("simulator", said) : simulator_error(said);
}

Simulator::~Simulator() {
    try {
        (void)stop();
    } catch (const std::bad_alloc&) {
        // It has ended; only how it ended cannot be told.
    }
}

Status Simulator::stop() {
    if (!process_.running()) {
        return {};
    }
    process_.signal(SIGTERM);
    const std::optional<ChildEnd> end = process_.wait_for(end_patience_);
    if (!end) {
        return kill();
    }
    return end->succeeded() ? Status() : bad_end(*end);
}

Failure Simulator::kill() {
    process_.signal(SIGKILL);
    process_.wait();
    std::string reason =
        fmt::format("it did not end for {} ms after SIGTERM and was killed", end_patience_.count());
    if (!vcd_.empty()) {
        reason += fmt::format("; {} may not be complete", vcd_);
    }
    return simulator_error(std::move(reason));
}

Failure Simulator::bad_end(const ChildEnd& end) const {
    const std::string said = last_words();
    if (said.empty()) {
        return simulator_error(std::string(kProgram) + " " + end.text());
    }
    Complaint complaint = complaint_in(said);
    if (!vcd_.empty() && complaint.reason.find(vcd_) != std::string::npos) {
        return file_error("simulator", std::move(complaint.reason), std::move(complaint.next_step));
    }
    return simulator_error(std::move(complaint.reason), std::move(complaint.next_step));
}

std::string Simulator::last_words() const {
    const off_t size = system_calls.lseek(words_.get(), 0, SEEK_END);
    const off_t from = std::max<off_t>(0, size - static_cast<off_t>(kLastWords));
    std::string text(static_cast<size_t>(std::max<off_t>(0, size - from)), '\0');
    const ssize_t got = system_calls.pread(words_.get(), text.data(), text.size(), from);
    text.resize(static_cast<size_t>(std::max<ssize_t>(0, got)));
    text.erase(text.find_last_not_of('\n') + 1);
    return text;
}

} // namespace talvor
