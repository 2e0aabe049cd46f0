// The module talvor._core: the host library for the Python around it, which is in python/talvor.
#include "common/private_shm.h"
#include "common/program_folder.h"
#include "common/result.h"
#include "common/simulation_shm.h"
#include "common/time_slice.h"
#include "host/driver/error_text.h"
#include "host/driver/library.h"
#include "host/session/board_search.h"
#include "python/src/connection.h"
#include "python/src/parts.h"

#include <chrono>
#include <cstdio>
#include <pybind11/stl.h>
#include <string>
#include <tuple>
#include <unistd.h>

namespace talvor::python {
namespace {

// The driver hangs for good in some thread, and nothing can be cleaned up any more.
void end_lost(const Error& error) {
    take_standard_output_back();
    std::fprintf(stderr, "talvor: %s\n", headline(error).c_str());
    std::fflush(nullptr);
    _exit(error.exit_status());
}

std::chrono::milliseconds milliseconds_of(double seconds) {
    return std::chrono::milliseconds(static_cast<int64_t>(seconds * 1000));
}

// Everything that a pod is opened with.
std::unique_ptr<Connection> open(std::optional<std::string> board,
                                 std::optional<std::string> library, std::optional<uint32_t> serial,
                                 std::optional<int32_t> link_delay, std::optional<double> max_hertz,
                                 std::vector<uint32_t> instruction_lengths, double patience,
                                 double wait, bool share, std::optional<std::string> descriptions) {
    SessionOptions options;
    options.board = std::move(board);
    options.library = std::move(library);
    options.serial = serial;
    options.link_delay = link_delay;
    options.max_hertz = max_hertz;
    options.instruction_lengths = std::move(instruction_lengths);
    options.patience = milliseconds_of(patience);
    options.lock.wait = milliseconds_of(wait);
    options.lock.share = share;
    options.descriptions = std::move(descriptions);
    options.lost = end_lost;
    return std::make_unique<Connection>(std::move(options));
}

// The board file that is meant where none is named, and those that are not to be trusted.
std::tuple<std::optional<std::string>, std::vector<std::string>> find_named_board() {
    FoundBoard found = find_board(board_places());
    return {std::move(found.path), std::move(found.passed_over)};
}

// The name of a code of the driver; "" when it is none of its.
std::string code_name(int32_t code) {
    const CodeText* const text = find_code(code);
    return text == nullptr ? std::string() : std::string(text->name);
}

// Moves this process, and what it starts from now on, into a /dev/shm of their own.
void enter_own_shm() {
    (void)value_of(enter_private_shm());
}

// (path, what it says about itself) of the driver that is found.
std::vector<std::string> library_facts(const std::optional<std::string>& chosen) {
    const Library library = value_of(Library::load(chosen));
    const LibraryDescription about = value_of(library.description());
    return {library.path(), about.sentence, about.package, about.component};
}

} // namespace
} // namespace talvor::python

PYBIND11_MODULE(_core, module) {
    using namespace talvor;
    using namespace talvor::python;
    module.doc() = "The host library of talvor. Use the package talvor around it.";
    py::enum_<ScanPath>(module, "ScanPath").value("DR", ScanPath::Dr).value("IR", ScanPath::Ir);
    py::enum_<StableState>(module, "StableState")
        .value("RESET", StableState::Reset)
        .value("IDLE", StableState::Idle)
        .value("PAUSEDR", StableState::PauseDr)
        .value("PAUSEIR", StableState::PauseIr);
    py::class_<Connection> connection(module, "Connection");
    connection.def(py::init(&open));
    connection.def("close", &Connection::close);
    connection.def("closed", &Connection::closed);
    add_scan(connection);
    add_control(connection);
    add_chain(module, connection);
    add_play(module, connection);
    add_pins(module, connection);
    add_interconnect(connection);
    add_shmoo(connection);
    add_trace(module);
    add_simulation(module);
    module.def("code_name", code_name);
    module.def("find_board", find_named_board);
    module.def("library_facts", library_facts);
    module.def("choose_program_folder",
               [](const std::string& folder) { choose_program_folder(folder); });
    module.def("enter_own_shm", enter_own_shm);
    module.def("shorten_time_slice", [] { shorten_time_slice(); });
    module.attr("PRIVATE_SHM_VARIABLE") = kPrivateShmVariable;
}
