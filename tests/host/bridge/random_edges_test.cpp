// Random edges, in random pieces, over random chains: TDO bit by bit, what the registers capture
// and are updated with, and what they hold in between are those of the same edges on the bare
// chain.
//
// TALVOR_EDGE_CASES says how many sequences are tried.
#include "host/bridge/edge_engine.h"
#include "tests/host/bridge/edge_target.h"
#include "tests/host/bridge/random_edges.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>

namespace talvor {
namespace {

constexpr uint64_t kCases = 20'000;
constexpr size_t kSequencesAChain = 12;

uint64_t wanted_cases() {
    const char* text = std::getenv("TALVOR_EDGE_CASES");
    return text == nullptr ? kCases : std::strtoull(text, nullptr, 10);
}

class EdgeComparison {
public:
    explicit EdgeComparison(uint64_t seed)
        : random_(seed), taps_(random_taps()), bare_(ScanTarget(taps_, seed)),
          line_(ScanTarget(taps_, seed), static_cast<uint16_t>(random_())), engine_(line_, {}) {
        // The first reset is one for a target that may stand anywhere, which takes a detour.
        EXPECT_TRUE(engine_.clock(Bits::ones(5), Bits::ones(5), nullptr));
        (void)line_.target.take_events();
        line_.target.idle_clocks = 0;
    }

    // One sequence: from wherever the last one has ended.
    void sequence() {
        const Edges edges = make_.sequence(bare_.state(), bare_.chain().length());
        for (size_t at = 0; at < edges.size();) {
            const size_t count = std::min(make_.piece(), edges.size() - at);
            ASSERT_NO_FATAL_FAILURE(clock(edges.slice(at, count)));
            at += count;
        }
        if (make_.chance(30)) {
            ASSERT_TRUE(engine_.settle());
            ASSERT_NO_FATAL_FAILURE(compare_settled());
        }
    }
    // Whatever is still under way.
    void finish() {
        ASSERT_NO_FATAL_FAILURE(clock({Bits::from_uint(0x1F, 6), Bits(6)}));
        ASSERT_TRUE(engine_.settle());
        ASSERT_NO_FATAL_FAILURE(compare_settled());
    }

    [[nodiscard]] uint64_t client_clocks() const { return bare_.clocks; }
    [[nodiscard]] uint64_t clocks() const { return line_.target.clocks; }

private:
    std::vector<TargetTap> random_taps() {
        std::vector<TargetTap> taps(1 + make_.below(8));
        for (TargetTap& tap : taps) {
            tap.instruction_bits = 2 + make_.below(8);
            for (size_t i = 1 + make_.below(3); i > 0; --i) {
                tap.lengths.push_back(1 + make_.below(make_.chance(5) ? 600 : 40));
            }
            tap.captures = static_cast<Captures>(make_.below(4));
            tap.grows_by = make_.chance(30) ? 1 + make_.below(70) : 0;
        }
        return taps;
    }
    void clock(const Edges& edges) {
        const auto& [tms, tdi] = edges;
        if (make_.chance(15)) {
            peek(tdi[0]);
        }
        Bits expected(tms.size());
        Bits in_shift(tms.size());
        for (size_t i = 0; i < tms.size(); ++i) {
            in_shift.set(i, is_shift(bare_.state()));
            expected.set(i, bare_.clock(tms[i], tdi[i]));
        }
        Bits tdo;
        switch (make_.below(4)) {
        case 0:
            ASSERT_TRUE(engine_.clock(tms, tdi, nullptr));
            break;
        case 1: {
            Bits asked = make_.bits(tms.size());
            ASSERT_TRUE(engine_.clock(tms, tdi, &tdo, &asked));
            ASSERT_EQ(tdo &= asked, expected &= asked);
            asked_outside_ += asked.count_ones() - (asked &= in_shift).count_ones();
            break;
        }
        default:
            ASSERT_TRUE(engine_.clock(tms, tdi, &tdo));
            ASSERT_EQ(tdo, expected);
        }
        ASSERT_EQ(engine_.client_state(), bare_.state());
        ASSERT_EQ(engine_.count_of(Inexact::TdoOutsideShift), asked_outside_);
        compare();
    }
    void peek(bool tdi) {
        const auto level = engine_.tdo();
        ASSERT_TRUE(level);
        ASSERT_EQ(*level, bare_.tdo(tdi));
        asked_outside_ += is_shift(bare_.state()) ? 0U : 1U;
    }

