// Watches the proxy while the driver waits for it. The driver bounds its wait where it is told a
// patience; a proxy that dies would still leave its host waiting for that long, or for ever.
// Somebody beside it has to notice.
#pragma once

#include "common/result.h"
#include "host/driver/device_table.h"
#include "host/driver/proxy_stand_in.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <sys/types.h>
#include <thread>

namespace talvor {

class ProxyWatch {
public:
    // The last resort: called once, from the watching thread, when the driver hangs in a call for
    // good. It must end the process.
    using LostHandler = std::function<void(const Error&)>;

    // `pod`: whose channel the driver is about to use. `patience`: the longest that the proxy may
    // take for one answer; 0 is for ever. The driver is told by its environment variable, which is
    // set here: make the watch before the handle. Watches of several threads have one patience.
    // Starts a thread.
    ProxyWatch(const PodRecord& pod, std::chrono::milliseconds patience, LostHandler lost);
    ~ProxyWatch();
    ProxyWatch(const ProxyWatch&) = delete;
    ProxyWatch& operator=(const ProxyWatch&) = delete;

    // Tells that a call of the driver is under way for as long as the object lives.
    class Call {
    public:
        explicit Call(ProxyWatch& watch) noexcept : watch_(watch) { watch_.begin(); }
        ~Call() { watch_.end(); }
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;

    private:
        ProxyWatch& watch_;
    };

    // Why an operation failed, if that was the proxy's end: from then on every one fails.
    [[nodiscard]] std::optional<Error> lost() const;
    // The same for a proxy that took longer for the last call than the patience: true of a call
    // that failed for want of an answer.
    [[nodiscard]] std::optional<Error> silent() const;

private:
    void begin() noexcept;
    void end() noexcept;
    void run();
    // Fails what the driver waits for until the object goes; `lock` is that of mutex_.
    void stand_in(std::unique_lock<std::mutex>& lock);
    [[nodiscard]] std::optional<Error> look(std::chrono::nanoseconds busy) const;
    [[nodiscard]] bool hangs(std::chrono::nanoseconds busy) const;

    std::chrono::milliseconds patience_;
    std::optional<ProxyStandIn> channel_;
    LostHandler lost_;
    std::optional<ino_t> table_;            // which device table stood there at the start
    std::atomic<int64_t> busy_since_ns_{0}; // of the steady clock; 0: no call is under way
    std::chrono::nanoseconds last_call_{0}; // how long it took
    mutable std::mutex mutex_;
    std::optional<Error> error_; // of a proxy that is gone
    std::condition_variable wake_;
    bool stop_ = false;
    std::thread thread_;
};

} // namespace talvor
