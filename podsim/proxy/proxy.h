// The pod proxy: publishes pods in the device table and serves each with a worker thread.
#pragma once

#include "common/result.h"
#include "podsim/proxy/backend.h"
#include "podsim/proxy/device_table.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

namespace talvor::podsim::proxy {

struct Options {
    // How long a worker looks for the next start after an exchange, at most, before it sleeps.
    std::chrono::microseconds spin{50};
};

// A pod to be served. `backend` must outlive the proxy.
struct Pod {
    PodRecord record;
    Backend* backend;
    bool plugged = true; // in the device table from the start
};

// Owns the pod channel of this machine from start() until it goes away. It removes every object
// that it made or took over, and no other.
class Proxy {
public:
    // Takes ownership, removes stale objects, makes the new ones, starts the workers, and publishes
    // the pods last, so that what a host finds is served. On failure nothing is left behind; when
    // another proxy lives, its objects are as they were. At most SHM_DEVICE_RECORDS pods, each with
    // a serial number of its own, else a failure.
    [[nodiscard]] static Result<std::unique_ptr<Proxy>> start(std::vector<Pod> pods,
                                                              Options options);

    Proxy(const Proxy&) = delete;
    Proxy& operator=(const Proxy&) = delete;
    // Stops as stop() does.
    ~Proxy();

    // A pod leaves the device table, or comes back. `index` is that of the pod in start().
    void unplug(size_t index);
    void plug(size_t index);

    // Stops the workers, also in the middle of a batch, which then fails, and removes all objects.
    // False when a worker did not end within `patience`: its host is answered all the same, but its
    // thread and what it uses live on, and only the end of the process ends them.
    bool stop(std::chrono::milliseconds patience = std::chrono::seconds(2));

private:
    struct State;
    explicit Proxy(std::unique_ptr<State> state);
    [[nodiscard]] Status begin(const Options& options);
    std::unique_ptr<State> state_;
};

} // namespace talvor::podsim::proxy
