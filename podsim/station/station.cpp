#include "podsim/station/station.h"

#include "common/text.h"
#include "podsim/station/board_operator.h"
#include "podsim/station/report.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvor::podsim {
namespace {

// With several pods each has a trace of its own: "trace.vcd" becomes "trace-42.vcd".
std::string trace_name(const std::string& vcd, uint32_t serial, bool several) {
    if (!several || vcd.empty()) {
        return vcd;
    }
    const size_t slash = vcd.rfind('/');
    const size_t dot = vcd.rfind('.');
    const bool extension = dot != std::string::npos && (slash == std::string::npos || dot > slash);
    const size_t end = extension ? dot : vcd.size();
    return fmt::format("{}-{}{}", vcd.substr(0, end), serial, vcd.substr(end));
}

} // namespace

Result<std::unique_ptr<Station>> Station::open(const description::Description& description,
                                               const std::vector<control::Step>& script,
                                               const StationOptions& options, Log& log) {
    std::unique_ptr<Station> station(new Station(log));
    const bool several = description.pods.size() > 1;
    for (const description::Pod& pod : description.pods) {
        TRY(station->build(pod, options, trace_name(options.vcd, pod.serial, several)));
    }
    TRY(station->prepare(script));
    TRY(station->serve(options.spin));
    return station;
}

Status Station::build(const description::Pod& pod, const StationOptions& options,
                      const std::string& vcd) {
    places_.push_back(TRY(make_place(pod, options, vcd, log_)));
    for (const control::Command& fault : pod.faults) {
        TRY(apply(places_.size() - 1, fault));
    }
    return {};
}

Status Station::prepare(const std::vector<control::Step>& script) {
    for (const control::Step& step : script) {
        if (const Status prepared = prepare_step(step); !prepared) {
            return file_error(step.place, headline(prepared.error()));
        }
    }
    return {};
}

Status Station::prepare_step(const control::Step& step) {
    const size_t place = TRY(place_of(step.command));
    if (step.batch == 0) {
        return apply(place, step.command);
    }
    places_[place].pod->schedule(step.batch, [this, place, command = step.command] {
        if (const Status applied = apply(place, command); !applied) {
            log_.write(headline(applied.error()));
        }
    });
    return {};
}

Status Station::serve(std::chrono::microseconds spin) {
    std::vector<proxy::Pod> pods;
    for (const Place& place : places_) {
        const auto number = static_cast<uint32_t>(pods.size() + 1);
        pods.push_back({{.serial = place.pod->serial(),
                         .revision = place.pod->revision(),
                         .bus = 1,
                         .device = number},
                        place.pod.get(),
                        place.plugged});
    }
    const std::scoped_lock lock(mutex_);
    proxy_ = TRY(proxy::Proxy::start(std::move(pods), {.spin = spin}));
    return {};
}

Result<size_t> Station::place_of(const control::Command& command) const {
    if (!command.serial) {
        if (places_.size() == 1) {
            return size_t{0};
        }
        return refused_error({}, fmt::format("there are {}; say which one is meant with "
                                             "'pod SERIAL' first",
                                             count_text(places_.size(), "pod")));
    }
    const auto found = std::find_if(places_.begin(), places_.end(), [&](const Place& place) {
        return place.pod->serial() == *command.serial;
    });
    if (found == places_.end()) {
        return refused_error({}, fmt::format("there is no pod {}", *command.serial));
    }
    return static_cast<size_t>(found - places_.begin());
}

Result<std::string> Station::operate_board(size_t place, const control::Command& command) {
    const Place& at = places_[place];
    if (at.chain == nullptr) {
        return refused_error({},
                             fmt::format("pod {} has an external target, whose board is its own "
                                         "affair",
                                         at.pod->serial()));
    }
    std::string answer;
    TRY(at.pod->between_batches([&]() -> Status {
        answer = TRY(operate(*at.chain, command));
        return {};
    }));
    return answer;
}

Status Station::apply(size_t place, const control::Command& command) {
    if (control::is_of_board(command.verb)) {
        TRY(operate_board(place, command));
        return {};
    }
    TRY(places_[place].pod->change(
        [&](Faults& faults, pod::Troubles& troubles) { change_by(command, faults, troubles); }));
    if (command.verb == control::Verb::Plug) {
        set_plugged(place, command.on);
    }
    return {};
}

void Station::set_plugged(size_t place, bool plugged) {
    const std::scoped_lock lock(mutex_);
    places_[place].plugged = plugged;
    if (proxy_) {
        plugged ? proxy_->plug(place) : proxy_->unplug(place);
    }
}

Result<std::string> Station::status() {
    std::vector<pod::Report> reports;
    for (const Place& place : places_) {
        reports.push_back(TRY(place.pod->report()));
    }
    return json_of(reports);
}

Result<std::string> Station::answer(std::string_view line) {
    const control::Command command = TRY(control::parse(line));
    if (command.verb == control::Verb::Status) {
        return status();
    }
    const size_t place = TRY(place_of(command));
    if (control::is_of_board(command.verb)) {
        return operate_board(place, command);
    }
    TRY(apply(place, command));
    return "ok";
}

std::string Station::command(std::string_view line) {
    Result<std::string> answered = answer(line);
    return answered ? *std::move(answered) : "error: " + headline(answered.error());
}

bool Station::stop() {
    std::unique_ptr<proxy::Proxy> proxy;
    {
        const std::scoped_lock lock(mutex_);
        proxy = std::move(proxy_);
    }
    return !proxy || proxy->stop();
}

Status Station::finish_traces() {
    Status finished;
    for (const Place& place : places_) {
        Status one = place.trace ? place.trace->finish() : Status();
        if (finished && !one) {
            finished = std::move(one);
        }
    }
    return finished;
}

std::string Station::summary() const {
    std::string text = count_text(places_.size(), "pod") + ": ";
    for (const Place& place : places_) {
        text += fmt::format("{}{} (revision {})", &place == places_.data() ? "" : ", ",
                            place.pod->serial(), revision_text(place.pod->revision()));
    }
    return text;
}

} // namespace talvor::podsim
