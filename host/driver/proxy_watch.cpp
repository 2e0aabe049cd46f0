#include "host/driver/proxy_watch.h"

#include "common/file_descriptor.h"
#include "common/interrupt.h"
#include "common/text.h"
#include "host/driver/device_table.h"
#include "shm_structs.h"

#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace talvor {
namespace {

constexpr std::chrono::milliseconds kLookEvery{100};
// A batch is a matter of microseconds to milliseconds; before this nobody needs to look.
constexpr std::chrono::milliseconds kGrace{300};
// While the driver is on its way out of a call whose proxy is gone.
constexpr std::chrono::milliseconds kAnswerEvery{1};
// It answers within microseconds then: who does not is not waiting for an answer.
constexpr std::chrono::seconds kLastResort{5};
// The driver's (jsc_export.h).
constexpr const char* kPatienceVariable = "TALVOR_PROXY_PATIENCE_MS";

int64_t now_ns() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

std::optional<ino_t> table_inode() {
    const FileDescriptor table(shm_open(SHM_DEVICE_TABLE_NAME, O_RDONLY | O_CLOEXEC, 0));
    struct stat status {};
    if (!table.is_open() || fstat(table.get(), &status) != 0) {
        return std::nullopt;
    }
    return status.st_ino;
}

Error lost_proxy(std::string reason) {
    return {ErrorKind::Pod, 0, "pod proxy", std::move(reason),
            "start the proxy again, then run 'talvor doctor'"};
}

Error silent_proxy(std::chrono::milliseconds patience) {
    return lost_proxy("it has not answered for " +
                      seconds_text(std::chrono::duration<double>(patience).count()));
}

// The environment is the process's, and no thread may write to it while another one's driver looks
// into it: it is only written to where that changes something, which with one patience for all
// pods is before the first of them.
void tell_the_driver(std::chrono::milliseconds patience) {
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    const char* present = std::getenv(kPatienceVariable);
    if (patience.count() <= 0) {
        if (present != nullptr) {
            unsetenv(kPatienceVariable);
        }
        return;
    }
    const std::string wanted = fmt::format("{}", patience.count());
    if (present == nullptr || wanted != present) {
        setenv(kPatienceVariable, wanted.c_str(), 1);
    }
}

} // namespace

ProxyWatch::ProxyWatch(const PodRecord& pod, std::chrono::milliseconds patience, LostHandler lost)
    : patience_(patience), channel_(ProxyStandIn::open(pod)), lost_(std::move(lost)),
      table_(table_inode()) {
    tell_the_driver(patience_);
    // The thread takes no signals: they are for the thread that drives the pod.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    thread_ = std::thread([this] { run(); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

ProxyWatch::~ProxyWatch() {
    {
        const std::lock_guard lock(mutex_);
        stop_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

void ProxyWatch::begin() noexcept {
    busy_since_ns_.store(now_ns(), std::memory_order_release);
}

void ProxyWatch::end() noexcept {
    last_call_ = std::chrono::nanoseconds(now_ns() - busy_since_ns_.load());
    busy_since_ns_.store(0, std::memory_order_release);
}

std::optional<Error> ProxyWatch::lost() const {
    const std::lock_guard lock(mutex_);
    return error_;
}

std::optional<Error> ProxyWatch::silent() const {
    // The driver counts whole milliseconds.
    constexpr std::chrono::milliseconds kCoarse{2};
    if (patience_.count() == 0 || last_call_ + kCoarse < patience_) {
        return std::nullopt;
    }
    return silent_proxy(patience_);
}

void ProxyWatch::run() {
    std::unique_lock lock(mutex_);
    while (!wake_.wait_for(lock, kLookEvery, [this] { return stop_; })) {
        const int64_t since = busy_since_ns_.load(std::memory_order_acquire);
        if (since == 0) {
            continue;
        }
        const std::chrono::nanoseconds busy(now_ns() - since);
        std::optional<Error> lost = look(busy);
        // The call may have come back while we looked: then nothing is lost.
        if (busy_since_ns_.load(std::memory_order_acquire) != since) {
            continue;
        }
        if (lost) {
            error_ = std::move(lost);
            stand_in(lock);
            return;
        }
        if (hangs(busy)) {
            lost_(silent_proxy(patience_));
            return;
        }
    }
}

void ProxyWatch::stand_in(std::unique_lock<std::mutex>& lock) {
    if (channel_) {
        channel_->fail_pending();
    }
    const int64_t begin = now_ns();
    const std::chrono::nanoseconds limit = channel_ ? kLastResort : std::chrono::nanoseconds(0);
    while (!wake_.wait_for(lock, kAnswerEvery, [this] { return stop_; })) {
        const int64_t since = busy_since_ns_.load(std::memory_order_acquire);
        // One that was under way when we began counts from then.
        if (since != 0 && now_ns() - std::max(since, begin) > limit.count()) {
            lost_(*error_);
            return;
        }
        if (channel_) {
            channel_->fail_new();
        }
    }
}

std::optional<Error> ProxyWatch::look(std::chrono::nanoseconds busy) const {
    if (busy < kGrace) {
        return std::nullopt;
    }
    if (time_is_over()) {
        return lost_proxy("it has not answered in time");
    }
    const ProxyState state = proxy_state();
    if (state.life == ProxyLife::Absent || state.life == ProxyLife::Dead) {
        return lost_proxy("it has ended while a batch was under way");
    }
    if (table_ && table_inode() != table_) {
        return lost_proxy("it was started anew while a batch was under way");
    }
    return std::nullopt;
}

// Whether the driver does not keep to the patience: it may wait twice as long, for the answer that
// is owed to somebody else and for its own. A driver that knows of no patience does not, nor does
// one that waits for a lock of the proxy's.
bool ProxyWatch::hangs(std::chrono::nanoseconds busy) const {
    return patience_.count() != 0 && busy > 2 * patience_ + kGrace;
}

} // namespace talvor
