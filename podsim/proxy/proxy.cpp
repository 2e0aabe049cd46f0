#include "podsim/proxy/proxy.h"

#include "common/start_thread.h"
#include "common/time_slice.h"
#include "podsim/proxy/ownership.h"
#include "podsim/proxy/pod_channel.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

namespace talvor::podsim::proxy {
namespace {

// One pod's thread with its channel. The thread keeps its worker alive: one that does not come back
// has what it uses for as long as it runs.
class Worker : public std::enable_shared_from_this<Worker> {
public:
    Worker(PodChannel channel, Backend& backend)
        : channel_(std::move(channel)), backend_(backend) {}

    [[nodiscard]] Status begin(std::chrono::microseconds spin) {
        thread_ = TRY(start_thread("a pod's thread",
                                   [self = shared_from_this(), spin] { self->serve(spin); }));
        return {};
    }

    void request_stop() {
        backend_.request_stop();
        channel_.stop();
    }

    // Waits for the end of the thread, if there is one; false when it did not come in time.
    bool ended_by(std::chrono::steady_clock::time_point deadline) {
        if (!thread_.joinable()) {
            return true;
        }
        std::unique_lock lock(mutex_);
        if (!changed_.wait_until(lock, deadline, [this] { return ended_; })) {
            return false;
        }
        lock.unlock();
        thread_.join();
        return true;
    }

    // The host's exchange is failed; the thread runs on by itself.
    void abandon() {
        channel_.abandon();
        thread_.detach();
    }

private:
    void serve(std::chrono::microseconds limit) {
        shorten_time_slice(); // where the kernel takes it
        Spin spin(limit);
        while (channel_.await_start(spin, backend_)) {
            channel_.serve(backend_);
        }
        channel_.refuse_last();
        const std::scoped_lock lock(mutex_);
        ended_ = true;
        changed_.notify_all();
    }

    PodChannel channel_;
    Backend& backend_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool ended_ = false;
    std::thread thread_;
};

Status check_pods(const std::vector<Pod>& pods) {
    if (pods.size() > SHM_DEVICE_RECORDS) {
        return failure(std::to_string(pods.size()) + " pods: the device table has room for " +
                       std::to_string(SHM_DEVICE_RECORDS));
    }
    for (auto pod = pods.begin(); pod != pods.end(); ++pod) {
        const uint32_t serial = pod->record.serial;
        if (std::any_of(pods.begin(), pod,
                        [=](const Pod& other) { return other.record.serial == serial; })) {
            return failure("two pods with the serial number " + std::to_string(serial));
        }
    }
    return {};
}

} // namespace

// Destroyed from the end: the workers with their blocks, the table and mutex, the lock last.
struct Proxy::State {
    std::vector<Pod> pods;
    Ownership ownership;
    DeviceTable table;
    std::vector<std::shared_ptr<Worker>> workers;
};

Proxy::Proxy(std::unique_ptr<State> state) : state_(std::move(state)) {}

Result<std::unique_ptr<Proxy>> Proxy::start(std::vector<Pod> pods, Options options) {
    TRY(check_pods(pods));
    Ownership ownership = TRY(Ownership::take());
    TRY(remove_stale_objects());
    std::vector<std::shared_ptr<Worker>> workers;
    for (const Pod& pod : pods) {
        workers.push_back(std::make_shared<Worker>(
            TRY(PodChannel::create(pod.record.serial, pod.record.revision)), *pod.backend));
    }
    DeviceTable table = TRY(DeviceTable::create());
    // What fails from here on is undone by stop().
    std::unique_ptr<Proxy> proxy(new Proxy(std::unique_ptr<State>(
        new State{std::move(pods), std::move(ownership), std::move(table), std::move(workers)})));
    TRY(proxy->begin(options));
    return proxy;
}

Status Proxy::begin(const Options& options) {
    for (const auto& worker : state_->workers) {
        TRY(worker->begin(options.spin));
    }
    for (size_t i = 0; i < state_->pods.size(); ++i) {
        if (state_->pods[i].plugged) {
            plug(i);
        }
    }
    return {};
}

Proxy::~Proxy() {
    stop();
}

void Proxy::unplug(size_t index) {
    state_->table.withdraw(index);
}

void Proxy::plug(size_t index) {
    state_->table.publish(index, state_->pods[index].record);
}

bool Proxy::stop(std::chrono::milliseconds patience) {
    if (!state_) {
        return true;
    }
    for (size_t i = 0; i < state_->pods.size(); ++i) {
        unplug(i);
    }
    for (const auto& worker : state_->workers) {
        worker->request_stop();
    }
    const auto deadline = std::chrono::steady_clock::now() + patience;
    bool all = true;
    for (const auto& worker : state_->workers) {
        if (!worker->ended_by(deadline)) {
            worker->abandon();
            all = false;
        }
    }
    state_.reset();
    return all;
}

} // namespace talvor::podsim::proxy
