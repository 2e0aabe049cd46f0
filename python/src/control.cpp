// What is done with a pod beside scans.
#include "host/driver/conditions.h"
#include "host/driver/registers.h"
#include "host/driver/reset_log.h"
#include "host/session/chain_trial.h"
#include "python/src/connection.h"
#include "python/src/parts.h"

#include <algorithm>
#include <chrono>
#include <pybind11/chrono.h>
#include <pybind11/stl.h>
#include <string>
#include <tuple>

namespace talvor::python {
namespace {

StableState state(Connection& connection) {
    return connection.look(Length::Short,
                           [](Session& session) { return session.port().ask_state(); });
}

Status move_once(PodPort& port, StableState to) {
    return to == StableState::Reset ? port.reset_tap() : port.move(to);
}

void move(Connection& connection, StableState to, bool via_idle, uint32_t times) {
    connection.use(Length::Long, [=](Session& session) -> Status {
        PodPort& port = session.port();
        for (uint32_t i = 0; i < times; ++i) {
            TRY(via_idle ? port.move_via_idle(to) : move_once(port, to));
        }
        return port.flush();
    });
}

void run(Connection& connection, uint64_t clocks, double seconds, StableState in) {
    const auto time = std::chrono::nanoseconds(static_cast<int64_t>(seconds * 1e9));
    connection.use(Length::Long,
                   [=](Session& session) { return session.port().run(in, clocks, time); });
}

using LogEntry = std::tuple<uint32_t, std::string, std::optional<uint32_t>>;

std::vector<LogEntry> reset_pod(Connection& connection, bool soft, bool hard, bool hidden,
                                bool trst) {
    const auto log = connection.use(Length::Long, [=](Session& session) {
        return reset(session.pod(), ResetRequest{soft, hard, hidden, trst});
    });
    // Where the TAP stands now, nobody has told the port.
    connection.use(Length::Short, [](Session& session) { return session.port().renew(); });
    std::vector<LogEntry> entries;
    for (const ResetLogEntry& entry : log) {
        entries.emplace_back(entry.key, sentence(entry), entry.number);
    }
    return entries;
}

std::vector<uint16_t> registers(Connection& connection, uint32_t first, uint32_t count, bool same) {
    return connection.look(Length::Short, [=](Session& session) -> Result<std::vector<uint16_t>> {
        const auto words = TRY(read_registers(session.pod(), {first, count, same}));
        return std::vector<uint16_t>(words.begin(), words.end());
    });
}

void put_registers(Connection& connection, uint32_t first, bool same,
                   const std::vector<uint16_t>& values) {
    connection.use(Length::Short, [&](Session& session) {
        return write_registers(session.pod(), first, same, values);
    });
}

// Waits for what the pod can wait for; the words are those of kConditions.
void poll(Connection& connection, const std::string& word) {
    const auto* const condition = std::ranges::find(kConditions, word, &Condition::word);
    if (condition == kConditions.end()) {
        raise({ErrorKind::Usage, 0, word, "is no condition",
               "choose idle, ready, write-one, write-many, read-one or read-many"});
    }
    connection.use(Length::Long, [&](Session& session) -> Status {
        TRY(session.pod().run("polling", &JSC_Interface::RegisterPoll, condition->type, 0U));
        return session.pod().flush();
    });
}

std::tuple<uint32_t, uint32_t> link_delay(Connection& connection) {
    const LinkDelay delay = connection.look(
        Length::Short, [](Session& session) { return read_link_delay(session.pod()); });
    return {delay.applied(), delay.maximum};
}

void put_link_delay(Connection& connection, uint32_t clocks) {
    connection.use(Length::Short, [=](Session& session) -> Status {
        TRY(apply_link_delay(session, clocks));
        return session.pod().flush();
    });
}

uint64_t hertz(Connection& connection) {
    return connection.look(
        Length::Short, [](Session& session) { return Result<uint64_t>(session.port().hertz()); });
}

void put_hertz(Connection& connection, std::optional<double> hertz) {
    connection.use(Length::Long,
                   [=](Session& session) { return session.port().set_max_frequency(hertz); });
}

void flush(Connection& connection) {
    connection.look(Length::Short, [](Session& session) { return session.port().flush(); });
}

// What is known of the pod and where it came from.
py::dict facts(Connection& connection) {
    py::dict all;
    connection.look(Length::Short, [&](Session& session) -> Status {
        const py::gil_scoped_acquire lock;
        all["serial"] = session.record().serial;
        all["revision"] = session.record().revision;
        all["board"] = session.board().name;
        all["library"] = session.library().path();
        all["first"] = session.pod().first();
        all["shared_with"] = session.lock().shared_with();
        return {};
    });
    return all;
}

// For calls of the table by other means: the table, and the handle.
std::tuple<uintptr_t, uintptr_t> addresses(Connection& connection) {
    return connection.look(Length::Short, [](Session& session) {
        using Both = std::tuple<uintptr_t, uintptr_t>;
        return Result<Both>(Both{reinterpret_cast<uintptr_t>(&session.library().table()),
                                 reinterpret_cast<uintptr_t>(session.pod().handle())});
    });
}

// Calls a function of Python's while nobody else may use the pod, and the proxy is under watch.
// Where the TAP stands afterwards is asked anew.
py::object call(Connection& connection, const py::function& function) {
    py::object answer;
    bool raised = false;
    connection.use(Length::Short, [&](Session& session) -> Status {
        TRY(session.port().flush());
        {
            const ProxyWatch::Call under_way(session.pod().watch());
            const py::gil_scoped_acquire lock;
            answer = py::reinterpret_steal<py::object>(PyObject_CallNoArgs(function.ptr()));
            raised = !answer;
        }
        session.port().line().forget_state();
        return {};
    });
    if (raised) {
        throw py::error_already_set();
    }
    return answer;
}

} // namespace

void add_control(py::class_<Connection>& connection) {
    connection.def("state", state);
    connection.def("move", move);
    connection.def("run", run);
    connection.def("reset", reset_pod);
    connection.def("registers", registers);
    connection.def("put_registers", put_registers);
    connection.def("poll", poll);
    connection.def("link_delay", link_delay);
    connection.def("put_link_delay", put_link_delay);
    connection.def("hertz", hertz);
    connection.def("put_hertz", put_hertz);
    connection.def("flush", flush);
    connection.def("facts", facts);
    connection.def("addresses", addresses);
    connection.def("call", call);
}

} // namespace talvor::python
