#include "host/chain/device_port.h"
#include "host/scan/shift_line.h"
#include "tests/host/support/chain_port.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>
#include <utility>

namespace talvor {
namespace {

// All that is shifted and received, as a text.
class LoggedPort final : public JtagPort {
public:
    explicit LoggedPort(JtagPort& port) : port_(port) {}

    std::string log;
    uint64_t longest = UINT64_MAX;

    Status can_scan(ScanPath, uint64_t length_bits, bool) const override {
        return length_bits <= longest ? Status()
                                      : Status(refused_error("a scan", "is too long", ""));
    }
    Status can_run(StableState, uint64_t, ClockLine) const override { return {}; }
    Status can_set_trst(TrstLevel) const override { return {}; }
    Status can_set_max_frequency(std::optional<double>) const override { return {}; }
    Status reset_tap() override {
        log += "reset ";
        return port_.reset_tap();
    }
    Status move(StableState to) override {
        log += "move ";
        return port_.move(to);
    }
    Status scan(const Scan& scan) override {
        log += (scan.path == ScanPath::Ir ? "ir " : "dr ") + std::to_string(scan.out->size()) +
               " " + scan.out->to_hex() + " ";
        return port_.scan(scan);
    }
    Status run(StableState state, uint64_t clocks, std::chrono::nanoseconds time) override {
        log += "run ";
        return port_.run(state, clocks, time);
    }
    Status set_trst(TrstLevel level) override { return port_.set_trst(level); }
    Status pulse_trst() override { return port_.reset_tap(); }
    Status set_max_frequency(std::optional<double>) override { return {}; }
    Status flush() override { return {}; }

private:
    JtagPort& port_;
};

std::vector<ChainTap> five() {
    return {{0x2C0DE7E3, 6, 1},
            {0x1A2B3C4D, 4, 1, {{8, 32}, {3, 5}}},
            {std::nullopt, 5, 1},
            {0x3D5A07E3, 8, 1},
            {0x05707E35, 10, 1, {{8, 17}}}};
}

Chain described() {
    Chain chain;
    for (const uint32_t length : {6U, 4U, 5U, 8U, 10U}) {
        chain.devices.push_back({"", std::nullopt, length});
    }
    chain.lengths_known = true;
    return chain;
}

Chain discovered(JtagPort& port) {
    Result<Chain> chain = discover_chain(port, std::vector<uint32_t>{6, 4, 5, 8, 10});
    EXPECT_TRUE(chain) << headline(chain.error());
    return chain.value_or(described());
}

void expect_ok(const Status& status) {
    EXPECT_TRUE(status) << headline(status.error());
}

std::string answer(JtagPort& port, ScanPath path, const Bits& out,
                   StableState end = StableState::Idle) {
    Bits in;
    expect_ok(port.scan({path, &out, &in, end}));
    return in.to_hex();
}

TEST(DevicePortTest, OnesGoAroundTheDevicesOwnBits) {
    ChainPort chain(five());
    LoggedPort logged(chain);
    DevicePort port(logged, place_of(described(), 1, IdCodes::Unknown));
    EXPECT_EQ(answer(port, ScanPath::Ir, Bits::from_uint(8, 4)), "1");
    EXPECT_EQ(answer(port, ScanPath::Dr, Bits::from_uint(0x12345678, 32)), "00000000");
    EXPECT_EQ(answer(port, ScanPath::Dr, Bits::from_uint(0, 32)), "12345678");
    // 23 bits nearer TDO, 6 nearer TDI; then 3 and 1.
    EXPECT_EQ(logged.log, "ir 33 1FC7FFFFF dr 36 891A2B3C7 dr 36 800000007 ");
}

TEST(DevicePortTest, PiecesOfAScanAreOneScanOfTheChain) {
    ChainPort chain(five());
    LoggedPort logged(chain);
    DevicePort port(logged, place_of(described(), 1, IdCodes::Unknown));
    (void)answer(port, ScanPath::Ir, Bits::from_uint(8, 4));
    logged.log.clear();
    (void)answer(port, ScanPath::Dr, Bits::from_uint(0x5678, 16), StableState::PauseDr);
    (void)answer(port, ScanPath::Dr, Bits::from_uint(0x34, 8), StableState::PauseDr);
    expect_ok(port.run(StableState::PauseDr, 3, std::chrono::nanoseconds(0)));
    (void)answer(port, ScanPath::Dr, Bits::from_uint(0x12, 8), StableState::PauseDr);
    expect_ok(port.move(StableState::Idle));
    EXPECT_EQ(logged.log, "dr 19 2B3C7 dr 8 34 run dr 8 12 dr 1 1 move ");
    EXPECT_EQ(answer(port, ScanPath::Dr, Bits(32)), "12345678");
}

TEST(DevicePortTest, BehindAResetTheOthersAnswerWithTheirIdCodes) {
    ChainPort chain(five());
    DevicePort port(chain, place_of(discovered(chain), 1, IdCodes::Read));
    expect_ok(port.reset_tap());
    EXPECT_EQ(answer(port, ScanPath::Dr, Bits(32)), "1A2B3C4D");
    EXPECT_EQ(answer(port, ScanPath::Dr, Bits(32)), "1A2B3C4D");
    (void)answer(port, ScanPath::Ir, Bits::from_uint(8, 4));
    EXPECT_EQ(answer(port, ScanPath::Dr, Bits::from_uint(0xABCDEF01, 32)), "00000000");
    EXPECT_EQ(answer(port, ScanPath::Dr, Bits(32)), "ABCDEF01");
    expect_ok(port.move(StableState::Reset));
    EXPECT_EQ(answer(port, ScanPath::Dr, Bits(32)), "1A2B3C4D");
}

TEST(DevicePortTest, IdCodesThatNobodyHasReadAreNotGuessed) {
    ChainPort chain(five());
    DevicePort port(chain, place_of(described(), 1, IdCodes::Unknown));
    expect_ok(port.reset_tap());
    const Bits out(32);
    const Status refused = port.scan({ScanPath::Dr, &out, nullptr, StableState::Idle});
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().kind, ErrorKind::Refused);
    EXPECT_FALSE(refused.error().next_step.empty());
    (void)answer(port, ScanPath::Ir, Bits::from_uint(8, 4));
    expect_ok(port.scan({ScanPath::Dr, &out, nullptr, StableState::Idle}));
}

TEST(DevicePortTest, ACaptureThatIsLoadedStaysTheDevicesOwn) {
    ChainPort chain(five());
    DevicePort port(chain, place_of(discovered(chain), 1, IdCodes::Read));
    ChainPort alone({five()[1]});
    for (JtagPort* one : {static_cast<JtagPort*>(&port), static_cast<JtagPort*>(&alone)}) {
        expect_ok(one->reset_tap());
        expect_ok(one->move(StableState::PauseIr));
        expect_ok(one->run(StableState::PauseIr, 2, std::chrono::nanoseconds(0)));
        expect_ok(one->move(StableState::Idle));
    }
    // The device holds 0001, which is BYPASS in the model, and so do the others.
    EXPECT_EQ(answer(alone, ScanPath::Dr, Bits::from_uint(0, 1)), "0");
    EXPECT_EQ(answer(port, ScanPath::Dr, Bits::from_uint(0, 1)), "0");
    (void)answer(port, ScanPath::Ir, Bits::ones(4));
    EXPECT_TRUE(chain.all_bypassed());
}

TEST(DevicePortTest, TheLongestScanIsThatOfTheChain) {
    ChainPort chain(five());
    LoggedPort logged(chain);
    const DevicePort port(logged, place_of(discovered(chain), 1, IdCodes::Read));
    logged.longest = 4 * 32 + 1;
    expect_ok(port.can_scan(ScanPath::Dr, 32, true));
    EXPECT_FALSE(port.can_scan(ScanPath::Dr, 33, true));
    logged.longest = 33;
    expect_ok(port.can_scan(ScanPath::Ir, 4, true));
    EXPECT_FALSE(port.can_scan(ScanPath::Ir, 5, true));
}

// A session of a single device, the same one for the same seed: begins and ends each of its steps
// in Run-Test/Idle or Test-Logic-Reset, and knows how long the device's register is.
class Session {
public:
    Session(JtagPort& port, uint32_t seed) : port_(port), random_(seed) {}

