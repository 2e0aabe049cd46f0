// A simulated pod of this program's own, for as long as a command runs.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

#include "support/file_descriptor.h"
#include "support/result.h"

namespace talvor {

struct SimulatorOptions {
    std::string description;        // a description file; "" is the built-in chain of five
    std::optional<std::string> vcd; // where the waveform goes
    std::optional<std::string>
        program; // talvor-podsim; else $TALVOR_PODSIM, beside this program, PATH
};

// The description file of the built-in chain of five.
[[nodiscard]] std::string_view built_in_description() noexcept;

class Simulator {
public:
    // Moves this process into a /dev/shm of its own, starts talvor-podsim there and waits until it
    // serves. Only while the process has one thread. Errors (ErrorKind::BadFile): a bad
    // description, in the simulator's words. (ErrorKind::Pod): the rest.
    [[nodiscard]] static Result<Simulator> start(const SimulatorOptions& options);
    ~Simulator();
    Simulator(Simulator&& other) noexcept;
    Simulator& operator=(Simulator&&) = delete;

    // Ends it and waits until it has: then its waveform is complete.
    Status stop();
    // The last lines of what it has said, "" when nothing.
    [[nodiscard]] std::string last_words() const;

private:
    Simulator(pid_t process, FileDescriptor words) : process_(process), words_(std::move(words)) {}

    pid_t process_; // -1: not running
    FileDescriptor words_;
};

} // namespace talvor
