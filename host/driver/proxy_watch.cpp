#include "host/driver/proxy_watch.h"

#include "common/file_descriptor.h"
#include "host/driver/device_table.h"
#include "shm_structs.h"

#include <fmt/format.h>

#include <csignal>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace talvor {
namespace {

constexpr std::chrono::milliseconds kLookEvery{100};
// A batch is a matter of microseconds to milliseconds; before this nobody needs to look.
constexpr std::chrono::milliseconds kGrace{300};

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

} // namespace

ProxyWatch::ProxyWatch(std::chrono::milliseconds patience, LostHandler lost)
    : patience_(patience), lost_(std::move(lost)), table_(table_inode()) {
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

void ProxyWatch::run() {
    std::unique_lock lock(mutex_);
    while (!wake_.wait_for(lock, kLookEvery, [this] { return stop_; })) {
        const int64_t since = busy_since_ns_.load(std::memory_order_acquire);
        if (since == 0) {
            continue;
        }
        const auto lost = look(std::chrono::nanoseconds(now_ns() - since));
        // The call may have come back while we looked: then nothing is lost.
        if (lost && busy_since_ns_.load(std::memory_order_acquire) == since) {
            lost_(*lost);
            return;
        }
    }
}

std::optional<Error> ProxyWatch::look(std::chrono::nanoseconds busy) const {
    if (busy < kGrace) {
        return std::nullopt;
    }
    const ProxyState state = proxy_state();
    if (state.life == ProxyLife::Absent || state.life == ProxyLife::Dead) {
        return lost_proxy("it has ended while a batch was under way");
    }
    if (table_ && table_inode() != table_) {
        return lost_proxy("it was started anew while a batch was under way");
    }
    if (patience_.count() != 0 && busy > patience_) {
        return lost_proxy(fmt::format("it has not answered for {} seconds",
                                      std::chrono::duration<double>(patience_).count()));
    }
    return std::nullopt;
}

} // namespace talvor
