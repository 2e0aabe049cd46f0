#include "podsim/main/station.h"

#include "podsim/external/remote_bitbang.h"
#include "podsim/model/chain.h"

#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace podsim {
namespace {

constexpr unsigned generation_shift = 8;

std::string revision_text(std::uint16_t revision) {
    return fmt::format("{:x}.{:x}", revision >> generation_shift,
                       revision & POD_REVISION_MINOR_MASK);
}

std::string_view kind_name(std::uint16_t kind) {
    switch (kind) {
    case eJTI_CONTROL_ID_EXL:
        return "exl";
    case eJTI_CONTROL_ID_DPM:
        return "dpm";
    default:
        return "tbc";
    }
}

nlohmann::ordered_json json_of(const pod::Report& report) {
    return {
        {"serial", report.serial},
        {"revision", revision_text(report.revision)},
        {"controller", kind_name(report.kind)},
        {"plugged", report.troubles.plugged},
        {"attached", report.attached},
        {"power", report.faults.power},
        {"clock", report.faults.clock},
        {"emu0", report.faults.emu.emu0},
        {"emu1", report.faults.emu.emu1},
        {"loopback", control::name_of(report.faults.loopback)},
        {"fail", report.troubles.fail},
        {"refuse", report.troubles.refuse},
        {"latency_us", report.troubles.latency_us},
        {"batches", report.batches},
        {"failed_batches", report.failed_batches},
        {"warnings", report.warnings},
        {"tap_state", name_of(report.tap_state)},
        {"virtual_time_ns", report.time_ns},
        {"tck_hz", report.tck_hz},
        {"busy", report.busy},
        {"condition_latch", report.condition_latch},
        {"target_reset", report.target_reset},
    };
}

// What a command changes in a pod; plugging has a second half in the device table.
void change_by(const control::Command& command, Faults& faults, pod::Troubles& troubles) {
    switch (command.verb) {
    case control::Verb::Power:
        faults.power = command.on;
        break;
    case control::Verb::Clock:
        faults.clock = command.on;
        break;
    case control::Verb::Emu0:
        faults.emu.emu0 = command.on;
        break;
    case control::Verb::Emu1:
        faults.emu.emu1 = command.on;
        break;
    case control::Verb::Fail:
        troubles.fail = command.number;
        break;
    case control::Verb::Refuse:
        troubles.refuse = command.number;
        break;
    case control::Verb::Latency:
        troubles.latency_us = command.number;
        break;
    case control::Verb::Loopback:
        faults.loopback = command.fault;
        break;
    case control::Verb::Plug:
        troubles.plugged = command.on;
        break;
    case control::Verb::Status:
        break;
    }
}

// With several pods each has a trace of its own: "trace.vcd" becomes "trace-42.vcd".
std::string trace_name(const std::string& vcd, std::uint32_t serial, bool several) {
    if (!several || vcd.empty()) {
        return vcd;
    }
    const std::size_t slash = vcd.rfind('/');
    const std::size_t dot = vcd.rfind('.');
    const bool extension = dot != std::string::npos && (slash == std::string::npos || dot > slash);
    const std::size_t end = extension ? dot : vcd.size();
    return fmt::format("{}-{}{}", vcd.substr(0, end), serial, vcd.substr(end));
}

} // namespace

Result<std::unique_ptr<Station>> Station::open(const description::Description& description,
                                               const std::vector<control::Step>& script,
                                               const StationOptions& options, Log& log) {
    std::unique_ptr<Station> station(new Station(log));
    const bool several = description.pods.size() > 1;
    for (const description::Pod& pod : description.pods) {
        const std::string vcd = trace_name(options.vcd, pod.serial, several);
        if (Status built = station->build(pod, options, vcd); built.failed()) {
            return built;
        }
    }
    if (Status prepared = station->prepare(script); prepared.failed()) {
        return prepared;
    }
    if (Status served = station->serve(options.spin); served.failed()) {
        return served;
    }
    return station;
}

Status Station::build(const description::Pod& pod, const StationOptions& options, std::string vcd) {
    std::unique_ptr<Target> target;
    std::function<void()> free_target;
    if (const auto* external = std::get_if<description::External>(&pod.target)) {
        auto connected = external::RemoteBitbang::connect(
            {external->address, external->send_resets, external->patience});
        if (connected.failed()) {
            return Status::failure(fmt::format("pod {}: {}", pod.serial, connected.reason()));
        }
        free_target = [client = connected.value().get()] { client->request_stop(); };
        target = std::move(connected.value());
    } else {
        target = std::make_unique<Chain>(std::get<ChainDescription>(pod.target));
    }
    pod::Settings settings{pod.serial, pod.controller, options.log_batches};
    settings.controller.strict = settings.controller.strict || options.strict;
    Place place;
    place.pod = std::make_unique<pod::SimulatedPod>(settings, std::move(target), log_);
    place.pod->on_stop(std::move(free_target));
    if (!vcd.empty()) {
        auto trace = trace::VcdWriter::open(vcd, fmt::format("pod_{:06}", pod.serial),
                                            options.vcd_limits, log_);
        if (trace.failed()) {
            return Status::failure(trace.reason());
        }
        place.trace = std::move(trace.value());
        place.pod->observe(*place.trace, [writer = place.trace.get()] { writer->flush(); });
    }
    places_.push_back(std::move(place));
    for (const control::Command& fault : pod.faults) {
        if (Status applied = apply(places_.size() - 1, fault); applied.failed()) {
            return applied;
        }
    }
    return {};
}

