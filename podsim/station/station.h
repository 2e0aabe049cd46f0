// All pods of one process, served, with the commands that act on them.
#pragma once

#include "podsim/base/log.h"
#include "podsim/control/script.h"
#include "podsim/description/description.h"
#include "podsim/proxy/proxy.h"
#include "podsim/station/options.h"
#include "podsim/station/place.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::podsim {

class Station {
public:
    // Builds the pods, opens their traces, reaches external targets, brings about the faults of the
    // description and of the script's start, and serves the pods. `log` must outlive the station.
    [[nodiscard]] static Result<std::unique_ptr<Station>>
    open(const description::Description& description, const std::vector<control::Step>& script,
         const StationOptions& options, Log& log);

    Station(const Station&) = delete;
    Station& operator=(const Station&) = delete;
    ~Station() = default;

    // Carries out a line of the control socket: "ok", "error: REASON", or the status as JSON.
    std::string command(std::string_view line);

    // Stops serving, as Proxy::stop does. False when only the end of the process ends a pod.
    bool stop();

    // Puts the rest into the traces and closes them, once nothing serves any more: after a stop()
    // that was true. An error when one of them does not hold all that it should.
    [[nodiscard]] Status finish_traces();

    // "2 pods: 1 (revision 2.0), 42 (revision 3.2)".
    std::string summary() const;

private:
    explicit Station(Log& log) : log_(log) {}
    [[nodiscard]] Status build(const description::Pod& pod, const StationOptions& options,
                               const std::string& vcd);
    [[nodiscard]] Status prepare(const std::vector<control::Step>& script);
    [[nodiscard]] Status prepare_step(const control::Step& step);
    [[nodiscard]] Status serve(std::chrono::microseconds spin);
    // The place of the pod that a command means.
    [[nodiscard]] Result<size_t> place_of(const control::Command& command) const;
    [[nodiscard]] Status apply(size_t place, const control::Command& command);
    // The same for one that is about the board, with its answer.
    [[nodiscard]] Result<std::string> operate_board(size_t place, const control::Command& command);
    void set_plugged(size_t place, bool plugged);
    // The state of all pods as JSON.
    [[nodiscard]] Result<std::string> status();
    // What a line is answered with; an error where it cannot be carried out.
    [[nodiscard]] Result<std::string> answer(std::string_view line);

    Log& log_;
    std::vector<Place> places_;
    std::mutex mutex_; // guards proxy_ against its own start and stop
    std::unique_ptr<proxy::Proxy> proxy_;
};

} // namespace talvor::podsim
