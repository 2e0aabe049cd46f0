#include "host/interconnect/diagnosis.h"

#include "host/interconnect/explain.h"
#include "host/interconnect/reading.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <set>

namespace talvor::interconnect {
namespace {

// So many nets that stand still have causes of their own; above, one that they share is likelier.
constexpr size_t kLeastSilentNets = 4;
// More nets that stand still alike are hardly all shorted to each other.
constexpr size_t kMostStuckTogether = 8;

// Nets that are joined, by union of sets.
class Joints {
public:
    explicit Joints(size_t nets) : parents_(nets) {
        std::iota(parents_.begin(), parents_.end(), size_t{0});
    }
    size_t root(size_t net) {
        while (parents_[net] != net) {
            net = parents_[net] = parents_[parents_[net]];
        }
        return net;
    }
    void join(size_t one, size_t other) {
        const size_t a = root(one);
        const size_t b = root(other);
        parents_[std::max(a, b)] = std::min(a, b);
    }

private:
    std::vector<size_t> parents_;
};

class Diagnoser {
public:
    Diagnoser(std::span<const TestedNet> nets, std::span<const Vector> vectors,
              const Readings& readings)
        : nets_(nets) {
        const ReadingClassifier classifier(vectors, nets.size());
        for (size_t net = 0; net < nets.size(); ++net) {
            std::vector<Reading> of_net;
            for (const Bits& bits : readings[net]) {
                of_net.push_back(classifier.classify(net, bits));
            }
            sorted_.push_back(sort_readings(net, nets[net], of_net));
            readings_.push_back(std::move(of_net));
        }
    }

    Diagnosis run() {
        for (const std::vector<NetReadings>& group : groups()) {
            add(group);
        }
        add_stuck_together(false);
        add_stuck_together(true);
        add_silent_devices();
        return std::move(diagnosis_);
    }

private:
    // Nets that are joined, and each other one alone; ascending by their first.
    std::vector<std::vector<NetReadings>> groups() {
        Joints joints(nets_.size());
        for (size_t net = 0; net < nets_.size(); ++net) {
            for (const Reading& reading : readings_[net]) {
                for (const size_t source : reading.sources) {
                    joints.join(net, source);
                }
            }
        }
        std::map<size_t, std::vector<NetReadings>> groups;
        for (size_t net = 0; net < nets_.size(); ++net) {
            groups[joints.root(net)].push_back(sorted_[net]);
        }
        std::vector<std::vector<NetReadings>> list;
        for (auto& [root, group] : groups) {
            list.push_back(std::move(group));
        }
        return list;
    }

    void add(const std::vector<NetReadings>& group) {
        if (group.size() == 1 && group.front().good()) {
            return;
        }
        Finding finding;
        for (const NetReadings& net : group) {
            finding.nets.push_back(net.net);
            for (const size_t receiver : net.unclear) {
                finding.unclear.push_back({net.net, receiver});
            }
        }
        finding.explanations =
            group.size() == 1 ? explain_one(group.front()) : explain_joined(group, readings_);
        diagnosis_.findings.push_back(std::move(finding));
    }

    static bool may_be_stuck(const Finding& finding, bool value) {
        return std::any_of(finding.explanations.begin(), finding.explanations.end(),
                           [value](const Explanation& one) {
                               return one.size() == 1 && one[0].kind == FaultKind::Stuck &&
                                      one[0].value == value;
                           });
    }

    // Nets that stand still alike may also be shorted to each other: who stands cannot tell.
    void add_stuck_together(bool value) {
        Fault together;
        together.kind = FaultKind::Stuck;
        together.value = value;
        for (const Finding& finding : diagnosis_.findings) {
            if (may_be_stuck(finding, value)) {
                together.nets.push_back(finding.nets.front());
            }
        }
        if (together.nets.size() < 2 || together.nets.size() > kMostStuckTogether) {
            return;
        }
        for (Finding& finding : diagnosis_.findings) {
            if (may_be_stuck(finding, value)) {
                finding.explanations.push_back({together});
            }
        }
    }

    struct Seen {
        std::vector<size_t> still; // nets
        size_t all = 0;

        [[nodiscard]] bool silent() const noexcept {
            return all >= kLeastSilentNets && still.size() == all;
        }
    };

    void add_silent_devices() {
        std::map<size_t, Seen> drivers;
        std::map<size_t, Seen> readers;
        for (size_t net = 0; net < nets_.size(); ++net) {
            count(drivers[nets_[net].driver.pin.device], net, sorted_[net].still());
            for (size_t r = 0; r < readings_[net].size(); ++r) {
                if (!nets_[net].receivers[r].at_driver) {
                    count(readers[nets_[net].receivers[r].pin.device], net,
                          readings_[net][r].kind == Reading::Kind::Still);
                }
            }
        }
        for (const bool drives : {true, false}) {
            for (const auto& [device, seen] : drives ? drivers : readers) {
                if (seen.silent()) {
                    diagnosis_.silent.push_back({device, drives, seen.still});
                }
            }
        }
    }

    static void count(Seen& seen, size_t net, bool still) {
        ++seen.all;
        if (still) {
            seen.still.push_back(net);
        }
    }

    std::span<const TestedNet> nets_;
    std::vector<std::vector<Reading>> readings_;
    std::vector<NetReadings> sorted_;
    Diagnosis diagnosis_;
};

} // namespace

std::vector<size_t> suspects(std::span<const TestedNet> nets, std::span<const Vector> vectors,
                             const Readings& readings, size_t most) {
    const ReadingClassifier classifier(vectors, nets.size());
    std::set<size_t> found;
    for (size_t net = 0; net < nets.size(); ++net) {
        for (const Bits& bits : readings[net]) {
            if (classifier.right(net, bits)) {
                continue;
            }
            found.insert(net);
            if (const std::optional<size_t> source = classifier.code_of(bits)) {
                found.insert(*source);
            }
        }
    }
    std::vector<size_t> list(found.begin(), found.end());
    list.resize(std::min(list.size(), most));
    return list;
}

Diagnosis diagnose(std::span<const TestedNet> nets, std::span<const Vector> vectors,
                   const Readings& readings) {
    return Diagnoser(nets, vectors, readings).run();
}

} // namespace talvor::interconnect