    // Everything that the device answers.
    std::string play(int steps) {
        expect_ok(port_.reset_tap());
        for (int i = 0; i < steps; ++i) {
            step();
        }
        return text_;
    }

private:
    uint32_t dice(size_t sides) { return static_cast<uint32_t>(random_() % sides); }

    void step() {
        switch (dice(8)) {
        case 0:
            expect_ok(dice(2) != 0 ? port_.reset_tap() : port_.move(StableState::Reset));
            length_ = 32;
            break;
        case 1:
            through(StableState::PauseDr);
            break;
        case 2:
            through(StableState::PauseIr);
            length_ = 1; // the capture, 0001, is BYPASS
            break;
        case 3:
        case 4: {
            const auto [code, length] = std::array<std::pair<uint64_t, size_t>, 3>{
                std::pair{8, 32}, std::pair{3, 5}, std::pair{15, 1}}[dice(3)];
            length_ = length;
            shift(ScanPath::Ir, Bits::from_uint(code, 4));
            break;
        }
        default:
            shift(ScanPath::Dr, Bits::from_uint(random_(), length_));
        }
    }

    void through(StableState pause) {
        expect_ok(port_.move(pause));
        expect_ok(port_.run(pause, dice(3), std::chrono::nanoseconds(0)));
        expect_ok(port_.move(dice(2) != 0 ? StableState::Idle : StableState::PauseDr));
        expect_ok(port_.run(StableState::Idle, dice(3), std::chrono::nanoseconds(0)));
    }

    // In up to three pieces, some of which nobody reads, sometimes from a Pause state.
    void shift(ScanPath path, const Bits& out) {
        if (dice(4) == 0) {
            expect_ok(port_.move(pause_state(path)));
        }
        size_t done = 0;
        while (done < out.size()) {
            const size_t left = out.size() - done;
            const size_t bits = dice(2) != 0 ? left : 1 + dice(left);
            const bool last = bits == left;
            const bool rests = !last || dice(4) == 0;
            const Bits piece = out.slice(done, bits);
            Bits in;
            expect_ok(port_.scan({path, &piece, dice(3) != 0 ? &in : nullptr,
                                  rests ? pause_state(path) : StableState::Idle}));
            text_ += in.to_hex() + " ";
            done += bits;
        }
        expect_ok(port_.move(StableState::Idle));
    }

    JtagPort& port_;
    std::mt19937 random_;
    size_t length_ = 32;
    std::string text_;
};

TEST(DevicePortTest, ADeviceOfAChainAnswersAsItWouldAlone) {
    for (uint32_t seed = 0; seed < 100; ++seed) {
        ChainPort alone({five()[1]});
        ChainPort chain(five());
        DevicePort port(chain, place_of(discovered(chain), 1, IdCodes::Read));
        ASSERT_EQ(Session(port, seed).play(60), Session(alone, seed).play(60)) << seed;
    }
}

} // namespace
} // namespace talvor
