// Boards of every shape with every kind of fault, one and two at a time: what is broken is found
// and named, and nothing else is.
#include "host/interconnect/board_model.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <random>
#include <set>

namespace talvor::interconnect {
namespace {

constexpr uint64_t kSeed = 20261122;
constexpr size_t kBoards = 1000;
constexpr size_t kMostSuspects = 64;

struct Case {
    std::vector<TestedNet> nets;
    std::vector<bool> pulls;
    std::vector<Fault> faults;
};

class Dice {
public:
    explicit Dice(uint64_t seed) : engine_(seed) {}
    size_t below(size_t count) {
        return std::uniform_int_distribution<size_t>(0, count - 1)(engine_);
    }
    bool flip() { return below(2) == 1; }

private:
    std::mt19937_64 engine_;
};

DevicePin pin(size_t device, const std::string& name) {
    return {device, 0, fmt::format("U{}.{}", device + 1, name), ""};
}

TestedNet random_net(Dice& dice, size_t number) {
    TestedNet net;
    net.name = fmt::format("N{}", number);
    net.driver.pin = pin(dice.below(3), fmt::format("D{}", number));
    const size_t receivers = 1 + dice.below(4);
    for (size_t r = 0; r < receivers; ++r) {
        net.receivers.push_back({pin(dice.below(3), fmt::format("R{}_{}", number, r)), 0, false});
    }
    if (dice.below(3) == 0) {
        net.receivers.insert(net.receivers.begin() + static_cast<long>(dice.below(receivers + 1)),
                             {net.driver.pin, 0, true});
    }
    return net;
}

Fault random_fault(Dice& dice, const std::vector<TestedNet>& nets, ShortKind kind) {
    Fault fault;
    const size_t net = dice.below(nets.size());
    fault.value = dice.flip();
    fault.nets = {net};
    switch (dice.below(4)) {
    case 0:
        fault.kind = FaultKind::Open;
        fault.pins = {{net, kDriverPin}};
        break;
    case 1: {
        fault.kind = FaultKind::Open;
        size_t receiver = dice.below(nets[net].receivers.size());
        receiver = nets[net].receivers[receiver].at_driver ? kDriverPin : receiver;
        fault.pins = {{net, receiver}};
        break;
    }
    case 2:
        fault.kind = FaultKind::Stuck;
        break;
    default:
        fault.kind = FaultKind::Short;
        fault.short_kind = kind;
        while (fault.nets.size() < 2) {
            if (const size_t other = dice.below(nets.size()); other != net) {
                fault.nets.push_back(other);
            }
        }
        break;
    }
    return fault;
}

Case random_case(uint64_t seed, size_t faults) {
    Dice dice(seed);
    Case one;
    const size_t nets = 2 + dice.below(dice.below(16) == 0 ? 300 : 12);
    for (size_t n = 0; n < nets; ++n) {
        one.nets.push_back(random_net(dice, n));
        one.pulls.push_back(dice.flip());
    }
    // One technology on one board: what its shorts do is the same everywhere.
    const auto kind = static_cast<ShortKind>(dice.below(3));
    for (size_t f = 0; f < faults; ++f) {
        one.faults.push_back(random_fault(dice, one.nets, kind));
    }
    return one;
}

struct Tested {
    std::vector<Vector> vectors;
    Readings readings;
    Diagnosis diagnosis;
};

void append(Readings& readings, const Readings& more) {
    for (size_t n = 0; n < readings.size(); ++n) {
        for (size_t r = 0; r < readings[n].size(); ++r) {
            readings[n][r].append(more[n][r]);
        }
    }
}

Tested test_board(const Case& one) {
    const BoardModel board(one.nets, one.faults, one.pulls);
    Tested tested;
    tested.vectors = counting_sequence(one.nets.size());
    tested.readings = board.apply(tested.vectors);
    const std::vector<size_t> closer =
        suspects(one.nets, tested.vectors, tested.readings, kMostSuspects);
    if (!closer.empty()) {
        const std::vector<Vector> more = closer_look(closer);
        append(tested.readings, board.apply(more));
        tested.vectors.insert(tested.vectors.end(), more.begin(), more.end());
    }
    tested.diagnosis = diagnose(one.nets, tested.vectors, tested.readings);
    return tested;
}

bool holds(const std::vector<size_t>& list, size_t one) {
    return std::find(list.begin(), list.end(), one) != list.end();
}

bool names(const Fault& said, const Fault& real) {
    switch (real.kind) {
    case FaultKind::Open:
        return said.kind == FaultKind::Open &&
               std::find(said.pins.begin(), said.pins.end(), real.pins[0]) != said.pins.end();
    case FaultKind::Stuck:
        return said.kind == FaultKind::Stuck && holds(said.nets, real.nets[0]);
    case FaultKind::Short:
        break;
    }
    return said.kind != FaultKind::Open && holds(said.nets, real.nets[0]) &&
           holds(said.nets, real.nets[1]);
}

bool named(const Diagnosis& diagnosis, const Fault& real) {
    for (const Finding& finding : diagnosis.findings) {
        for (const Explanation& explanation : finding.explanations) {
            for (const Fault& said : explanation) {
                if (names(said, real)) {
                    return true;
                }
            }
        }
    }
    return false;
}

// Whether the board reads the same without the fault, given that nobody knows what pins without
// contact read: nobody can find it then.
bool hidden(const Case& one, const Tested& tested, size_t fault) {
    std::vector<Fault> others = one.faults;
    others.erase(others.begin() + static_cast<long>(fault));
    const auto reads_the_same = [&] {
        return BoardModel(one.nets, others, one.pulls).apply(tested.vectors) == tested.readings;
    };
    bool same = reads_the_same();
    for (Fault& other : others) {
        if (other.kind == FaultKind::Open) {
            other.value = !other.value;
            same = same || reads_the_same();
        }
    }
    return same;
}

// The faults of the first explanation of each finding, or of finding `which` its `other`.
std::vector<Fault> said(const Diagnosis& diagnosis, size_t which, size_t other) {
    std::vector<Fault> faults;
    for (size_t f = 0; f < diagnosis.findings.size(); ++f) {
        const Explanation& chosen = diagnosis.findings[f].explanations[f == which ? other : 0];
        faults.insert(faults.end(), chosen.begin(), chosen.end());
    }
    return faults;
}

std::string text(const Case& one) {
    std::string words = fmt::format("{} nets;", one.nets.size());
    for (const Fault& fault : one.faults) {
        words += fmt::format(" kind {} short {} value {} net {}", static_cast<int>(fault.kind),
                             static_cast<int>(fault.short_kind), fault.value, fault.nets[0]);
        if (fault.nets.size() > 1) {
            words += fmt::format("-{}", fault.nets[1]);
        }
        if (!fault.pins.empty()) {
            words += fmt::format(" pin {}", static_cast<long>(fault.pins[0].receiver));
        }
    }
    return words;
}

// Everything that must hold of what is said about a board.
void expect_truth(const Case& one) {
    const Tested tested = test_board(one);
    std::set<size_t> touched;
    for (const Fault& fault : one.faults) {
        touched.insert(fault.nets.begin(), fault.nets.end());
    }
    for (const Finding& finding : tested.diagnosis.findings) {
        EXPECT_TRUE(finding.unclear.empty());
        ASSERT_FALSE(finding.explanations.empty());
        for (const size_t net : finding.nets) {
            EXPECT_TRUE(touched.contains(net)) << "invented at net " << net;
        }
    }
    for (size_t f = 0; f < one.faults.size(); ++f) {
        EXPECT_TRUE(named(tested.diagnosis, one.faults[f]) || hidden(one, tested, f))
            << "not found: fault " << f;
    }
    EXPECT_LE(said(tested.diagnosis, SIZE_MAX, 0).size(), one.faults.size());
    EXPECT_EQ(one.faults.empty(),
              tested.readings == BoardModel(one.nets, {}, one.pulls).apply(tested.vectors));
    for (size_t f = 0; f < tested.diagnosis.findings.size(); ++f) {
        for (size_t e = 0; e < tested.diagnosis.findings[f].explanations.size(); ++e) {
            const std::vector<Fault> faults = said(tested.diagnosis, f, e);
            EXPECT_EQ(BoardModel(one.nets, faults, one.pulls).apply(tested.vectors),
                      tested.readings)
                << "explanation " << e << " of finding " << f << " reads otherwise";
        }
    }
}

void expect_truth_of_boards(size_t faults) {
    for (size_t board = 0; board < kBoards; ++board) {
        const Case one = random_case(kSeed + board, faults);
        SCOPED_TRACE(fmt::format("board {}: {}", board, text(one)));
        expect_truth(one);
        if (testing::Test::HasFailure()) {
            return;
        }
    }
}

TEST(RandomBoardsTest, GoodOnesHaveNoFinding) {
    expect_truth_of_boards(0);
}

TEST(RandomBoardsTest, OneFaultIsFoundAndNamed) {
    expect_truth_of_boards(1);
}

TEST(RandomBoardsTest, TwoFaultsAreFoundAndNamed) {
    expect_truth_of_boards(2);
}

} // namespace
} // namespace talvor::interconnect
