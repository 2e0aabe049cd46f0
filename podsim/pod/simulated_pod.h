// A whole pod behind the channel: controller and target, with the faults that a host can meet.
#pragma once

#include "common/result.h"
#include "podsim/base/log.h"
#include "podsim/base/patient_mutex.h"
#include "podsim/model/controller.h"
#include "podsim/model/remote_target.h"
#include "podsim/proxy/backend.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace talvor::podsim::pod {

struct Settings {
    uint32_t serial{};
    ControllerSettings controller;
    bool log_batches = false; // each batch goes to the log, decoded
};

// Faults of the pod as a whole; those of its controller are podsim::Faults.
struct Troubles {
    uint32_t fail = 0;   // batches still to fail
    uint32_t refuse = 0; // support-register writes still to refuse
    uint32_t latency_us = 0;
    bool plugged = true;

    bool operator==(const Troubles&) const = default;
};

// What a pod is doing, for status reports.
struct Report {
    uint32_t serial{};
    uint16_t revision{};
    uint16_t kind{};
    Faults faults;
    Troubles troubles;
    bool attached{};
    uint64_t batches{};
    uint64_t failed_batches{};
    uint64_t warnings{};
    TapState tap_state{};
    uint64_t time_ns{};
    uint32_t tck_hz{};
    bool busy{};
    bool condition_latch{};
    bool target_reset{};
};

// Serves the channel's commands from one thread, while another one changes faults and asks for
// reports: those calls wait for a running batch, up to patience(), and fail after that.
class SimulatedPod : public proxy::Backend {
public:
    // `log` must outlive the pod.
    SimulatedPod(const Settings& settings, std::unique_ptr<Target> target, Log& log);

    // The channel's side.
    void attach() override;
    void detach() override;
    [[nodiscard]] Status write_support(uint16_t value) override;
    batch::Outcome execute(const batch::Batch& batch, std::span<uint16_t> in) override;
    void request_stop() override;
    void note(std::string_view text) override;

    // The operator's side. A change gets the present faults and returns nothing; it is made between
    // two batches, or not at all when the call fails.
    [[nodiscard]] Status change(const std::function<void(Faults&, Troubles&)>& change);
    [[nodiscard]] Result<Report> report();
    // Has `action` done between two batches, or not at all; what it says.
    [[nodiscard]] Status between_batches(const std::function<Status()>& action);
    static constexpr std::chrono::seconds patience() { return std::chrono::seconds(1); }

    // Has `action` called on the worker's thread just before batch `number` (from 1) is executed.
    // Only before the pod is served.
    void schedule(uint64_t number, std::function<void()> action);
    // Shows every edge to `observer`, and calls `flush` after each batch. Only before the pod is
    // served. `observer` must outlive the pod.
    void observe(EdgeObserver& observer, std::function<void()> flush);
    // Called by request_stop, to free a worker that waits for the target. Only before the pod is
    // served.
    void on_stop(std::function<void()> action) { on_stop_ = std::move(action); }

    uint32_t serial() const { return settings_.serial; }
    uint16_t revision() const { return settings_.controller.revision; }

private:
    struct Scheduled {
        uint64_t number;
        std::function<void()> action;
    };
    // What an operator hears while a batch runs.
    Failure running() const;
    void run_scheduled();
    void wait_latency();
    batch::Outcome execute_locked(const batch::Batch& batch, std::span<uint16_t> in);
    batch::Outcome execute_remote(const batch::Batch& batch, std::span<uint16_t> in);
    void log_batch(const batch::Batch& batch, const batch::Outcome& outcome,
                   std::span<const uint16_t> in);
    void log_failure(const batch::Batch& batch, const batch::BatchError& error);
    void say(std::string_view text);

    Settings settings_;
    std::unique_ptr<Target> target_;
    RemoteTarget* remote_; // the target, where it is one; else null
    Log& log_;
    Controller controller_;

    PatientMutex mutex_; // held while a command runs or an operator's call is served
    Troubles troubles_;
    bool attached_ = false;
    std::atomic<uint64_t> batches_{0};
    uint64_t failed_batches_ = 0;
    std::atomic<uint64_t> warnings_{0};
    std::vector<Scheduled> scheduled_; // by number, the last one first
    std::function<void()> flush_trace_;
    std::function<void()> on_stop_;

    std::atomic<bool> stop_{false};
    std::mutex sleep_mutex_;
    std::condition_variable woken_;
    std::atomic<uint32_t> latency_us_{0};
};

} // namespace talvor::podsim::pod
