// A client's edges through the edge engine, a session, the library and a simulated pod: what a bare
// chain gives.
#include "description_text.h"
#include "host/bridge/edge_engine.h"
#include "host/bridge/pod_edge_line.h"
#include "session_options.h"
#include "support/leak_guard.h"
#include "support/podsim_process.h"
#include "tests/host/bridge/random_edges.h"
#include "tests/podsim/model/reference_chain.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace endtoend {
namespace {

using talvor::Bits;
using talvor::Edges;
using talvor::TapState;

constexpr uint32_t kPods = 8;
constexpr int kSequences = 60;
constexpr size_t kLength = 40; // about that of a register

class EdgesOnAPod {
public:
    EdgesOnAPod(uint64_t seed, talvor::PodPort& port, const talvor::podsim::ChainDescription& chain)
        : random_(seed), bare_(chain), line_(port), engine_(line_, {}) {
        bare_.power_on();
        clock({Bits::ones(6), Bits(6)});
    }

    void sequence() {
        const Edges edges = make_.sequence(bare_.state(), kLength);
        for (size_t at = 0; at < edges.size();) {
            const size_t count = std::min(make_.piece(), edges.size() - at);
            ASSERT_NO_FATAL_FAILURE(clock(edges.slice(at, count)));
            at += count;
        }
        switch (make_.below(20)) {
        case 0:
            pulse_trst();
            return;
        case 1:
            change_clock();
            return;
        case 2:
            ASSERT_TRUE(engine_.set_srst(true));
            ASSERT_TRUE(engine_.set_srst(false));
            return;
        default:
            ASSERT_TRUE(make_.chance(30) ? engine_.settle() : talvor::Status());
        }
    }

    [[nodiscard]] uint64_t unknown() const {
        return engine_.count_of(talvor::Inexact::LengthUnknown);
    }

private:
    void clock(const Edges& edges) {
        const bool between = talvor::is_shift(bare_.state()) && make_.chance(10);
        const talvor::Result<bool> level = between ? engine_.tdo() : true;
        Bits expected(edges.size());
        for (size_t i = 0; i < edges.size(); ++i) {
            expected.set(i, bare_.clock(edges.tms[i], edges.tdi[i]));
        }
        if (between) {
            ASSERT_EQ(level, expected[0]);
        }
        Bits tdo;
        const bool asked = make_.chance(75);
        const auto done = engine_.clock(edges.tms, edges.tdi, asked ? &tdo : nullptr);
        ASSERT_TRUE(done) << headline(done.error());
        if (asked) {
            ASSERT_EQ(tdo.to_hex(), expected.to_hex());
        }
        ASSERT_EQ(engine_.client_state(), bare_.state());
    }
    // The bare chain has a pin, too, and an Update that is due is none that the pulse prevents.
    void pulse_trst() {
        ASSERT_TRUE(engine_.set_trst(true));
        ASSERT_TRUE(engine_.set_trst(false));
        bare_.reset();
        ASSERT_EQ(engine_.client_state(), TapState::TestLogicReset);
    }
    void change_clock() {
        const double hertz = make_.chance(50) ? 2e6 : 5e6; // what every generation can do
        const auto done = engine_.set_max_frequency(hertz);
        ASSERT_TRUE(done) << headline(done.error());
        ASSERT_LE(engine_.hertz(), hertz);
        ASSERT_GT(engine_.hertz(), 0);
    }

    std::mt19937_64 random_;
    talvor::RandomEdges make_{random_};
    talvor::podsim::reference::Chain bare_;
    talvor::PodEdgeLine line_;
    talvor::EdgeEngine engine_;
};

// Of one device at least: without any, TDO is what the client is about to send.
talvor::podsim::ChainDescription random_chain(uint64_t seed) {
    std::mt19937_64 random(seed);
    talvor::podsim::ChainDescription chain;
    while (chain.devices.empty()) {
        chain = talvor::podsim::reference::random_chain(random);
    }
    return chain;
}

TEST(EdgeEngineTest, GivesAClientWhatThePlainChainGives) {
    test_support::LeakGuard leaks;
    std::vector<talvor::podsim::ChainDescription> chains;
    std::string text;
    for (uint32_t serial = 1; serial <= kPods; ++serial) {
        chains.push_back(random_chain(serial));
        PodText pod;
        pod.serial = serial;
        pod.revision = static_cast<uint16_t>((1 + serial % 4) << 8);
        text += pod_text(pod, chains.back());
    }
    test_support::PodsimProcess simulator(text, {"--strict"});
    ASSERT_TRUE(simulator.running());
    for (uint32_t serial = 1; serial <= kPods; ++serial) {
        auto session = talvor::Session::open(session_options(serial));
        ASSERT_TRUE(session) << headline(session.error());
        EdgesOnAPod edges(serial, (*session)->port(), chains[serial - 1]);
        for (int i = 0; i < kSequences; ++i) {
            edges.sequence();
            ASSERT_FALSE(testing::Test::HasFailure())
                << "pod " << serial << ", sequence " << i << "\n"
                << simulator.log();
        }
        EXPECT_EQ(edges.unknown(), 0U);
    }
    EXPECT_EQ(simulator.log(), "");
}

} // namespace
} // namespace endtoend
