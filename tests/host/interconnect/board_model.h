// The physics of a board with faults, as plainly as can be written: what the diagnosis is held
// against. It knows nothing of how faults are found.
#pragma once

#include "host/interconnect/diagnosis.h"

#include <algorithm>
#include <optional>
#include <span>
#include <vector>

namespace talvor::interconnect {

class BoardModel {
public:
    // `pulls`: the level of each net, and of each pin of it, that nobody drives.
    BoardModel(std::span<const TestedNet> nets, std::vector<Fault> faults, std::vector<bool> pulls)
        : nets_(nets), faults_(std::move(faults)), pulls_(std::move(pulls)) {}

    [[nodiscard]] Readings apply(std::span<const Vector> vectors) const {
        Readings readings(nets_.size());
        for (size_t n = 0; n < nets_.size(); ++n) {
            const std::vector<size_t> node = node_of(n);
            Bits levels(vectors.size());
            for (size_t v = 0; v < vectors.size(); ++v) {
                levels.set(v, node_level(node, vectors[v]));
            }
            for (size_t r = 0; r < nets_[n].receivers.size(); ++r) {
                readings[n].push_back(read_at({n, r}, levels, vectors));
            }
        }
        return readings;
    }

private:
    [[nodiscard]] const Fault* open_at(const PinOf& pin) const {
        for (const Fault& fault : faults_) {
            if (fault.kind == FaultKind::Open &&
                std::find(fault.pins.begin(), fault.pins.end(), pin) != fault.pins.end()) {
                return &fault;
            }
        }
        return nullptr;
    }

    // `node`: the levels of the node that the pin's net is part of.
    [[nodiscard]] Bits read_at(const PinOf& pin, const Bits& node,
                               std::span<const Vector> vectors) const {
        if (const Fault* fault = open_at(pin)) {
            return Bits(vectors.size(), fault->value);
        }
        Bits bits = node;
        const bool at_driver = nets_[pin.net].receivers[pin.receiver].at_driver;
        if (at_driver && open_at({pin.net, kDriverPin}) != nullptr) {
            for (size_t v = 0; v < vectors.size(); ++v) {
                bits.set(v, vectors[v].level(pin.net)); // what it drives itself
            }
        }
        return bits;
    }

    // All nets that shorts join with one.
    [[nodiscard]] std::vector<size_t> node_of(size_t net) const {
        std::vector<size_t> node{net};
        for (size_t i = 0; i < node.size(); ++i) {
            for (const Fault& fault : faults_) {
                if (fault.kind == FaultKind::Short && holds(fault.nets, node[i])) {
                    for (const size_t other : fault.nets) {
                        if (!holds(node, other)) {
                            node.push_back(other);
                        }
                    }
                }
            }
        }
        std::sort(node.begin(), node.end());
        return node;
    }

    [[nodiscard]] bool node_level(const std::vector<size_t>& node, const Vector& vector) const {
        for (const size_t net : node) {
            for (const Fault& fault : faults_) {
                if (fault.kind == FaultKind::Stuck && holds(fault.nets, net)) {
                    return fault.value;
                }
            }
        }
        std::vector<size_t> drivers;
        for (const size_t net : node) {
            if (open_at({net, kDriverPin}) == nullptr) {
                drivers.push_back(net);
            }
        }
        if (drivers.empty()) {
            return floating(node);
        }
        return driven(drivers, node, vector);
    }

    [[nodiscard]] bool floating(const std::vector<size_t>& node) const {
        const Fault* fault = open_at({node.front(), kDriverPin});
        return node.size() == 1 && fault != nullptr ? fault->value : pulls_[node.front()];
    }

    [[nodiscard]] bool driven(const std::vector<size_t>& drivers, const std::vector<size_t>& node,
                              const Vector& vector) const {
        const auto high = [&vector](size_t net) { return vector.level(net); };
        for (const Fault& fault : faults_) {
            if (fault.kind != FaultKind::Short || !holds(node, fault.nets.front())) {
                continue;
            }
            switch (fault.short_kind) {
            case ShortKind::WiredAnd:
                return std::all_of(drivers.begin(), drivers.end(), high);
            case ShortKind::WiredOr:
                return std::any_of(drivers.begin(), drivers.end(), high);
            case ShortKind::Strong:
                return vector.level(holds(drivers, fault.nets.front()) ? fault.nets.front()
                                                                       : drivers.front());
            }
        }
        return vector.level(drivers.front());
    }

    static bool holds(const std::vector<size_t>& list, size_t one) {
        return std::find(list.begin(), list.end(), one) != list.end();
    }

    std::span<const TestedNet> nets_;
    std::vector<Fault> faults_;
    std::vector<bool> pulls_;
};

} // namespace talvor::interconnect
