#include "board_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace talvor::podsim::board {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Four pins P0 to P3, each with a cell of type BC_7 and one control cell that enables it by a one:
// data cells 0 to 3, control cells 4 to 7.
constexpr size_t kPins = 4;
constexpr unsigned kCells = 8;
constexpr uint64_t kAll = 0xFF;

DeviceDescription quad(const std::string& name, DisableResult rest = DisableResult::Z) {
    DeviceMaker maker;
    for (size_t i = 0; i < kPins; ++i) {
        const size_t pin = maker.pin("P" + std::to_string(i), PortMode::InOut);
        maker.driver("BC_7", CellFunction::Bidir, pin, kPins + i, '0', rest);
    }
    for (size_t i = 0; i < kPins; ++i) {
        maker.cell("BC_1", CellFunction::Control);
    }
    return maker.described(name);
}

// Cells of a quad: the pins of `on` drive, at the levels of `levels`.
constexpr uint64_t cells(uint64_t on, uint64_t levels) {
    return on << kPins | levels;
}

// Two quads, "a" nearest TDI, whose pins of the same number are joined by nets N0 to N3.
ChainDescription pair_of_quads(DisableResult rest = DisableResult::Z) {
    ChainDescription chain = chain_of({quad("a", rest), quad("b", rest)});
    for (size_t i = 0; i < kPins; ++i) {
        chain.board.nets.push_back(net("N" + std::to_string(i), {{0, i}, {1, i}}));
    }
    return chain;
}

// The levels that "b" sees when "a" drives all its pins at `levels`, and "b" none.
class Pair {
public:
    explicit Pair(const ChainDescription& chain) : host(chain) { host.instruction(kExtest); }

    uint64_t seen(uint64_t levels) { return exchange(cells(0xF, levels), 0) & 0xF; }
    // What both capture after they drive so; "b" in the low byte.
    uint64_t exchange(uint64_t a, uint64_t b) {
        host.data(a << kCells | b, 2 * kCells);
        return host.data(a << kCells | b, 2 * kCells);
    }
    void fault(BoardFault fault) {
        const Status done = host.chain.add_fault(fault);
        EXPECT_TRUE(done) << (done ? "" : headline(done.error()));
    }
    std::string refusal(BoardFault fault) {
        const Status done = host.chain.add_fault(fault);
        return done ? "done" : headline(done.error());
    }

    Host host;
};

using Kind = BoardFault::Kind;
using Model = BoardFault::Model;

BoardFault open(const std::string& place) {
    return {.kind = Kind::Open, .places = {place}};
}
BoardFault stuck(const std::string& place, bool level) {
    return {.kind = Kind::Stuck, .places = {place}, .level = level};
}
BoardFault shorted(std::vector<std::string> nets, Model model) {
    return {.kind = Kind::Short, .places = std::move(nets), .model = model};
}

TEST(BoardTest, ANetCarriesWhatOnePinDrivesToTheOthers) {
    Pair pair(pair_of_quads());
    for (uint64_t levels = 0; levels < 16; ++levels) {
        EXPECT_EQ(pair.seen(levels), levels);
        EXPECT_EQ(pair.exchange(0, cells(0xF, levels)) >> kCells & 0xF, levels);
    }
    EXPECT_EQ(pair.host.chain.take_finding(), "");
}

TEST(BoardTest, WhatNothingDrivesReadsPullsThenTheFloatingLevel) {
    ChainDescription chain = pair_of_quads();
    chain.board.floating = false;
    chain.board.nets[1].pull = true;
    chain.board.nets[2].floating = true;
    chain.board.nets[3].drive = true;
    Pair pair(chain);
    EXPECT_EQ(pair.exchange(0, 0) & 0xF, 0b1110U);
    EXPECT_EQ(pair.exchange(cells(0b0110, 0), 0) & 0xF, 0b1000U); // an output is stronger
    ASSERT_TRUE(pair.host.chain.set_drive("N3", false));
    EXPECT_EQ(pair.exchange(0, 0) & 0xF, 0b0110U);
    ASSERT_TRUE(pair.host.chain.set_drive("N3", std::nullopt));
    ASSERT_TRUE(pair.host.chain.set_drive("N0", true));
    EXPECT_EQ(pair.exchange(0, 0) & 0xF, 0b0111U);
}

