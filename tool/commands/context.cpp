#include "commands/context.h"

#include <unistd.h>

#include "commands/values.h"

namespace talvor {

Status Context::start_simulator(const std::optional<std::string>& vcd) {
    if (!options.simulate || simulator_) {
        return {};
    }
    SimulatorOptions simulation;
    simulation.description = options.description;
    simulation.vcd = vcd;
    Result<Simulator> started = Simulator::start(simulation);
    if (!started) {
        return std::move(started).error();
    }
    simulator_.emplace(std::move(*started));
    return {};
}

Result<SessionOptions> Context::session_options() const {
    SessionOptions session;
    session.board = options.board;
    session.library = options.library;
    session.serial = options.pod;
    session.link_delay = options.link_delay;
    session.instruction_lengths = options.instruction_lengths;
    session.patience =
        std::chrono::milliseconds(static_cast<int64_t>(options.patience_seconds * 1000));
    if (!options.test_clock.empty()) {
        const Result<double> hertz = parse_frequency(options.test_clock);
        if (!hertz) {
            return hertz.error();
        }
        session.max_hertz = *hertz;
    }
    // The driver hangs in the main thread for good: nothing can be cleaned up any more.
    session.lost = [this](const Error& error) {
        take_standard_output_back();
        out.error(error);
        if (const std::string words = simulator_words(); !words.empty()) {
            out.note("the simulator said: " + words);
        }
        std::fflush(nullptr);
        _exit(error.exit_status());
    };
    return session;
}

Result<Session*> Context::session() {
    if (session_) {
        return session_.get();
    }
    if (Status status = start_simulator(); !status) {
        return std::move(status).error();
    }
    const Result<SessionOptions> wanted = session_options();
    if (!wanted) {
        return wanted.error();
    }
    auto opened = Session::open(*wanted);
    if (!opened) {
        return std::move(opened).error();
    }
    session_ = std::move(*opened);
    if (!session_->pod().first()) {
        out.note("another host is connected to this pod, or ended without disconnecting; 'talvor "
                 "doctor' says more");
    }
    return session_.get();
}

Result<Library> Context::library() const {
    if (options.library || !options.board) {
        return Library::load(options.library);
    }
    Result<Board> board = read_board(*options.board);
    if (!board) {
        return std::move(board).error();
    }
    return Library::load(board->library);
}

Status Context::close() {
    session_.reset();
    if (!simulator_) {
        return {};
    }
    Status status = simulator_->stop();
    simulator_.reset();
    return status;
}

std::string Context::simulator_words() const {
    return simulator_ ? simulator_->last_words() : std::string();
}

} // namespace talvor
