#include "podsim/station/place.h"

#include "podsim/external/external_target.h"
#include "podsim/model/chain.h"

#include <fmt/format.h>

#include <functional>

namespace talvor::podsim {
namespace {

// A pod's target, and what frees a worker that waits for it.
struct FarEnd {
    std::unique_ptr<Target> target;
    std::function<void()> release;
    Chain* chain = nullptr; // the same, where it is one
};

Result<FarEnd> make_target(const description::Pod& pod) {
    const auto* external = std::get_if<description::External>(&pod.target);
    if (external == nullptr) {
        auto chain = std::make_unique<Chain>(std::get<ChainDescription>(pod.target));
        Chain* const address = chain.get();
        return FarEnd{std::move(chain), {}, address};
    }
    auto connected = external::ExternalTarget::connect({.address = external->address,
                                                        .protocol = external->protocol,
                                                        .send_resets = external->send_resets,
                                                        .quit = external->quit,
                                                        .patience = external->patience});
    if (!connected) {
        return target_error(fmt::format("pod {}", pod.serial), headline(connected.error()),
                            connected.error().next_step);
    }
    external::ExternalTarget* client = connected->get();
    return FarEnd{*std::move(connected), [client] { client->request_stop(); }, nullptr};
}

} // namespace

Result<Place> make_place(const description::Pod& pod, const StationOptions& options,
                         const std::string& vcd, Log& log) {
    FarEnd far_end = TRY(make_target(pod));
    pod::Settings settings{pod.serial, pod.controller, options.log_batches};
    settings.controller.strict = settings.controller.strict || options.strict;
    Place place;
    place.chain = far_end.chain;
    place.pod = std::make_unique<pod::SimulatedPod>(settings, std::move(far_end.target), log);
    place.pod->on_stop(std::move(far_end.release));
    if (!vcd.empty()) {
        place.trace = TRY(trace::VcdWriter::open(vcd, fmt::format("pod_{:06}", pod.serial),
                                                 options.vcd_limits, log));
        place.pod->observe(*place.trace, [writer = place.trace.get()] { writer->flush(); });
    }
    return place;
}

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
    case control::Verb::Cable:
        if (command.wire) {
            faults.cable.set(*command.wire, command.wire_state);
        } else {
            faults.cable = {};
        }
        break;
    case control::Verb::Plug:
        troubles.plugged = command.on;
        break;
    default: // the others change neither
        break;
    }
}

} // namespace talvor::podsim