TEST(BoardTest, PullsOfTheDevicesAreWeakerThanOutputsAndMeetAtZero) {
    ChainDescription chain = pair_of_quads(DisableResult::Pull1);
    chain.board.nets[1].pull = false;
    Pair pair(chain);
    EXPECT_EQ(pair.exchange(0, 0) & 0xF, 0b1101U);
    EXPECT_EQ(pair.exchange(cells(0b0110, 0b0010), 0) & 0xF, 0b1011U);
    // What a file calls weak gives way to the board's resistor.
    chain = pair_of_quads(DisableResult::Weak1);
    chain.board.nets[1].pull = false;
    EXPECT_EQ(Pair(chain).exchange(0, 0) & 0xF, 0b1101U);
}

TEST(BoardTest, KeepersHoldTheLevelOfTheirNet) {
    Pair pair(pair_of_quads(DisableResult::Keeper));
    EXPECT_EQ(pair.seen(0b0101), 0b0101U);
    EXPECT_EQ(pair.exchange(0, 0) & 0xF, 0b0101U);
    EXPECT_EQ(pair.exchange(0, cells(0b1100, 0b1000)) & 0xF, 0b1001U);
    EXPECT_EQ(pair.exchange(0, 0) & 0xF, 0b1001U);
}

TEST(BoardTest, OutputsAgainstEachOtherAreFoundOnceAndComeToZero) {
    Pair pair(pair_of_quads());
    EXPECT_EQ(pair.exchange(cells(0b0011, 0b0001), cells(0b0001, 0)) & 0xF, 0b1100U);
    EXPECT_EQ(pair.host.chain.take_finding(), "net N0: a.P0 drives 1 against b.P0, which drives 0");
    EXPECT_TRUE(pair.host.chain.board().net_state(0).contention);
    EXPECT_FALSE(pair.host.chain.board().net_state(1).contention);
    // It lasts, and is not told again; one that comes back is.
    pair.exchange(cells(0b0011, 0b0001), cells(0b0001, 0));
    EXPECT_EQ(pair.host.chain.take_finding(), "");
    pair.exchange(0, 0);
    EXPECT_FALSE(pair.host.chain.board().net_state(0).contention);
    pair.exchange(cells(0b1111, 0), cells(0b1111, 0b1111));
    EXPECT_EQ(pair.host.chain.take_finding(),
              "net N0: b.P0 drives 1 against a.P0, which drives 0; 3 more nets likewise");
    // The same levels from both sides are none.
    pair.exchange(0, 0);
    pair.exchange(cells(0b1111, 0b0110), cells(0b1111, 0b0110));
    EXPECT_EQ(pair.host.chain.take_finding(), "");
}

TEST(BoardTest, TheBoardIsAnOutputToo) {
    ChainDescription chain = pair_of_quads();
    chain.board.nets[0].drive = true;
    chain.board.nets[1].drive = false;
    Pair pair(chain);
    pair.exchange(cells(0b0001, 0), 0);
    EXPECT_EQ(pair.host.chain.take_finding(),
              "net N0: the board drives 1 against a.P0, which drives 0");
    pair.exchange(cells(0b0010, 0b0010), 0);
    EXPECT_EQ(pair.host.chain.take_finding(),
              "net N1: a.P1 drives 1 against the board, which drives 0");
}

