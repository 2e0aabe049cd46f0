// Runs a program as a user does, and keeps what it says.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace talvor::cli {

struct Outcome {
    int status = -1; // the exit status, or 128 and the signal
    std::string out;
    std::string err;
};

// Runs `words` with the environment's NO_COLOR unset and neither stream a terminal; `input` is what
// it reads.
Outcome run_program(const std::vector<std::string>& words, const std::string& input = "");
// Runs talvor.
Outcome talvor(std::vector<std::string> arguments, const std::string& input = "");
// Runs talvor with a simulated pod of its own.
Outcome simulated(std::vector<std::string> arguments, const std::string& input = "");

// A simulated pod that runs while the object lives, in this test program's own /dev/shm.
class RunningSimulator {
public:
    // `arguments`: for talvor-podsim, a description first.
    explicit RunningSimulator(std::vector<std::string> arguments);
    ~RunningSimulator();
    RunningSimulator(const RunningSimulator&) = delete;
    RunningSimulator& operator=(const RunningSimulator&) = delete;

    [[nodiscard]] pid_t process() const noexcept { return process_; }
    // Sends a fault command to its control socket; the answer.
    std::string control(const std::vector<std::string>& words) const;
    // Ends it at once, as a crash would.
    void kill();

private:
    std::string socket_;
    pid_t process_ = -1;
};

// A file with `text` in the test program's temporary directory; its path.
std::string file_with(const std::string& name, const std::string& text);
// A file of the source tree.
std::string source_file(const std::string& name);
std::string read_file(const std::string& path);

} // namespace talvor::cli
