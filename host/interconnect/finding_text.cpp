#include "host/interconnect/finding_text.h"

#include "common/text.h"

#include <fmt/format.h>

namespace talvor::interconnect {
namespace {

// "A, B and C".
std::string listed(const std::vector<std::string>& names) {
    std::string text;
    for (size_t i = 0; i < names.size(); ++i) {
        text += i == 0 ? "" : i + 1 == names.size() ? " and " : ", ";
        text += names[i];
    }
    return text;
}

std::string net_names(std::span<const TestedNet> nets, const std::vector<size_t>& which) {
    std::vector<std::string> names;
    for (const size_t net : which) {
        names.push_back(nets[net].name);
    }
    return listed(names);
}

std::string open_text(std::span<const TestedNet> nets, const Fault& fault) {
    if (fault.pins.size() > 1) {
        std::vector<std::string> names;
        for (const PinOf& pin : fault.pins) {
            names.push_back(pin_text(pin_of(nets, pin)));
        }
        return fmt::format("a break before {}, which read {}", listed(names), fault.value ? 1 : 0);
    }
    const PinOf& pin = fault.pins.front();
    const std::string name = pin_text(pin_of(nets, pin));
    if (pin.receiver == kDriverPin) {
        return fmt::format("open at {}, which drives the net", name);
    }
    return nets[pin.net].receivers[pin.receiver].at_driver
               ? fmt::format("open between {} and its own input, which reads {}", name,
                             fault.value ? 1 : 0)
               : fmt::format("open at {}, which reads {}", name, fault.value ? 1 : 0);
}

std::string stuck_text(std::span<const TestedNet> nets, const Fault& fault) {
    return fault.nets.size() > 1
               ? fmt::format("{} shorted to each other and stuck at {}",
                             net_names(nets, fault.nets), fault.value ? 1 : 0)
               : fmt::format("{} stuck at {}, as if shorted to {}", net_names(nets, fault.nets),
                             fault.value ? 1 : 0, fault.value ? "the supply" : "ground");
}

std::string short_text(std::span<const TestedNet> nets, const Fault& fault) {
    const std::string names = net_names(nets, fault.nets);
    switch (fault.short_kind) {
    case ShortKind::WiredAnd:
        return fmt::format("{} shorted: low where one of them is driven low (wired-AND)", names);
    case ShortKind::WiredOr:
        return fmt::format("{} shorted: high where one of them is driven high (wired-OR)", names);
    case ShortKind::Strong:
        break;
    }
    const TestedNet& strong = nets[fault.nets.front()];
    return fmt::format("{} shorted: {} of {} is the strongest driver", names,
                       pin_text(strong.driver.pin), strong.name);
}

} // namespace

std::string pin_text(const DevicePin& pin) {
    return pin.package.empty() ? pin.name : fmt::format("{} (pin {})", pin.name, pin.package);
}

const DevicePin& pin_of(std::span<const TestedNet> nets, const PinOf& pin) {
    const TestedNet& net = nets[pin.net];
    return pin.receiver == kDriverPin ? net.driver.pin : net.receivers[pin.receiver].pin;
}

std::string fault_text(std::span<const TestedNet> nets, const Fault& fault) {
    switch (fault.kind) {
    case FaultKind::Open:
        return open_text(nets, fault);
    case FaultKind::Stuck:
        return stuck_text(nets, fault);
    case FaultKind::Short:
        break;
    }
    return short_text(nets, fault);
}

std::string explanation_text(std::span<const TestedNet> nets, const Explanation& explanation) {
    std::string text;
    for (const Fault& fault : explanation) {
        text += (text.empty() ? "" : "; and ") + fault_text(nets, fault);
    }
    return text;
}

std::string nets_text(std::span<const TestedNet> nets, const Finding& finding) {
    std::string text;
    for (const size_t net : finding.nets) {
        text += (text.empty() ? "" : ", ") + nets[net].name;
    }
    return text;
}

std::vector<std::string> finding_lines(std::span<const TestedNet> nets, const Finding& finding) {
    std::vector<std::string> lines;
    for (const Explanation& explanation : finding.explanations) {
        lines.push_back((lines.empty() ? "" : "or ") + explanation_text(nets, explanation));
    }
    for (const PinOf& pin : finding.unclear) {
        lines.push_back(fmt::format("{} changes and follows nothing that is driven: a bad contact, "
                                    "or something else drives the net",
                                    pin_text(pin_of(nets, pin))));
    }
    return lines;
}

std::string silent_text(const SilentDevice& silent, const std::string& device) {
    return silent.drives
               ? fmt::format("all {} nets that {} drives stand still: are its outputs powered, "
                             "and is it what its description says?",
                             silent.nets.size(), device)
               : fmt::format("all {} nets that {} listens to stand still for it: are its inputs "
                             "powered, and is it what its description says?",
                             silent.nets.size(), device);
}

} // namespace talvor::interconnect