TEST(BoardTest, DevicesAgainstEachOtherAreNoMistakeOfTheHost) {
    Host host(pair_of_quads());
    ASSERT_TRUE(host.chain.set_core("a.P0", Core::High));
    ASSERT_TRUE(host.chain.set_core("b.P0", Core::Low));
    EXPECT_TRUE(host.chain.board().net_state(0).contention);
    EXPECT_EQ(host.chain.take_finding(), "");
    // Until it lasts while cells drive.
    host.preload(cells(1, 1) << kCells | cells(1, 0), 2 * kCells);
    EXPECT_EQ(host.chain.take_finding(), "");
    host.instruction(kExtest);
    EXPECT_EQ(host.chain.take_finding(), "net N0: a.P0 drives 1 against b.P0, which drives 0");
}

TEST(BoardTest, OpensLeavePinsAlone) {
    Pair pair(pair_of_quads());
    pair.fault(open("N0"));
    pair.fault(open("a.P1"));
    pair.fault(open("b.3"));
    // They float.
    EXPECT_EQ(pair.seen(0), 0b0111U);
    // What drives sees itself.
    EXPECT_EQ(pair.exchange(cells(0xF, 0), 0) >> kCells & 0xF, 0U);
    ASSERT_TRUE(pair.host.chain.mend_fault(open("b.P2")));
    ASSERT_TRUE(pair.host.chain.mend_fault(open("N0")));
    EXPECT_EQ(pair.seen(0), 0b0010U);
    EXPECT_THAT(pair.host.chain.faults(), ElementsAre(open("a.P1")));
    pair.host.chain.mend_all();
    EXPECT_EQ(pair.seen(0), 0U);
}

TEST(BoardTest, AnOpenJointKeepsOutputsApart) {
    Pair pair(pair_of_quads());
    pair.fault(open("b.P0"));
    pair.exchange(cells(1, 1), cells(1, 0));
    EXPECT_EQ(pair.host.chain.take_finding(), "");
}

TEST(BoardTest, OfThreePinsAnOpenLeavesTheOthersJoined) {
    ChainDescription chain = chain_of({quad("a"), quad("b")});
    chain.board.nets.push_back(net("N", {{0, 0}, {1, 0}, {1, 1}}));
    Pair pair(chain);
    EXPECT_EQ(pair.exchange(cells(1, 0), 0) & 3U, 0b00U);
    pair.fault(open("b.P0"));
    EXPECT_EQ(pair.exchange(cells(1, 0), 0) & 3U, 0b01U);
    pair.fault(open("N"));
    EXPECT_EQ(pair.exchange(cells(1, 0), 0) & 3U, 0b11U);
}

TEST(BoardTest, AStuckNetIsStrongerThanOutputs) {
    Pair pair(pair_of_quads());
    pair.fault(stuck("N0", false));
    pair.fault(stuck("N1", true));
    EXPECT_EQ(pair.seen(0xF), 0b1110U);
    EXPECT_EQ(pair.seen(0x0), 0b0010U);
    EXPECT_EQ(pair.host.chain.take_finding(), ""); // the host cannot know
    // The same place with another level is another fault instead.
    pair.fault(stuck("N0", true));
    EXPECT_THAT(pair.host.chain.faults(), ElementsAre(stuck("N0", true), stuck("N1", true)));
    EXPECT_EQ(pair.seen(0x0), 0b0011U);
}

TEST(BoardTest, AStuckPinSeesAndDrivesOneLevel) {
    Pair pair(pair_of_quads());
    pair.fault(stuck("a.P0", false));
    pair.fault(stuck("b.P1", true));
    // From a: its P0 drives 0, and b's P1 sees 1.
    EXPECT_EQ(pair.seen(0xF), 0b1110U);
    EXPECT_EQ(pair.seen(0x0), 0b0010U);
    // From b: its P1 drives 1, and a's P0 sees 0.
    EXPECT_EQ(pair.exchange(0, cells(0xF, 0xF)) >> kCells & 0xF, 0b1110U);
    EXPECT_EQ(pair.exchange(0, cells(0xF, 0x0)) >> kCells & 0xF, 0b0010U);
    // It pulls nobody who drives nothing.
    EXPECT_EQ(pair.exchange(0, 0) & 1U, 1U);
}

