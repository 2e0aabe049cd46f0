// The simulator as a process of its own, in the test's /dev/shm, for as long as a test needs it.
//
// A test program that uses this names the simulator among its build dependencies:
// add_dependencies(<test> talvor-podsim).
#pragma once

#include "common/child_process.h"
#include "common/temporary.h"
#include "support/run_program.h"

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace test_support {

// Path of a program built beside the running test program, as in "talvor-podsim".
std::string built_program(const std::string& name);

class PodsimProcess {
public:
    // Starts the simulator with a description (TOML text; empty: the built-in single pod) and more
    // arguments, and waits until the pods are served. When it does not come to that, the test
    // fails with the simulator's words, and running() is false.
    explicit PodsimProcess(const std::string& description = "",
                           std::vector<std::string> arguments = {});
    PodsimProcess(const PodsimProcess&) = delete;
    PodsimProcess& operator=(const PodsimProcess&) = delete;
    // Stops it, and removes its files.
    ~PodsimProcess();

    bool running() const { return process_ && process_->running(); }
    pid_t pid() const { return process_ ? process_->pid() : -1; }
    // Sends a fault command; the answer: "ok", the status as JSON, or "error: REASON".
    std::string ctl(const std::string& command) const;
    // Everything on its log so far (warnings, failed batches; with --log each batch).
    std::string log() const;
    // A directory of this process's own that goes away with it.
    const std::string& directory() const { return folder_.path(); }
    // Ends it with SIGTERM (or another signal) and waits; the exit status, or 128 plus the number
    // of the signal that killed it. -1 when it was not running.
    int stop();
    int stop(int signal);

private:
    talvor::TemporaryFolder folder_;
    std::optional<talvor::ChildProcess> process_;
};

} // namespace test_support
