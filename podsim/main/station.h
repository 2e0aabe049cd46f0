// All pods of one process, served, with the commands that act on them.
#pragma once

#include "podsim/base/log.h"
#include "podsim/control/script.h"
#include "podsim/description/description.h"
#include "podsim/pod/simulated_pod.h"
#include "podsim/proxy/proxy.h"
#include "podsim/trace/vcd_writer.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace podsim {

struct StationOptions {
    std::chrono::microseconds spin = proxy::Options{}.spin;
    bool strict = false;      // every pod is strict, whatever the description says
    bool log_batches = false; // each batch goes to the log
    std::string vcd;          // file of the trace; empty: none
    trace::Limits vcd_limits;
};

class Station {
public:
    // Builds the pods, opens their traces, reaches external targets, brings about the faults of the
    // description and of the script's start, and serves the pods. `log` must outlive the station.
    static Result<std::unique_ptr<Station>> open(const description::Description& description,
                                                 const std::vector<control::Step>& script,
                                                 const StationOptions& options, Log& log);

    Station(const Station&) = delete;
    Station& operator=(const Station&) = delete;
    ~Station() = default;

    // Carries out a line of the control socket: "ok", "error: REASON", or the status as JSON.
    std::string command(std::string_view line);

    // Stops serving, as Proxy::stop does. False when only the end of the process ends a pod.
    bool stop();

    // "2 pods: 1 (revision 2.0), 42 (revision 3.2)".
    std::string summary() const;

private:
    struct Place {
        std::unique_ptr<trace::VcdWriter> trace; // outlives the pod
        std::unique_ptr<pod::SimulatedPod> pod;
        bool plugged = true; // in the device table
    };

    explicit Station(Log& log) : log_(log) {}
    Status build(const description::Pod& pod, const StationOptions& options, std::string vcd);
    Status prepare(const std::vector<control::Step>& script);
    Status serve(std::chrono::microseconds spin);
    // The place of the pod that a command means.
    Result<std::size_t> place_of(const control::Command& command) const;
    Status apply(std::size_t place, const control::Command& command);
    void set_plugged(std::size_t place, bool plugged);
    std::string status();

    Log& log_;
    std::vector<Place> places_;
    std::mutex mutex_; // guards proxy_ against its own start and stop
    std::unique_ptr<proxy::Proxy> proxy_;
};

} // namespace podsim
