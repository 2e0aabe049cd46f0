// A pod that Python has open: one caller at a time, without the interpreter's lock while it works.
#pragma once

#include "common/interrupt_scope.h"
#include "common/result.h"
#include "host/session/session.h"
#include "host/waveform/waveform.h"
#include "python/src/raise.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <pybind11/pybind11.h>
#include <sys/types.h>
#include <type_traits>
#include <utility>
#include <vector>

namespace talvor::python {

namespace py = pybind11;

// Whether Ctrl-C shall end a call early: what takes no time worth mentioning is not worth the calls
// to the system that the watch costs.
enum class Length : uint8_t { Short, Long };

class Connection {
public:
    // Opens the pod; throws what went wrong.
    explicit Connection(SessionOptions options);
    // What is still queued reaches the target before the pod is disconnected.
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Disconnects; everything after it raises. Waits for the call of another thread.
    void close();
    [[nodiscard]] bool closed() const noexcept { return session_ == nullptr; }

    // What work(Session&), which answers a Result<T> or a Status, has given: T, or nothing; throws
    // its error, or what Ctrl-C raises. It runs without the interpreter's lock.
    template <typename Work>
    auto use(Length length, Work&& work) {
        enter();
        using Answer = std::invoke_result_t<Work, Session&>;
        Answer answer = within([&]() -> Answer {
            const Turn turn(*this, length);
            if (!session_) {
                return closed_error();
            }
            return work(*session_);
        });
        leave();
        if (!session_ && !answer) {
            raise_closed();
        }
        if constexpr (std::is_same_v<Answer, Status>) {
            (void)value_of(std::move(answer));
        } else {
            return value_of(std::move(answer));
        }
    }

    // What the Shift clocks so far were for, for drawings.
    std::vector<waveform::ShiftPass> passes;

private:
    // The right to use the session, for one call.
    class Turn {
    public:
        Turn(Connection& connection, Length length);
        ~Turn();
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        Connection& connection_;
        std::unique_lock<std::mutex> lock_;
        std::optional<InterruptScope> scope_;
    };

    template <typename Work>
    static auto within(Work&& work) {
        const py::gil_scoped_release free;
        return work();
    }
    // Throws where this thread, or this process, may not use the pod, or uses it already.
    void enter() const;
    // Lets Python act on a Ctrl-C that came meanwhile.
    void leave();
    [[nodiscard]] static Failure closed_error();

    std::unique_ptr<Session> session_;
    std::mutex mutex_;
    bool asked_ = false; // Ctrl-C has come during the last call
    unsigned forks_;     // of this process's ancestors, when it was opened
    ino_t namespace_;    // that it was opened in
};

// Lets Python's handler of Ctrl-C act; throws what it raises.
void act_on_interrupt();
// The mount namespace of this thread, looked up once; `anew`: it may have changed.
[[nodiscard]] ino_t mount_namespace(bool anew);

} // namespace talvor::python
