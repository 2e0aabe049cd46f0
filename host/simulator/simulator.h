// A simulated pod of this program's own, for as long as a command runs.
#pragma once

#include "common/child_process.h"
#include "common/file_descriptor.h"
#include "common/result.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace talvor {

// A waveform that the simulator writes, see its --vcd.
struct WaveformFile {
    static constexpr uint64_t kDefaultBytes = uint64_t{1} << 28;

    std::string path;
    uint64_t bytes = kDefaultBytes; // largest size; 0: no limit
    bool keep_last = false;         // beyond it the beginning is lost, and not the end
    bool plain = false;             // wires of one bit only
};

struct SimulatorOptions {
    std::string description;         // a description file; "" is the built-in chain of five
    std::optional<WaveformFile> vcd; // where the waveform goes
    std::string control;             // the socket that takes fault commands; "": there is none
    std::chrono::milliseconds end_patience{10'000}; // from SIGTERM to SIGKILL
    std::optional<std::string>
        program; // talvor-podsim; else $TALVOR_PODSIM, beside this program, PATH
};

// The description file of the built-in chain of five.
[[nodiscard]] std::string_view built_in_description() noexcept;

class Simulator {
public:
    // Moves this process into a /dev/shm of its own, starts talvor-podsim there and waits until it
    // serves. Where no such /dev/shm can be had the machine's does, if no pod proxy serves it; the
    // note says so then. Only while the process has one thread. Errors (ErrorKind::BadFile): a bad
    // description, in the simulator's words. (ErrorKind::Pod): the rest.
    [[nodiscard]] static Result<Simulator> start(const SimulatorOptions& options);
    ~Simulator();
    Simulator(Simulator&&) = default;
    Simulator& operator=(Simulator&&) = delete;

    // Ends it and waits until it has: then its waveform is complete. One that does not end is
    // killed. Errors (ErrorKind::BadFile): the waveform is not complete, in the simulator's words.
    // (ErrorKind::Pod): it has failed otherwise, or was killed.
    [[nodiscard]] Status stop();
    // What the user is to be told of where it stands; "" when it stands in a /dev/shm of its own.
    [[nodiscard]] const std::string& note() const noexcept { return note_; }
    // The last lines of what it has said, "" when nothing.
    [[nodiscard]] std::string last_words() const;

private:
    Simulator(ChildProcess process, FileDescriptor words, const SimulatorOptions& options,
              std::string note)
        : process_(std::move(process)), words_(std::move(words)),
          vcd_(options.vcd ? options.vcd->path : std::string()), note_(std::move(note)),
          end_patience_(options.end_patience) {}

    // `ready`: where it writes its line.
    [[nodiscard]] Status wait_until_ready(const SimulatorOptions& options, int ready);
    // The error of a simulator that has ended before it was ready.
    [[nodiscard]] Failure early_end(const ChildEnd& end, const SimulatorOptions& options) const;
    // Of one that was asked to end: kills it.
    [[nodiscard]] Failure kill();
    // The error of one that did not end well.
    [[nodiscard]] Failure bad_end(const ChildEnd& end) const;

    ChildProcess process_;
    FileDescriptor words_; // what it says
    std::string vcd_;      // where the waveform goes; "": there is none
    std::string note_;
    std::chrono::milliseconds end_patience_;
};

} // namespace talvor