Status Station::prepare(const std::vector<control::Step>& script) {
    for (const control::Step& step : script) {
        const auto place = place_of(step.command);
        if (place.failed()) {
            return Status::failure(fmt::format("{}: {}", step.place, place.reason()));
        }
        if (step.batch > 0) {
            places_[place.value()].pod->schedule(
                step.batch, [this, at = place.value(), command = step.command] {
                    if (const Status applied = apply(at, command); applied.failed()) {
                        log_.write(applied.reason());
                    }
                });
        } else if (Status applied = apply(place.value(), step.command); applied.failed()) {
            return Status::failure(fmt::format("{}: {}", step.place, applied.reason()));
        }
    }
    return {};
}

Status Station::serve(std::chrono::microseconds spin) {
    std::vector<proxy::Pod> pods;
    for (const Place& place : places_) {
        const auto number = static_cast<std::uint32_t>(pods.size() + 1);
        pods.push_back({{.serial = place.pod->serial(),
                         .revision = place.pod->revision(),
                         .bus = 1,
                         .device = number},
                        place.pod.get(),
                        place.plugged});
    }
    const std::scoped_lock lock(mutex_);
    auto started = proxy::Proxy::start(std::move(pods), {.spin = spin});
    if (started.failed()) {
        return Status::failure(started.reason());
    }
    proxy_ = std::move(started.value());
    return {};
}

Result<std::size_t> Station::place_of(const control::Command& command) const {
    if (!command.serial) {
        if (places_.size() == 1) {
            return std::size_t{0};
        }
        return Status::failure(fmt::format(
            "there are {} pods; say which one is meant with 'pod SERIAL' first", places_.size()));
    }
    const auto found = std::find_if(places_.begin(), places_.end(), [&](const Place& place) {
        return place.pod->serial() == *command.serial;
    });
    if (found == places_.end()) {
        return Status::failure(fmt::format("there is no pod {}", *command.serial));
    }
    return static_cast<std::size_t>(found - places_.begin());
}

Status Station::apply(std::size_t place, const control::Command& command) {
    Status changed = places_[place].pod->change(
        [&](Faults& faults, pod::Troubles& troubles) { change_by(command, faults, troubles); });
    if (!changed.failed() && command.verb == control::Verb::Plug) {
        set_plugged(place, command.on);
    }
    return changed;
}

void Station::set_plugged(std::size_t place, bool plugged) {
    const std::scoped_lock lock(mutex_);
    places_[place].plugged = plugged;
    if (proxy_) {
        plugged ? proxy_->plug(place) : proxy_->unplug(place);
    }
}

std::string Station::status() {
    nlohmann::ordered_json pods = nlohmann::ordered_json::array();
    for (const Place& place : places_) {
        const auto report = place.pod->report();
        if (report.failed()) {
            return "error: " + report.reason();
        }
        pods.push_back(json_of(report.value()));
    }
    return nlohmann::ordered_json{{"pods", pods}}.dump();
}

std::string Station::command(std::string_view line) {
    const auto command = control::parse(line);
    if (command.failed()) {
        return "error: " + command.reason();
    }
    if (command.value().verb == control::Verb::Status) {
        return status();
    }
    const auto place = place_of(command.value());
    if (place.failed()) {
        return "error: " + place.reason();
    }
    const Status applied = apply(place.value(), command.value());
    return applied.failed() ? "error: " + applied.reason() : "ok";
}

bool Station::stop() {
    std::unique_ptr<proxy::Proxy> proxy;
    {
        const std::scoped_lock lock(mutex_);
        proxy = std::move(proxy_);
    }
    return !proxy || proxy->stop();
}

std::string Station::summary() const {
    std::string text = fmt::format("{} pod{}: ", places_.size(), places_.size() == 1 ? "" : "s");
    for (const Place& place : places_) {
        text += fmt::format("{}{} (revision {})", &place == places_.data() ? "" : ", ",
                            place.pod->serial(), revision_text(place.pod->revision()));
    }
    return text;
}

} // namespace podsim
