#include "host/interconnect/explain.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

namespace talvor::interconnect {
namespace {

// More than this many faults are only named where no fewer explain the readings.
constexpr size_t kManyFaults = 2;

Fault open(size_t net, const std::vector<size_t>& receivers, bool value) {
    Fault fault;
    fault.kind = FaultKind::Open;
    fault.value = value;
    fault.nets = {net};
    for (const size_t receiver : receivers) {
        fault.pins.push_back({net, receiver});
    }
    return fault;
}

Fault stuck(size_t net, bool value) {
    Fault fault;
    fault.kind = FaultKind::Stuck;
    fault.value = value;
    fault.nets = {net};
    return fault;
}

void add_break(Explanation& faults, size_t net, const std::vector<size_t>& receivers, bool value) {
    if (!receivers.empty()) {
        faults.push_back(open(net, receivers, value));
    }
}

// Receivers that stand still while the net does not: a break before those that read alike, or one
// at each.
std::vector<Explanation> lost(size_t net, const std::vector<size_t>& low,
                              const std::vector<size_t>& high) {
    Explanation breaks;
    add_break(breaks, net, low, false);
    add_break(breaks, net, high, true);
    Explanation single;
    for (const size_t receiver : low) {
        single.push_back(open(net, {receiver}, false));
    }
    for (const size_t receiver : high) {
        single.push_back(open(net, {receiver}, true));
    }
    std::vector<Explanation> explanations{breaks};
    if (single.size() != breaks.size()) {
        explanations.push_back(std::move(single));
    }
    return explanations;
}

// The driver has no contact: all others of the net read alike, and who does not is lost, too.
std::vector<Explanation> driver_open(const NetReadings& net) {
    std::vector<Explanation> explanations;
    for (const bool value : {false, true}) {
        const auto& floating = value ? net.high : net.low;
        if (!floating.empty()) {
            Explanation faults{open(net.net, {kDriverPin}, value)};
            add_break(faults, net.net, value ? net.low : net.high, !value);
            explanations.push_back(std::move(faults));
        }
    }
    return explanations;
}

std::vector<Explanation> net_stuck(const NetReadings& net) {
    std::vector<Explanation> explanations;
    for (const bool value : {false, true}) {
        const bool seen = net.own ? net.own_value == value : !(value ? net.high : net.low).empty();
        if (seen) {
            Explanation faults{stuck(net.net, value)};
            add_break(faults, net.net, value ? net.low : net.high, !value);
            explanations.push_back(std::move(faults));
        }
    }
    return explanations;
}

void append(std::vector<Explanation>& to, std::vector<Explanation> more) {
    for (Explanation& one : more) {
        if (std::find(to.begin(), to.end(), one) == to.end()) {
            to.push_back(std::move(one));
        }
    }
}

// Fewer faults first; those with many only where there are no others.
std::vector<Explanation> likely(std::vector<Explanation> explanations) {
    std::stable_sort(explanations.begin(), explanations.end(),
                     [](const auto& a, const auto& b) { return a.size() < b.size(); });
    if (!explanations.empty()) {
        const size_t most = std::max(explanations.front().size(), kManyFaults);
        std::erase_if(explanations, [most](const auto& one) { return one.size() > most; });
    }
    return explanations;
}

// Of a net that nobody sees anything of but perhaps the driver itself. A break before all receivers
// is one behind the driver.
std::vector<Explanation> explain_still(const NetReadings& net) {
    std::vector<Explanation> explanations;
    const bool driver_well = net.own_kind == Reading::Kind::Right;
    if (!net.own || driver_well) {
        explanations = driver_open(net);
        const bool alike = net.low.empty() || net.high.empty();
        for (Explanation& one : lost(net.net, net.low, net.high)) {
            if (!alike || one.front().pins.size() == 1) {
                append(explanations, {std::move(one)});
            }
        }
    }
    if (!driver_well) {
        append(explanations, net_stuck(net));
    }
    return explanations;
}

// The receivers that stand still, that at the driver among them.
std::vector<size_t> with_own(const NetReadings& net, bool value) {
    std::vector<size_t> receivers = value ? net.high : net.low;
    if (net.own && net.own_kind == Reading::Kind::Still && net.own_value == value) {
        receivers.push_back(*net.own);
    }
    return receivers;
}

// The nodes that nets are joined in: who makes their level, and whose receivers read it.
using NodeKey = std::pair<Reading::Kind, std::vector<size_t>>;
using Nodes = std::map<NodeKey, std::set<size_t>>;

Nodes nodes_of(std::span<const NetReadings> nets,
               const std::vector<std::vector<Reading>>& readings) {
    Nodes nodes;
    for (const NetReadings& net : nets) {
        for (const Reading& reading : readings[net.net]) {
            if (reading.joined()) {
                nodes[{reading.kind, reading.sources}].insert(net.net);
            }
        }
    }
    return nodes;
}

Fault short_of(const NodeKey& node, const std::set<size_t>& readers) {
    Fault fault;
    fault.kind = FaultKind::Short;
    fault.nets = node.second;
    for (const size_t net : readers) {
        if (std::find(fault.nets.begin(), fault.nets.end(), net) == fault.nets.end()) {
            fault.nets.push_back(net);
        }
    }
    switch (node.first) {
    case Reading::Kind::And:
        fault.short_kind = ShortKind::WiredAnd;
        std::sort(fault.nets.begin(), fault.nets.end());
        break;
    case Reading::Kind::Or:
        fault.short_kind = ShortKind::WiredOr;
        std::sort(fault.nets.begin(), fault.nets.end());
        break;
    default:
        fault.short_kind = ShortKind::Strong; // the source stands first
        break;
    }
    return fault;
}

// Whether the net's driver has no part in the node that its receivers read, though nothing is
// stronger.
bool driver_missing(const NetReadings& net, const std::vector<Reading>& readings) {
    if (net.joined.empty()) {
        return false;
    }
    if (net.own_kind == Reading::Kind::Right) {
        return true;
    }
    const Reading& node = readings[net.joined.front()];
    return node.kind != Reading::Kind::Follows &&
           !std::binary_search(node.sources.begin(), node.sources.end(), net.net);
}

} // namespace

bool NetReadings::good() const noexcept {
    return low.empty() && high.empty() && joined.empty() && unclear.empty() &&
           (!own_kind || own_kind == Reading::Kind::Right);
}

bool NetReadings::still() const noexcept {
    return !alive() && unclear.empty() && (!low.empty() || !high.empty());
}

NetReadings sort_readings(size_t net, const TestedNet& tested,
                          const std::vector<Reading>& readings) {
    NetReadings sorted;
    sorted.net = net;
    for (size_t r = 0; r < readings.size(); ++r) {
        const Reading& reading = readings[r];
        if (reading.kind == Reading::Kind::Unclear) {
            sorted.unclear.push_back(r);
        } else if (tested.receivers[r].at_driver) {
            sorted.own = r;
            sorted.own_kind = reading.kind;
            sorted.own_value = reading.value;
        } else if (reading.kind == Reading::Kind::Right) {
            sorted.right.push_back(r);
        } else if (reading.kind == Reading::Kind::Still) {
            (reading.value ? sorted.high : sorted.low).push_back(r);
        } else {
            sorted.joined.push_back(r);
        }
    }
    return sorted;
}

std::vector<Explanation> explain_one(const NetReadings& net) {
    if (net.alive()) {
        const std::vector<size_t> low = with_own(net, false);
        const std::vector<size_t> high = with_own(net, true);
        return low.empty() && high.empty() ? std::vector<Explanation>()
                                           : likely(lost(net.net, low, high));
    }
    return net.still() ? likely(explain_still(net)) : std::vector<Explanation>();
}

std::vector<Explanation> explain_joined(std::span<const NetReadings> nets,
                                        const std::vector<std::vector<Reading>>& readings) {
    Explanation faults;
    for (const auto& [node, readers] : nodes_of(nets, readings)) {
        faults.push_back(short_of(node, readers));
    }
    std::optional<size_t> follower; // the only net that another is stronger than
    bool all_follow = faults.size() == 1 && faults[0].short_kind == ShortKind::Strong;
    for (const NetReadings& net : nets) {
        if (driver_missing(net, readings[net.net])) {
            faults.push_back(open(net.net, {kDriverPin}, false));
            all_follow = false;
        }
        add_break(faults, net.net, with_own(net, false), false);
        add_break(faults, net.net, with_own(net, true), true);
        if (!net.right.empty() && !net.joined.empty()) {
            // A part of the net is broken off, and that part is joined with another net.
            faults.push_back(open(net.net, net.joined, false));
        }
        if (!net.joined.empty() && !net.own) {
            follower = net.net;
        }
    }
    std::vector<Explanation> explanations{faults};
    if (all_follow && nets.size() == 2 && follower) {
        faults.push_back(open(*follower, {kDriverPin}, false));
        explanations.push_back(std::move(faults));
    }
    return explanations;
}

} // namespace talvor::interconnect