    void keep_events() {
        for (const bool real : {false, true}) {
            std::vector<TargetEvent> more = real ? line_.target.take_events() : bare_.take_events();
            std::vector<TargetEvent>& events = real ? pod_events_ : bare_events_;
            std::ranges::move(more, std::back_inserter(events));
        }
    }
    // What the pod has done so far is what the client did; it may be late.
    void compare() {
        keep_events();
        ASSERT_LE(pod_events_.size(), bare_events_.size());
        const auto end = bare_events_.begin() + static_cast<std::ptrdiff_t>(pod_events_.size());
        ASSERT_TRUE(std::equal(bare_events_.begin(), end, pod_events_.begin()));
        bare_events_.erase(bare_events_.begin(), end);
        pod_events_.clear();
    }
    void compare_settled() {
        compare();
        const TapState state = bare_.state();
        const bool scans = state != TapState::RunTestIdle && state != TapState::TestLogicReset &&
                           state != TapState::SelectDrScan && state != TapState::SelectIrScan;
        const bool updates = state == TapState::UpdateDr || state == TapState::UpdateIr;
        // Of an Update where the client goes next is part; so is it where it has passed one.
        ASSERT_LE(bare_events_.size(), scans && !updates ? 0U : 1U);
        if (scans && !updates) {
            ASSERT_EQ(line_.target.chain().content(), bare_.chain().content());
        }
        const uint64_t idle = line_.target.idle_clocks;
        const uint64_t wanted = bare_.idle_clocks + engine_.count_of(Inexact::IdleClocks);
        if (state == TapState::RunTestIdle || state == TapState::TestLogicReset) {
            ASSERT_EQ(line_.target.state(), state);
            ASSERT_TRUE(bare_events_.empty());
            // Of a stay that goes on it is not certain yet how many are too many.
            ASSERT_GE(idle, wanted);
            ASSERT_LE(idle, wanted + (state == TapState::RunTestIdle ? 6U : 0U));
        }
    }

    std::mt19937_64 random_;
    RandomEdges make_{random_};
    std::vector<TargetTap> taps_;
    EdgeTarget bare_;
    TargetLine line_;
    EdgeEngine engine_;
    uint64_t asked_outside_ = 0;
    std::vector<TargetEvent> bare_events_; // that the pod has not done yet
    std::vector<TargetEvent> pod_events_;
};

TEST(EdgeEngineTest, RandomEdgesAnswerWhatTheBareChainDoes) {
    uint64_t clocks = 0;
    uint64_t client = 0;
    const uint64_t chains = wanted_cases() / kSequencesAChain + 1;
    for (uint64_t seed = 1; seed <= chains; ++seed) {
        EdgeComparison edges(seed);
        for (size_t i = 0; i < kSequencesAChain; ++i) {
            edges.sequence();
            ASSERT_FALSE(testing::Test::HasFatalFailure())
                << "chain " << seed << ", sequence " << i;
        }
        edges.finish();
        ASSERT_FALSE(testing::Test::HasFatalFailure()) << "chain " << seed << ", at its end";
        clocks += edges.clocks();
        client += edges.client_clocks();
    }
    RecordProperty("client_clocks", std::to_string(client));
    RecordProperty("pod_clocks", std::to_string(clocks));
    // Nothing was run in circles, and nothing was left out.
    EXPECT_GT(clocks, client / 2);
    EXPECT_LT(clocks, client * 20);
}

} // namespace
} // namespace talvor
