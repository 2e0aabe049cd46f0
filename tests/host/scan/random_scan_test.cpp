// Random scans, in one piece and in many, over random chains: the answers, bit by bit, and what the
// registers are updated with are those of the same clocks on the bare chain.
//
// TALVOR_SCAN_CASES says how many scans are tried.
#include "host/scan/exact_scan.h"
#include "tests/host/scan/scan_target.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

namespace talvor {
namespace {

constexpr uint64_t kCases = 30'000;
constexpr size_t kScansAChain = 12;

uint64_t wanted_cases() {
    const char* text = std::getenv("TALVOR_SCAN_CASES");
    return text == nullptr ? kCases : std::strtoull(text, nullptr, 10);
}

class RandomScans {
public:
    explicit RandomScans(uint64_t seed)
        : random_(seed), taps_(random_taps()), bare_(ScanTarget(taps_, seed)),
          line_(ScanTarget(taps_, seed), static_cast<uint16_t>(random_())), scan_(line_) {}

    // One scan, or a move; false when something differs.
    void step() {
        if (chance(10)) {
            move(random_state());
            return;
        }
        scan(chance(25) ? ScanPath::Ir : ScanPath::Dr);
    }

    [[nodiscard]] uint64_t clocks() const { return line_.clocks; }
    [[nodiscard]] uint64_t client_clocks() const { return client_clocks_; }
    [[nodiscard]] uint64_t exchanges() const { return line_.exchanges; }

private:
    size_t below(size_t bound) { return static_cast<size_t>(random_() % bound); }
    bool chance(size_t percent) { return below(100) < percent; }

    std::vector<TargetTap> random_taps() {
        std::vector<TargetTap> taps(1 + below(8));
        for (TargetTap& tap : taps) {
            tap.instruction_bits = 2 + below(8);
            for (size_t i = 1 + below(3); i > 0; --i) {
                tap.lengths.push_back(1 + below(chance(5) ? 600 : 40));
            }
            tap.captures = static_cast<Captures>(below(4));
            tap.grows_by = chance(30) ? 1 + below(70) : 0;
        }
        return taps;
    }
    StableState random_state() { return static_cast<StableState>(below(4)); }
    // Around the register's length as often as not.
    size_t random_length() {
        const size_t length = bare_.target().length();
        switch (below(6)) {
        case 0:
            return std::max<size_t>(1, length);
        case 1:
            return length + 1 + below(3);
        case 2:
            return std::max<size_t>(1, length - std::min<size_t>(length, 1 + below(3)));
        default:
            return 1 + below(chance(20) ? 500 : 60);
        }
    }
    Bits random_bits(size_t length) {
        Bits bits(length);
        const size_t kind = below(5);
        for (size_t i = 0; i < length; ++i) {
            bits.set(i, kind == 0 || (kind == 1 && i % 2 == 0) || (kind > 2 && chance(50)));
        }
        return bits;
    }

    void move(StableState to) {
        if (scan_.open()) {
            close(to);
            return;
        }
        ASSERT_TRUE(line_.move(to));
        bare_.move(to);
        scan_.note_reset();
        compare();
    }
    void scan(ScanPath path) {
        if (scan_.open() && scan_.path() != path) {
            close(StableState::Idle);
        }
        if (!scan_.open()) {
            scan_.begin(path);
        }
        for (size_t pieces = chance(40) ? 1 : 1 + below(6); pieces > 0; --pieces) {
            piece(path);
        }
        // Some scans are left open: what comes next goes on with them.
        if (!chance(10)) {
            close(random_state());
        }
    }
    void piece(ScanPath path) {
        const Bits out = random_bits(chance(2) ? 0 : random_length());
        if (!out.empty()) {
            bare_.enter(path);
        }
        Bits expected(out.size());
        for (size_t i = 0; i < out.size(); ++i) {
            expected.set(i, bare_.clock(out[i]));
        }
        client_clocks_ += out.size();
        Bits answer;
        const bool wanted = chance(75);
        ASSERT_TRUE(scan_.piece(out, wanted ? &answer : nullptr));
        if (wanted) {
            ASSERT_EQ(answer, expected);
        }
        if (chance(5)) {
            ASSERT_TRUE(scan_.settle());
            touched_ ? compare_content() : void();
        }
        touched_ = touched_ || !out.empty();
    }
    // A scan without a bit shifts nothing, so it does not even capture.
    void close(StableState end) {
        const ScanPath path = scan_.path();
        if (!touched_) {
            ASSERT_TRUE(line_.move(pause_state(path)));
            bare_.move(pause_state(path));
        }
        touched_ = false;
        ASSERT_TRUE(scan_.finish(end));
        bare_.end_in(path, end);
        compare();
        compare_content();
    }
    void compare_content() {
        ASSERT_EQ(line_.tap().state(), bare_.state());
        ASSERT_EQ(line_.tap().target().content(), bare_.target().content());
    }
    void compare() {
        ASSERT_EQ(line_.tap().state(), bare_.state());
        ASSERT_EQ(line_.tap().target().take_updates(), bare_.target().take_updates());
    }

    std::mt19937_64 random_;
    std::vector<TargetTap> taps_;
    BareTap bare_;
    HeldLine line_;
    ExactScan scan_;
    uint64_t client_clocks_ = 0;
    bool touched_ = false;
};

TEST(ExactScanTest, RandomScansAnswerWhatTheBareChainDoes) {
    uint64_t clocks = 0;
    uint64_t client = 0;
    const uint64_t chains = wanted_cases() / kScansAChain + 1;
    for (uint64_t seed = 1; seed <= chains; ++seed) {
        RandomScans scans(seed);
        for (size_t i = 0; i < kScansAChain; ++i) {
            scans.step();
            ASSERT_FALSE(testing::Test::HasFatalFailure()) << "chain " << seed << ", step " << i;
        }
        clocks += scans.clocks();
        client += scans.client_clocks();
    }
    // Nothing was run in circles, and nothing was left out.
    EXPECT_GT(clocks, client);
    EXPECT_LT(clocks, client * 20);
}

} // namespace
} // namespace talvor
