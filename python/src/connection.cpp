#include "python/src/connection.h"

#include "common/interrupt.h"
#include "host/session/shift_passes.h"

#include <atomic>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

namespace talvor::python {
namespace {

std::atomic<unsigned> g_forks{0};
// The connection whose turn this thread has.
thread_local const void* t_turn = nullptr;

void watch_forks() {
    [[maybe_unused]] static const int watched =
        pthread_atfork(nullptr, nullptr, [] { g_forks.fetch_add(1); });
}

} // namespace

ino_t mount_namespace(bool anew) {
    thread_local ino_t number = 0;
    struct stat facts {};
    if ((anew || number == 0) && stat("/proc/thread-self/ns/mnt", &facts) == 0) {
        number = facts.st_ino;
    }
    return number;
}

void act_on_interrupt() {
    PyErr_SetInterrupt();
    if (PyErr_CheckSignals() != 0) {
        throw py::error_already_set();
    }
}

Connection::Turn::Turn(Connection& connection, Length length)
    : connection_(connection), lock_(connection.mutex_) {
    t_turn = &connection;
    // Python acts on signals in its main thread alone.
    if (length == Length::Long && gettid() == getpid()) {
        scope_.emplace();
    }
}

Connection::Turn::~Turn() {
    connection_.asked_ = scope_ && interrupt_signal() == SIGINT;
    t_turn = nullptr;
}

Connection::Connection(SessionOptions options) : namespace_(mount_namespace(true)) {
    watch_forks();
    forks_ = g_forks;
    bool asked = false;
    Result<std::unique_ptr<Session>> opened = within([&] {
        std::optional<InterruptScope> scope;
        if (gettid() == getpid()) {
            scope.emplace();
        }
        Result<std::unique_ptr<Session>> made = Session::open(options);
        asked = interrupt_signal() == SIGINT;
        return made;
    });
    asked_ = asked;
    leave();
    session_ = value_of(std::move(opened));
    session_->port().on_shift([this](const ShiftMark& mark) { add_pass(passes, mark); });
}

Connection::~Connection() {
    try {
        close();
    } catch (const py::error_already_set&) {
        // Nobody can be told any more.
    }
}

void Connection::close() {
    if (forks_ != g_forks) {
        // The pod is the parent's, and so is what holds it.
        (void)session_.release();
        (void)new std::shared_ptr<Holder>(std::move(holder_));
        return;
    }
    if (t_turn == this) {
        enter(); // which says what is wrong
    }
    const Status let_go = within([this] {
        const std::scoped_lock turn(mutex_);
        const std::shared_ptr<Holder> holder = std::move(holder_);
        Status done = holder ? holder->let_go() : Status();
        session_.reset();
        return done;
    });
    (void)value_of(let_go);
}

void Connection::enter() const {
    if (forks_ != g_forks) {
        raise({ErrorKind::Refused, 0, "pod",
               "it was opened by the process that this one is a copy of",
               "open it in the process that uses it"});
    }
    if (!session_) {
        raise_closed();
    }
    if (t_turn == this) {
        raise({ErrorKind::Refused, 0, "pod", "a call of this thread is still using it",
               "do not use the pod in a progress callback"});
    }
    if (mount_namespace(false) != namespace_) {
        raise({ErrorKind::Refused, 0, "pod",
               "it was opened before this thread, or from where this thread cannot see its proxy",
               "start threads behind talvor.simulate(), or use the pod in the thread that opened "
               "it"});
    }
}

void Connection::leave() {
    if (std::exchange(asked_, false)) {
        act_on_interrupt();
    }
}

Failure Connection::closed_error() {
    return refused_error("pod", "it has been closed");
}

} // namespace talvor::python
