#include "podsim/model/chain.h"
#include "podsim/model/chain_check.h"
#include "reference_chain.h"

#include <gtest/gtest.h>

#include <random>
#include <span>
#include <string>
#include <vector>

namespace talvor::podsim {
namespace {
using enum TapState;

DeviceDescription device(std::string name, unsigned instruction_bits) {
    DeviceDescription d;
    d.name = std::move(name);
    d.instruction_bits = instruction_bits;
    return d;
}

DeviceDescription with_idcode(DeviceDescription d, uint32_t idcode, uint64_t instruction) {
    d.idcode = idcode;
    d.idcode_instruction = instruction;
    return d;
}

void go(Chain& chain, TapState to) {
    const TmsPath path = shortest_path(chain.state(), to);
    ASSERT_TRUE(path.count == 0 || chain.move(path.tms, path.count, true));
}

// Shifts up to 64 bits and stays in the Shift state.
uint64_t shift(Chain& chain, uint64_t tdi, unsigned count) {
    uint64_t tdo = 0;
    EXPECT_TRUE(chain.shift({&tdi, 1}, {&tdo, 1}, count, false));
    return tdo & low_mask(count);
}

// Loads an instruction into a chain of one and goes to Shift-DR.
void select(Chain& chain, uint64_t instruction, unsigned bits) {
    go(chain, ShiftIr);
    shift(chain, instruction, bits - 1);
    uint64_t last = instruction >> (bits - 1);
    uint64_t tdo = 0;
    ASSERT_TRUE(chain.shift({&last, 1}, {&tdo, 1}, 1, true));
    go(chain, RunTestIdle);
    go(chain, ShiftDr);
}

// Shifts a whole register and updates it; what it captured.
uint64_t exchange(Chain& chain, uint64_t value, unsigned bits) {
    uint64_t tdo = 0;
    EXPECT_TRUE(chain.shift({&value, 1}, {&tdo, 1}, bits, true));
    go(chain, RunTestIdle);
    go(chain, ShiftDr);
    return tdo & low_mask(bits);
}

TEST(ChainTest, InstructionCaptureEndsInOneForEachTapNearestTdoFirst) {
    Chain chain({{device("a", 4), device("b", 5), device("c", 2)}, {}});
    go(chain, ShiftIr);
    // c is nearest TDO: 01, then b: 00001, then a: 0001.
    EXPECT_EQ(shift(chain, 0, 11), 0b0001'00001'01U);
}

TEST(ChainTest, DescribedCapturePatternIsCaptured) {
    DeviceDescription d = device("a", 6);
    d.instruction_capture = 0b101001;
    Chain chain({{d}, {}});
    go(chain, ShiftIr);
    EXPECT_EQ(shift(chain, 0, 6), 0b101001U);
}

TEST(ChainTest, ResetSelectsIdcodeOrBypass) {
    Chain chain({{with_idcode(device("a", 4), 0x0BA00477, 2), device("b", 4),
                  with_idcode(device("c", 4), 0x12345679, 1)},
                 {}});
    EXPECT_EQ(chain.device(0).instruction(), 2U);
    EXPECT_EQ(chain.device(1).instruction(), 0xFU);
    go(chain, ShiftDr);
    EXPECT_EQ(shift(chain, 0, 32), 0x12345679U);
    EXPECT_EQ(shift(chain, 0, 1), 0U); // b's BYPASS
    EXPECT_EQ(shift(chain, 0, 32), 0x0BA00477U);
}

TEST(ChainTest, BypassIsOneBitThatCapturesZero) {
    ChainDescription description;
    for (int i = 0; i < 70; ++i) {
        description.devices.push_back(with_idcode(device("a", 3), 1, 0));
    }
    Chain chain(description);
    // 210 ones into the instruction registers.
    go(chain, ShiftIr);
    const std::vector<uint64_t> ones(4, ~uint64_t{0});
    std::vector<uint64_t> tdo(4);
    ASSERT_TRUE(chain.shift(ones, tdo, 210, true));
    go(chain, ShiftDr);
    ASSERT_TRUE(chain.shift(ones, tdo, 200, false));
    EXPECT_EQ(tdo[0], 0U);
    EXPECT_EQ(tdo[1], ~uint64_t{0} << 6); // 70 zeros in all
    EXPECT_EQ(tdo[2], ~uint64_t{0});
}

TEST(ChainTest, UnknownInstructionSelectsBypass) {
    Chain chain({{with_idcode(device("a", 4), 0x11, 2)}, {}});
    select(chain, 0b0111, 4);
    EXPECT_EQ(shift(chain, 0b1011, 4), 0b0110U);
}

TEST(ChainTest, WithoutDevicesTdiIsTdo) {
    Chain chain(ChainDescription{});
    go(chain, ShiftDr);
    EXPECT_EQ(shift(chain, 0xDEADBEEFCAFEF00D, 64), 0xDEADBEEFCAFEF00D);
}

TEST(ChainTest, ConstantKeepsItsValue) {
    DeviceDescription d = device("a", 4);
    d.registers.push_back({"c", {3}, ConstantRegister{20, {0xABCDE}}});
    Chain chain({{d}, {}});
    select(chain, 3, 4);
    EXPECT_EQ(exchange(chain, 0x12345, 20), 0xABCDEU);
    EXPECT_EQ(exchange(chain, 0, 20), 0xABCDEU);
}

TEST(ChainTest, ScratchCapturesWhatWasUpdated) {
    DeviceDescription d = device("a", 4);
    d.registers.push_back({"s", {3}, ScratchRegister{20, {0x00042}}});
    Chain chain({{d}, {}});
    select(chain, 3, 4);
    EXPECT_EQ(exchange(chain, 0x12345, 20), 0x00042U);
    EXPECT_EQ(exchange(chain, 0xFFFFF, 20), 0x12345U);
    // A reset of the test logic leaves the contents; power does not.
    ASSERT_TRUE(chain.pulse_trst());
    select(chain, 3, 4);
    EXPECT_EQ(exchange(chain, 0, 20), 0xFFFFFU);
    ASSERT_TRUE(chain.power_on());
    EXPECT_EQ(chain.state(), TestLogicReset);
    select(chain, 3, 4);
    EXPECT_EQ(exchange(chain, 0, 20), 0x00042U);
}

TEST(ChainTest, PauseKeepsTheBitsInPlace) {
    DeviceDescription d = device("a", 4);
    d.registers.push_back({"s", {3}, ScratchRegister{32, {0xCAFEF00D}}});
    Chain chain({{d}, {}});
    select(chain, 3, 4);
    EXPECT_EQ(shift(chain, 0x5A, 8), 0x0DU);
    go(chain, PauseDr); // leaves by the edge that shifts one bit of ones
    go(chain, ShiftDr);
    EXPECT_EQ(shift(chain, 0, 23), 0xCAFEF0U >> 1);
    EXPECT_EQ(exchange(chain, 0, 32), 0x15AU);
}

TEST(ChainTest, CounterCountsUpdates) {
    DeviceDescription d = device("a", 4);
    d.registers.push_back({"n", {5}, CounterRegister{2}});
    Chain chain({{d}, {}});
    select(chain, 5, 4);
    for (const uint64_t expected : {0U, 1U, 2U, 3U, 0U}) {
        EXPECT_EQ(exchange(chain, 3, 2), expected);
    }
}

TEST(ChainTest, MemoryReadsAndWritesByAddress) {
    DeviceDescription d = device("a", 4);
    d.registers.push_back({"m", {6}, MemoryRegister{4, 8, 10}});
    Chain chain({{d}, {}});
    const auto word = [](uint64_t operation, uint64_t data, uint64_t address) {
        return operation | data << 2 | address << 10;
    };
    select(chain, 6, 4);
    EXPECT_EQ(exchange(chain, word(2, 0x5A, 9), 14), 0U);
    EXPECT_EQ(exchange(chain, word(2, 0xC3, 0), 14), word(0, 0x5A, 9));
    EXPECT_EQ(exchange(chain, word(1, 0x77, 9), 14), word(0, 0xC3, 0)); // data is not written
    EXPECT_EQ(exchange(chain, word(0, 0x11, 0), 14), word(0, 0x5A, 9));
    EXPECT_EQ(exchange(chain, word(1, 0, 10), 14), word(0, 0x5A, 9)); // nothing happened
    EXPECT_EQ(exchange(chain, word(3, 0, 1), 14), word(3, 0x5A, 10)); // past the RAM
    EXPECT_EQ(exchange(chain, word(1, 0, 0), 14), word(3, 0x5A, 1));  // not an operation
    EXPECT_EQ(exchange(chain, 0, 14), word(0, 0xC3, 0));
}

// Two devices whose pins are wired together, for an interconnection test.
ChainDescription board() {
    DeviceDescription a = device("a", 4);
    a.registers.push_back(
        {"boundary", {}, BoundaryRegister{0, 1, {{"out", true, true}, {"in", false, true}}}});
    DeviceDescription b = device("b", 4);
    b.registers.push_back(
        {"boundary", {}, BoundaryRegister{0, 1, {{"in", false, false}, {"out", true, false}}}});
    return {{a, b}, {{0, 0, 1, 0}, {1, 1, 0, 1}}};
}

TEST(ChainTest, SampleSeesThePinsAndDrivesNothing) {
    Chain chain(board());
    select(chain, 0x11, 8);
    // From TDO: b.in (a's logic drives 1), b.out 0, a.out 1, a.in (b drives 0).
    EXPECT_EQ(exchange(chain, 0b1110, 4), 0b0101U);
    // What was updated is in the latches only.
    EXPECT_EQ(exchange(chain, 0b1110, 4), 0b0101U);
    EXPECT_TRUE(chain.device(0).boundary()->level(0));
}

TEST(ChainTest, ExtestDrivesThePreloadedPins) {
    Chain chain(board());
    select(chain, 0x11, 8);
    exchange(chain, 0b0010, 4); // PRELOAD: b.out 1, a.out 0
    EXPECT_TRUE(chain.device(0).boundary()->level(0));
    select(chain, 0x00, 8); // EXTEST
    EXPECT_FALSE(chain.device(0).boundary()->level(0));
    EXPECT_FALSE(chain.device(1).boundary()->level(0)); // through the wire
    EXPECT_TRUE(chain.device(0).boundary()->level(1));
    EXPECT_EQ(exchange(chain, 0b0100, 4), 0b1010U);
    EXPECT_EQ(exchange(chain, 0b0100, 4), 0b0101U);
    // Test-Logic-Reset gives the pins back to the device's own logic.
    ASSERT_TRUE(chain.pulse_trst());
    EXPECT_TRUE(chain.device(0).boundary()->level(0));
}

TEST(ChainTest, ShiftOutsideAShiftStateMovesAsTmsSays) {
    Chain chain({{with_idcode(device("a", 4), 0x13, 0)}, {}});
    go(chain, RunTestIdle);
    ASSERT_TRUE(chain.move(1, 1, true)); // Select-DR-Scan
    const uint64_t tdi = 0;
    uint64_t tdo = 0;
    // Capture-DR and Shift-DR by zeros, then six bits, the last one to Exit1-DR.
    ASSERT_TRUE(chain.shift({&tdi, 1}, {&tdo, 1}, 8, true));
    EXPECT_EQ(tdo & 0xFF, (0x13U << 2 & 0xFF) | 3U);
    EXPECT_EQ(chain.state(), Exit1Dr);
}

// One random run: the chain and the plain one get the same clocks and must give the same bits.
class RandomWalk {
public:
    explicit RandomWalk(uint64_t seed)
        : random_(seed), description_(reference::random_chain(random_)), chain_(description_),
          plain_(description_) {
        EXPECT_FALSE(check(description_).has_value());
    }