TEST(BoardTest, ShortsComeToWhatTheirModelSays) {
    const struct {
        Model model;
        uint64_t seen[4]; // of N0 and N1, driven as 0 to 3
    } cases[] = {{Model::WiredAnd, {0, 0, 0, 3}},
                 {Model::WiredOr, {0, 3, 3, 3}},
                 {Model::Strong, {0, 0, 3, 3}}}; // N1 is named first
    for (const auto& one : cases) {
        Pair pair(pair_of_quads());
        pair.fault(shorted({"N1", "N0"}, one.model));
        for (uint64_t levels = 0; levels < 4; ++levels) {
            EXPECT_EQ(pair.seen(levels | 0b0100), one.seen[levels] | 0b0100)
                << name_of(one.model) << levels;
        }
        EXPECT_EQ(pair.host.chain.take_finding(), "");
        // A net that nobody drives follows the other, whatever the model.
        EXPECT_EQ(pair.exchange(cells(0b0001, 0), 0) & 3U, 0U);
        EXPECT_EQ(pair.exchange(cells(0b0010, 0b0010), 0) & 3U, 3U);
    }
}

TEST(BoardTest, ShortsThatTouchAreOneAndTheEarliestSays) {
    Pair pair(pair_of_quads());
    pair.fault(shorted({"N0", "N1"}, Model::WiredOr));
    pair.fault(shorted({"N2", "N3"}, Model::WiredAnd));
    EXPECT_EQ(pair.seen(0b0101), 0b0011U);
    pair.fault(shorted({"N3", "N1"}, Model::WiredAnd));
    EXPECT_EQ(pair.seen(0b0101), 0b1111U);
    EXPECT_EQ(pair.seen(0), 0U);
    ASSERT_TRUE(pair.host.chain.mend_fault(shorted({"N0", "N1"}, Model::Strong)));
    EXPECT_EQ(pair.seen(0b0101), 0b0001U);
}

TEST(BoardTest, AShortToAStuckNetIsStuck) {
    Pair pair(pair_of_quads());
    pair.fault(shorted({"N0", "N1"}, Model::WiredOr));
    pair.fault(stuck("N1", false));
    EXPECT_EQ(pair.seen(0xF), 0b1100U);
}

TEST(BoardTest, ADeadDeviceDrivesNothingAndItsTdoStandsStill) {
    ChainDescription chain = chain_of({quad("a"), quad("b"), quad("c")});
    chain.board.nets.push_back(net("N", {{0, 0}, {1, 0}, {2, 0}}));
    Host host(chain);
    host.instruction(kSample);
    host.data(cells(1, 0) << kCells, 3 * kCells); // b drives 0
    host.instruction(kExtest);
    EXPECT_EQ(host.data(cells(1, 0) << kCells, 3 * kCells) & 1, 0U);
    for (const bool level : {true, false}) {
        ASSERT_TRUE(host.chain.add_fault({.kind = Kind::Dead, .places = {"b"}, .level = level}));
        // c still answers, then comes what b gives for ever.
        const uint64_t rest = level ? low_mask(40) << kCells : 0;
        EXPECT_EQ(host.data(0, 40 + kCells), rest | 0x0F) << level;
        EXPECT_EQ(host.data(low_mask(48), 48), rest | 0x0F) << level;
        // c has got the dead level too, and a what came last.
        EXPECT_EQ(host.chain.device(0).instruction(), kExtest);
        host.instruction(kSample);
        EXPECT_EQ(host.chain.device(2).instruction(), level ? 0xFU : 0U);
        EXPECT_EQ(host.chain.device(0).instruction(), kSample);
        host.chain.mend_all();
        EXPECT_EQ(host.chain.device(1).instruction(), 0xFU); // as after power-on
        host.instruction(kExtest);
        host.data(0, 3 * kCells);
    }
}

