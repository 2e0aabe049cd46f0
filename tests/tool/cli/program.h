// Runs talvor as a user does.
#pragma once

#include "common/child_process.h"
#include "common/temporary.h"
#include "support/podsim_process.h"
#include "support/run_program.h"

#include <functional>
#include <string>
#include <vector>

namespace talvor::cli {

using test_support::PodsimProcess;

struct Outcome {
    int status = -1; // the exit status, or 128 and the signal
    std::string out;
    std::string err;
};

// Runs talvor; `input` is what it reads.
Outcome talvor(std::vector<std::string> arguments, const std::string& input = "");
// Runs talvor with a simulated pod of its own.
Outcome simulated(std::vector<std::string> arguments, const std::string& input = "");

// Whether a program of that name is there to be run.
[[nodiscard]] bool installed(const std::string& program);

// Looks again and again until `condition` holds; false when it never comes to that.
[[nodiscard]] bool await(const std::function<bool()>& condition);
std::string read_file(const std::string& path);

// talvor at work beside the test; killed with the object if it has not ended by then.
class Running {
public:
    explicit Running(std::vector<std::string> arguments);
    ~Running();
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    // What it has printed so far.
    [[nodiscard]] std::string out() const { return read_file(out_.path()); }
    [[nodiscard]] std::string err() const { return read_file(err_.path()); }
    void signal(int number) const { process_.signal(number); }
    // Its exit status, or 128 and the signal.
    [[nodiscard]] int wait() { return process_.wait().shell_status(); }

private:
    static ChildProcess start(std::vector<std::string> arguments, int out, int err);

    TemporaryFile out_;
    TemporaryFile err_;
    ChildProcess process_;
};

// The description of the chain of five that --simulate starts, for a simulator beside.
std::string five();
// A file with `text` in the test program's temporary directory; its path.
std::string file_with(const std::string& name, const std::string& text);
// A file of the source tree.
std::string source_file(const std::string& name);

} // namespace talvor::cli