    void run(int steps) {
        for (int i = 0; i < steps && !testing::Test::HasFailure(); ++i) {
            const uint64_t choice = random_() % 64;
            if (choice == 0) {
                EXPECT_TRUE(chain_.pulse_trst());
                plain_.reset();
            } else if (choice == 1) {
                EXPECT_TRUE(chain_.power_on());
                plain_.power_on();
            } else if (is_shift(chain_.state()) || choice < 4) {
                shift();
            } else {
                move();
            }
            ASSERT_EQ(chain_.state(), plain_.state());
            for (size_t d = 0; d < chain_.size(); ++d) {
                ASSERT_EQ(chain_.device(d).instruction(), plain_.device(d).instruction());
            }
        }
    }

private:
    void move() {
        const auto count = static_cast<unsigned>(1 + random_() % (random_() % 8 == 0 ? 64 : 6));
        const uint64_t tms = random_() & random_(); // more zeros than ones
        const bool tdi = (random_() & 1) != 0;
        EXPECT_TRUE(chain_.move(tms, count, tdi));
        for (unsigned i = 0; i < count; ++i) {
            plain_.clock(((tms >> i) & 1) != 0, tdi);
        }
    }

    void shift() {
        const uint64_t count = 1 + random_() % (random_() % 4 == 0 ? 700 : 40);
        const bool leave = (random_() & 3) != 0;
        std::vector<uint64_t> tdi(words_for(count));
        for (uint64_t& word : tdi) {
            word = random_();
        }
        std::vector<uint64_t> tdo(tdi.size(), random_());
        EXPECT_TRUE(chain_.shift(tdi, tdo, count, leave));
        for (uint64_t i = 0; i < count; ++i) {
            const bool expected =
                plain_.clock(leave && i + 1 == count, ((tdi[i / 64] >> (i % 64)) & 1) != 0);
            ASSERT_EQ(((tdo[i / 64] >> (i % 64)) & 1) != 0, expected)
                << "bit " << i << " of " << count;
        }
    }

