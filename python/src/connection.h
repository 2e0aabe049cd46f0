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

// What must be let go of before anybody else uses the pod, such as pins that are driven.
class Holder {
public:
    virtual ~Holder() = default;
    // Afterwards it uses the session no more, also when this is an error.
    [[nodiscard]] virtual Status let_go() = 0;
    // What others are told meanwhile.
    [[nodiscard]] virtual Error refusal() const = 0;
};

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
    // Refused while somebody else holds the pod.
    template <typename Work>
    auto use(Length length, Work&& work) {
        return use_as(nullptr, length, std::forward<Work>(work));
    }
    // The same for who holds the pod.
    template <typename Work>
    auto use_as(const Holder* who, Length length, Work&& work) {
        return use_held([this, who] { return holder_ && holder_.get() != who; }, length,
                        std::forward<Work>(work));
    }
    // The same for what moves nothing, whoever holds the pod.
    template <typename Work>
    auto look(Length length, Work&& work) {
        return use_held([] { return false; }, length, std::forward<Work>(work));
    }

    // From within such a call: it is held from now on, or no more.
    void hold(std::shared_ptr<Holder> holder) noexcept { holder_ = std::move(holder); }
    // From within such a call: its number, one more with each of them.
    [[nodiscard]] uint64_t call_number() const noexcept { return calls_; }

    // What the Shift clocks so far were for, for drawings.
    std::vector<waveform::ShiftPass> passes;

private:
    template <typename Held, typename Work>
    auto use_held(Held held, Length length, Work&& work) {
        enter();
        using Answer = std::invoke_result_t<Work, Session&>;
        Answer answer = within([&]() -> Answer {
            const Turn turn(*this, length);
            if (!session_) {
                return closed_error();
            }
            if (held()) {
                return Failure(holder_->refusal());
            }
            ++calls_;
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
    std::shared_ptr<Holder> holder_;
    uint64_t calls_ = 0;
    bool asked_ = false; // Ctrl-C has come during the last call
    unsigned forks_;     // of this process's ancestors, when it was opened
    ino_t namespace_;    // that it was opened in
};

// Lets Python's handler of Ctrl-C act; throws what it raises.
void act_on_interrupt();
// The mount namespace of this thread, looked up once; `anew`: it may have changed.
[[nodiscard]] ino_t mount_namespace(bool anew);

} // namespace talvor::python