TEST(BoardTest, ADeadChainAnswersNothing) {
    Host host(chain_of({quad("a"), quad("b")}));
    ASSERT_TRUE(host.chain.add_fault({.kind = Kind::Dead, .places = {"b"}, .level = false}));
    ASSERT_TRUE(host.chain.add_fault({.kind = Kind::Dead, .places = {"a"}}));
    host.instruction(kSample);
    EXPECT_EQ(host.data(low_mask(60), 60), 0U);
    ASSERT_TRUE(host.chain.mend_fault({.kind = Kind::Dead, .places = {"b"}}));
    EXPECT_EQ(host.data(0, 60), low_mask(60) & ~uint64_t{1}); // b's BYPASS, then a's TDO
}

TEST(BoardTest, SwappedDevicesAnswerInEachOthersPlace) {
    ChainDescription chain = chain_of({quad("a"), quad("b"), quad("c")});
    Host host(chain);
    for (const char* pin : {"a.P0", "b.P1", "c.P2"}) {
        ASSERT_TRUE(host.chain.set_core(pin, Core::Low));
    }
    const auto sampled = [&] {
        host.instruction(kSample);
        return host.data(0, 3 * kCells);
    };
    constexpr uint64_t kA = cells(1, 0xE);
    constexpr uint64_t kB = cells(2, 0xD);
    constexpr uint64_t kC = cells(4, 0xB);
    EXPECT_EQ(sampled(), kA << 16 | kB << 8 | kC);
    ASSERT_TRUE(host.chain.add_fault({.kind = Kind::Swapped, .places = {"a", "c"}}));
    EXPECT_EQ(sampled(), kC << 16 | kB << 8 | kA);
    ASSERT_TRUE(host.chain.add_fault({.kind = Kind::Swapped, .places = {"a", "b"}}));
    EXPECT_EQ(sampled(), kC << 16 | kA << 8 | kB);
    host.chain.mend_all();
    EXPECT_EQ(sampled(), kA << 16 | kB << 8 | kC);
}

TEST(BoardTest, FaultsOfTheDescriptionHoldFromTheStartAndOutliveTheSupply) {
    ChainDescription chain = pair_of_quads();
    chain.board.faults = {stuck("N0", false), open("N1")};
    Pair pair(chain);
    EXPECT_EQ(pair.seen(0b1101), 0b1110U);
    ASSERT_TRUE(pair.host.chain.power_on());
    pair.host.instruction(kExtest);
    EXPECT_EQ(pair.seen(0b1101), 0b1110U);
}

TEST(BoardTest, NamesWhatItDoesNotHave) {
    Pair pair(pair_of_quads());
    EXPECT_EQ(pair.refusal(open("N9")), "this board has no net and no pin 'N9'");
    EXPECT_EQ(pair.refusal(stuck("a.P9", false)), "this board has no net and no pin 'a.P9'");
    EXPECT_EQ(pair.refusal(shorted({"N0", "a.P1"}, Model::WiredAnd)),
              "this board has no net 'a.P1'");
    EXPECT_EQ(pair.refusal(shorted({"N0", "N0"}, Model::WiredOr)),
              "short N0 N0 wired-or names the same twice");
    EXPECT_EQ(pair.refusal({.kind = Kind::Dead, .places = {"N0"}}),
              "this chain has no device 'N0'");
    EXPECT_THAT(pair.host.chain.faults(), IsEmpty());
    const Status mended = pair.host.chain.mend_fault(open("N0"));
    EXPECT_EQ(mended ? "" : headline(mended.error()), "there is no such fault as 'open N0'");
    const Status core = pair.host.chain.set_core("N0", Core::Low);
    EXPECT_EQ(core ? "" : headline(core.error()), "this board has no pin 'N0'");
    const Status drive = pair.host.chain.set_drive("a.P0", true);
    EXPECT_EQ(drive ? "" : headline(drive.error()), "this board has no net 'a.P0'");
}