    std::mt19937_64 random_;
    ChainDescription description_;
    Chain chain_;
    reference::Chain plain_;
};

TEST(ChainTest, RandomWalksMatchAPlainChain) {
    for (uint64_t seed = 1; seed <= 1000; ++seed) {
        RandomWalk walk(seed);
        walk.run(150);
        ASSERT_FALSE(HasFailure()) << "seed " << seed;
    }
}

TEST(ChainTest, FiveOnesResetEveryDeviceFromEveryState) {
    std::mt19937_64 random(7);
    for (size_t state = 0; state < kTapStates; ++state) {
        Chain chain({{with_idcode(device("a", 4), 0x4B1, 2), device("b", 5)}, {}});
        select(chain, 0, 9);
        EXPECT_EQ(chain.device(0).instruction(), 0U);
        go(chain, static_cast<TapState>(state));
        ASSERT_TRUE(chain.move(kResetPath.tms, kResetPath.count, (random() & 1) != 0));
        EXPECT_EQ(chain.state(), TestLogicReset);
        EXPECT_EQ(chain.device(0).instruction(), 2U);
        EXPECT_EQ(chain.device(1).instruction(), 0x1FU);
    }
}

TEST(ChainTest, LongRegisterHoldsEveryBit) {
    constexpr uint64_t kBits = 524'288 + 37;
    DeviceDescription d = device("a", 4);
    d.registers.push_back({"s", {1}, ScratchRegister{kBits, {}}});
    Chain chain({{d}, {}});
    std::mt19937_64 random(3);
    std::vector<uint64_t> sent(words_for(kBits));
    for (uint64_t& word : sent) {
        word = random();
    }
    select(chain, 1, 4);
    std::vector<uint64_t> got(sent.size());
    ASSERT_TRUE(chain.shift(sent, got, kBits, true));
    go(chain, RunTestIdle);
    go(chain, ShiftDr);
    ASSERT_TRUE(chain.shift(sent, got, kBits, true));
    sent.back() &= low_mask(kBits % 64);
    EXPECT_EQ(got, sent);
}

// More instruction bits than any data path has: the ring must hold them all.
TEST(ChainTest, LongInstructionPathHoldsEveryBit) {
    constexpr size_t kDevices = 20;
    ChainDescription description;
    for (size_t i = 0; i < kDevices; ++i) {
        description.devices.push_back(device("d" + std::to_string(i), kMaxInstructionBits));
    }
    Chain chain(description);
    std::mt19937_64 random(11);
    std::vector<uint64_t> sent(kDevices);
    for (uint64_t& word : sent) {
        word = random();
    }
    std::vector<uint64_t> got(kDevices);
    go(chain, ShiftIr);
    ASSERT_TRUE(chain.shift(sent, got, kDevices * kMaxInstructionBits, true));
    go(chain, RunTestIdle);
    for (size_t i = 0; i < kDevices; ++i) {
        EXPECT_EQ(chain.device(kDevices - 1 - i).instruction(), sent[i]) << i;
    }
}

} // namespace
} // namespace talvor::podsim
