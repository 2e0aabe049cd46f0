#include "tool/commands/context.h"

#include "common/text.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <unistd.h>

namespace talvor {
namespace {

// Of an option; as good as for ever is a century.
std::chrono::milliseconds milliseconds_of(double seconds) {
    constexpr double kLongest = 100.0 * 366 * 86400;
    return std::chrono::milliseconds(static_cast<int64_t>(std::min(seconds, kLongest) * 1000));
}

} // namespace

Status Context::start_simulator(const std::optional<WaveformFile>& vcd) {
    if (!options.simulate || simulator_) {
        return {};
    }
    SimulatorOptions simulation;
    simulation.description = options.description;
    simulation.vcd = vcd;
    simulator_.emplace(TRY(Simulator::start(simulation)));
    if (!simulator_->note().empty()) {
        out.note(simulator_->note());
    }
    return {};
}

const FoundBoard& Context::board() const {
    if (board_) {
        return *board_;
    }
    FoundBoard& found = board_.emplace();
    if (options.board) {
        found = {options.board, BoardSource::Option, {}};
    } else if (!options.no_board && !options.simulate) {
        found = find_board(board_places());
    }
    for (const std::string& one : found.passed_over) {
        out.note("passing over " + one + "; take it with --board, if it is to be trusted");
    }
    if (options.verbose) {
        out.note(found.path
                     ? fmt::format("board file {}, {}", *found.path, source_text(found.source))
                     : std::string("no board file"));
    }
    return found;
}

Result<SessionOptions> Context::session_options() const {
    if (options.gang.pods) {
        return usage_error("--pods", "is not for commands within others",
                           "give it to the outermost command, or name one pod with --pod");
    }
    SessionOptions session;
    session.one_of_several = options.member.has_value();
    session.board = board().path;
    session.library = options.library;
    session.serial = options.pod;
    session.link_delay = options.link_delay;
    session.max_hertz = options.max_hertz;
    session.instruction_lengths = options.instruction_lengths;
    session.descriptions = options.descriptions;
    session.patience = milliseconds_of(options.patience_seconds);
    session.lock.wait = milliseconds_of(options.wait_seconds);
    session.lock.share = options.share;
    session.lock.on_wait = [this](const std::string& user) {
        out.note(fmt::format("the pod is {}; waiting up to {} for it", user,
                             seconds_text(options.wait_seconds)));
    };
    // The driver hangs in the main thread for good: nothing can be cleaned up any more. One that
    // keeps to the patience never comes to that.
    session.lost = [this](const Error& error) {
        take_standard_output_back();
        report(error);
        std::fflush(nullptr);
        _exit(error.exit_status());
    };
    return session;
}

Result<Session*> Context::session() {
    if (session_) {
        return session_.get();
    }
    TRY(start_simulator());
    session_ = TRY(Session::open(TRY(session_options())));
    session_->port().on_shift(on_shift);
    TRY(session_->port().watch(watcher));
    if (const std::string& user = session_->lock().shared_with(); !user.empty()) {
        out.note(fmt::format("pod {}: {}; going on beside it: what both queue is lost or mixed up",
                             session_->record().serial, user));
    } else if (!session_->pod().first()) {
        out.note("another host is connected to this pod, or ended without disconnecting; 'talvor "
                 "doctor' says more");
    }
    return session_.get();
}

Status Context::renew() {
    return session_ ? session_->port().renew() : Status();
}

Status Context::refuse_watcher(const std::string& command) const {
    return watcher == nullptr
               ? Status()
               : usage_error(command, "cannot be recorded: its clients give edges, not scans",
                             "record what the client plays with 'talvor record', or let 'talvor "
                             "serve --log' print what it does");
}

Result<Library> Context::library() const {
    if (options.library || !board().path) {
        return Library::load(options.library);
    }
    return Library::load(TRY(read_board(*board().path)).library);
}

Status Context::close() {
    session_.reset();
    if (!simulator_) {
        return {};
    }
    const Status stopped = simulator_->stop();
    simulator_.reset();
    return stopped;
}

void Context::report(const Error& error) const {
    out.error(error);
    if (error.kind != ErrorKind::Pod) {
        return;
    }
    if (const std::string words = simulator_words(); !words.empty()) {
        out.note("the simulator said: " + words);
    }
}

std::string Context::simulator_words() const {
    return simulator_ ? simulator_->last_words() : std::string();
}

} // namespace talvor