TEST(BoardTest, TheLogicOfADeviceCannotDoWhatItsPinsCannot) {
    DeviceMaker maker;
    maker.cell("BC_1", CellFunction::Input, maker.pin("IN", PortMode::In));
    maker.cell("BC_1", CellFunction::Output2, maker.pin("OUT", PortMode::Out));
    Host host(chain_of({maker.described("u")}));
    const Status in = host.chain.set_core("u.IN", Core::Low);
    EXPECT_THAT(in ? "" : headline(in.error()), HasSubstr("IN is an input"));
    const Status off = host.chain.set_core("u.OUT", Core::Off);
    EXPECT_THAT(off ? "" : headline(off.error()), HasSubstr("OUT is always driven"));
}

// Registers in plain form stand on the same board.
TEST(BoardTest, PlainPinsTakePartInNetsAndFaults) {
    DeviceDescription plain;
    plain.name = "p";
    plain.instruction_bits = 4;
    plain.registers.push_back(
        {"pins", {}, BoundaryRegister{0, 1, {{"out", true, true}, {"in", false, true}}}});
    ChainDescription chain = chain_of({plain, quad("q")});
    chain.nets.push_back({0, 0, 0, 1});
    Host host(chain);
    ASSERT_TRUE(host.chain.add_fault(stuck("p.in", false)));
    host.instruction(kSample);
    EXPECT_EQ(host.data(0, 10) >> kCells, 0b01U);
    ASSERT_TRUE(host.chain.add_fault(open("p.in")));
    host.chain.mend_all();
    EXPECT_EQ(host.data(0, 10) >> kCells, 0b11U);
    ASSERT_TRUE(host.chain.set_core("p.out", Core::Low));
    EXPECT_EQ(host.data(0, 10) >> kCells, 0b00U);
    EXPECT_EQ(host.chain.board().net_state(0).name, "p.out");
    EXPECT_THAT(host.chain.board().net_state(0).pins, ElementsAre("p.out", "p.in"));
}

// Whatever is wrong: the same drives give the same levels, whichever way the board came there, and
// mending everything brings back a board without faults.
TEST(BoardTest, RandomFaultsDependOnNothingThatWasBefore) {
    std::mt19937 random(5);
    const auto up_to = [&](uint64_t most) { return random() % (most + 1); };
    for (int round = 0; round < 300; ++round) {
        std::vector<BoardFault> faults;
        const auto place = [&] {
            const std::string number = std::to_string(up_to(3));
            return up_to(1) != 0 ? "N" + number : (up_to(1) != 0 ? "a.P" : "b.P") + number;
        };
        for (uint64_t i = up_to(3) + 1; i > 0; --i) {
            const uint64_t first = up_to(3);
            const std::vector<std::string> nets{"N" + std::to_string(first),
                                                "N" + std::to_string((first + 1 + up_to(2)) % 4)};
            const BoardFault kinds[] = {open(place()), stuck(place(), up_to(1) != 0),
                                        shorted(nets, static_cast<Model>(up_to(2)))};
            faults.push_back(kinds[up_to(2)]);
        }
        const uint64_t a = random() & kAll;
        const uint64_t b = random() & kAll;
        Pair fresh(pair_of_quads());
        Pair used(pair_of_quads());
        used.fault(open("N0"));
        used.exchange(random() & kAll, random() & kAll);
        used.host.chain.mend_all();
        for (const BoardFault& fault : faults) {
            fresh.fault(fault);
            used.fault(fault);
        }
        EXPECT_EQ(fresh.exchange(a, b), used.exchange(a, b)) << round;
        used.host.chain.mend_all();
        Pair good(pair_of_quads());
        EXPECT_EQ(good.exchange(a, b), used.exchange(a, b)) << round;
    }
}

} // namespace
} // namespace talvor::podsim::board
