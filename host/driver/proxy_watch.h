// Watches the proxy while the driver waits for it. The driver's wait has no time-out, so a proxy
// that dies leaves its host waiting for ever; somebody beside it has to say so.
#pragma once

#include "common/result.h"

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
    // Called once, from the watching thread, while the driver hangs in a call: it must end the
    // process.
    using LostHandler = std::function<void(const Error&)>;

    // `patience`: the longest that one call of the driver may take; 0 is for ever. Starts a thread.
    ProxyWatch(std::chrono::milliseconds patience, LostHandler lost);
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

private:
    void begin() noexcept;
    void end() noexcept { busy_since_ns_.store(0, std::memory_order_release); }
    void run();
    [[nodiscard]] std::optional<Error> look(std::chrono::nanoseconds busy) const;

    std::chrono::milliseconds patience_;
    LostHandler lost_;
    std::optional<ino_t> table_;            // which device table stood there at the start
    std::atomic<int64_t> busy_since_ns_{0}; // of the steady clock; 0: no call is under way
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stop_ = false;
    std::thread thread_;
};

} // namespace talvor
