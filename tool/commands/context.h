// What every command works with: the common options, the output, and the session once it is needed.
#pragma once

#include "common/result.h"
#include "host/jtag/port_watcher.h"
#include "host/session/board_search.h"
#include "host/session/session.h"
#include "host/simulator/simulator.h"
#include "tool/output/output.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace talvor {

// The same command on several pods; see tool/commands/gang.h.
struct GangRequest {
    std::optional<std::string> pods; // as it was asked: "all", "5,7"
    uint32_t retries = 0;
    bool stop_on_first = false;
    std::string log;
    std::string junit;
};

struct CommonOptions {
    std::optional<std::string> board;
    bool no_board = false; // not even one that would be found
    std::optional<std::string> library;
    std::optional<uint32_t> pod;
    GangRequest gang;
    std::optional<uint32_t> member; // of a gang: the descriptor for reports of progress
    bool simulate = false;
    std::string description; // of the simulated pod; "" is the built-in one
    std::optional<int32_t> link_delay;
    std::optional<double> max_hertz; // of the test clock
    std::vector<uint32_t> instruction_lengths;
    std::optional<std::string> descriptions; // folder of BSDL files
    double patience_seconds = 60;
    double wait_seconds = 0;    // for a pod that is in use
    bool share = false;         // go on beside its user
    double timeout_seconds = 0; // for the whole command; 0: as long as it takes
    bool verbose = false;
    bool json = false;
};

class Context {
public:
    CommonOptions options;
    Output out;
    ShiftMarkHook on_shift;         // is told what the session's Shift clocks are for; may be empty
    PortWatcher* watcher = nullptr; // is told what its port does; may be null

    // Starts the simulator if --simulate was given and it is not running. `vcd`: with a waveform.
    Status start_simulator(const std::optional<WaveformFile>& vcd = std::nullopt);
    // Opens the session when it is first asked for.
    [[nodiscard]] Result<Session*> session();
    // A session that was opened before is as good as new: whatever the last command left behind.
    Status renew();
    // An error where what the port does is watched: `command` does it another way.
    [[nodiscard]] Status refuse_watcher(const std::string& command) const;
    // Disconnects; the next command connects anew. The simulator goes on.
    void drop_session() { session_.reset(); }
    // The board file that is meant, named or found: see find_board(). A simulated pod is not the
    // one that a file was written for, so that with one only a name counts.
    [[nodiscard]] const FoundBoard& board() const;
    // What a session is opened with.
    [[nodiscard]] Result<SessionOptions> session_options() const;
    // The library alone, for commands that need no pod.
    [[nodiscard]] Result<Library> library() const;

    // Disconnects, then ends the simulator; the first failure of the two.
    Status close();
    // Prints an error, and for one of the pod what the simulator said last.
    void report(const Error& error) const;
    // What the simulator said last, for a report about it.
    [[nodiscard]] std::string simulator_words() const;

    uint32_t script_depth = 0; // scripts that run scripts

private:
    std::optional<Simulator> simulator_;
    std::unique_ptr<Session> session_;
    mutable std::optional<FoundBoard> board_;
};

} // namespace talvor
