#include "host/interconnect/placed_net.h"

#include "common/text.h"
#include "host/chain/device_choice.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <utility>

namespace talvor::interconnect {
namespace {

using bsdl::Device;

std::string upper(std::string_view text) {
    std::string capitals(text);
    for (char& c : capitals) {
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return capitals;
}

std::string chain_text(std::span<const boundary::Member> chain) {
    std::string text;
    for (size_t i = 0; i < chain.size(); ++i) {
        text += fmt::format("{}{}{}", i == 0 ? "" : ", ", i + 1,
                            chain[i].name.empty() ? "" : " " + chain[i].name);
    }
    return text;
}

class Placer {
public:
    Placer(const Netlist& netlist, std::span<const boundary::Member> chain,
           const Placement& placement)
        : netlist_(netlist), chain_(chain) {
        for (const boundary::Member& member : chain) {
            names_.push_back(member.name);
        }
        for (const auto* list : {&netlist.passive, &placement.passive}) {
            for (const std::string& part : *list) {
                passive_.push_back(upper(part));
            }
        }
    }

    // Parts that somebody says the device of.
    Status take(const std::vector<PartDevice>& devices) {
        for (const PartDevice& one : devices) {
            const Result<size_t> device = find_device(names_, one.device);
            if (!device) {
                return said_error(one, headline(device.error()), device.error().next_step);
            }
            if (parts_.emplace(upper(one.part), *device).second) {
                TRY(keep_apart(*device, one));
            }
        }
        return {};
    }

    Result<std::vector<PlacedNet>> place() {
        std::vector<PlacedNet> placed;
        placed.reserve(netlist_.nets.size());
        for (const Net& net : netlist_.nets) {
            placed.push_back(TRY(place(net)));
        }
        if (owners_.empty()) {
            return file_error(netlist_.file, "none of its parts is a device of the chain",
                              fmt::format("say which one is, as in --part U1=1; the devices of the "
                                          "chain are {}",
                                          chain_text(chain_)));
        }
        return placed;
    }

private:
    [[nodiscard]] Failure said_error(const PartDevice& one, std::string reason,
                                     std::string next_step) const {
        return one.line == 0
                   ? usage_error(fmt::format("--part {}={}", one.part, one.device),
                                 std::move(reason), std::move(next_step))
                   : file_error(fmt::format("{}:{}: {}", netlist_.file, one.line, one.part),
                                std::move(reason), std::move(next_step));
    }

    Status keep_apart(size_t device, const PartDevice& one) {
        const auto [other, fresh] = part_of_device_.emplace(device, one.part);
        if (!fresh) {
            return said_error(one,
                              fmt::format("the device {} is {} already", one.device, other->second),
                              "each part is a device of its own");
        }
        return {};
    }

    // Nothing: it is no device of the chain.
    std::optional<size_t> device_of(const std::string& part) {
        const auto [entry, fresh] = parts_.emplace(upper(part), std::nullopt);
        if (fresh) {
            const Result<size_t> device = find_device(names_, part);
            if (device && part_of_device_.emplace(*device, part).second) {
                entry->second = *device;
            }
        }
        return entry->second;
    }

    [[nodiscard]] std::optional<size_t> signal_of(const Device& device,
                                                  const std::string& name) const {
        if (netlist_.package_pins) {
            for (size_t i = 0; i < device.signals.size(); ++i) {
                if (same_name(device.signals[i].pin, name)) {
                    return i;
                }
            }
        }
        return bsdl::find_signal(device, name);
    }

    Result<PlacedNet> place(const Net& net) {
        PlacedNet placed{net.name, net.line, {}, {}, {}};
        for (const NetPin& pin : net.pins) {
            const std::optional<size_t> device = device_of(pin.part);
            const std::string name = fmt::format("{}.{}", pin.part, pin.pin);
            if (!device || chain_[*device].plan == nullptr) {
                if (device || !drives_nothing(pin.part)) {
                    placed.others.push_back(name);
                }
                continue;
            }
            const Device& description = chain_[*device].plan->device();
            if (const std::optional<size_t> signal = signal_of(description, pin.pin)) {
                TRY(add(placed, net, pin, *device, *signal));
            } else if (netlist_.package_pins) {
                placed.unknown.push_back(name);
            } else {
                return no_such_pin(net, pin, description);
            }
        }
        return placed;
    }

    [[nodiscard]] Failure no_such_pin(const Net& net, const NetPin& pin,
                                      const Device& device) const {
        return file_error(fmt::format("{}:{}: net {}", netlist_.file, pin.line, net.name),
                          fmt::format("{} has neither a signal nor a pin {}", device.name, pin.pin),
                          "'talvor pins' lists what it has");
    }

    Status add(PlacedNet& placed, const Net& net, const NetPin& pin, size_t device, size_t signal) {
        const auto [owner, fresh] = owners_.emplace(std::pair(device, signal), &net);
        if (!fresh && owner->second != &net) {
            return file_error(fmt::format("{}:{}: net {}", netlist_.file, pin.line, net.name),
                              fmt::format("{}.{} is a pin of the net {} (line {}) already",
                                          pin.part, pin.pin, owner->second->name,
                                          owner->second->line),
                              "connected pins are one net");
        }
        if (fresh) {
            const bsdl::Signal& of = chain_[device].plan->device().signals[signal];
            placed.pins.push_back(
                {device, signal, fmt::format("{}.{}", pin.part, of.name), of.pin});
        }
        return {};
    }

    [[nodiscard]] bool drives_nothing(const std::string& part) const {
        return looks_passive(part) ||
               std::find(passive_.begin(), passive_.end(), upper(part)) != passive_.end();
    }

    const Netlist& netlist_;
    std::span<const boundary::Member> chain_;
    std::vector<std::string> names_;                     // of its devices
    std::vector<std::string> passive_;                   // in capitals
    std::map<std::string, std::optional<size_t>> parts_; // by their references in capitals
    std::map<size_t, std::string> part_of_device_;
    std::map<std::pair<size_t, size_t>, const Net*> owners_; // of device and signal
};

} // namespace

bool looks_passive(std::string_view part) noexcept {
    constexpr std::array<std::string_view, 19> kLetters{"R",   "RN", "C",  "CN", "L",  "FB", "D",
                                                        "LED", "J",  "P",  "JP", "TP", "H",  "MH",
                                                        "MP",  "F",  "SW", "S",  "FID"};
    const size_t letters = std::min(part.find_first_of("0123456789"), part.size());
    return std::any_of(kLetters.begin(), kLetters.end(), [part, letters](std::string_view one) {
        return same_name(one, part.substr(0, letters));
    });
}

Result<std::vector<PlacedNet>> place_nets(const Netlist& netlist,
                                          std::span<const boundary::Member> chain,
                                          const Placement& placement) {
    Placer placer(netlist, chain, placement);
    TRY(placer.take(placement.devices));
    TRY(placer.take(netlist.devices));
    return placer.place();
}

} // namespace talvor::interconnect
