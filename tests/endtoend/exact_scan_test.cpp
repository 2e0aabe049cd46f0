// Scans of any length through a session, a library and a simulated pod: what a bare chain gives.
#include "common/tap_state.h"
#include "description_text.h"
#include "session_options.h"
#include "support/leak_guard.h"
#include "support/podsim_process.h"
#include "tests/podsim/model/reference_chain.h"

#include <gtest/gtest.h>

#include <random>

namespace endtoend {
namespace {

using talvor::Bits;
using talvor::PodPort;
using talvor::ScanPath;
using talvor::StableState;
using talvor::TapState;

constexpr uint32_t kPods = 12;
constexpr int kSteps = 150;

// The same requests, clock by clock.
class BareChain {
public:
    explicit BareChain(const talvor::podsim::ChainDescription& chain) : chain_(chain) {}

    void reset() { follow(talvor::kResetPath); }
    void move(StableState to) {
        if (at() == to && (to == StableState::Reset || to == StableState::Idle)) {
            return;
        }
        for (const TapState next : talvor::standard_route(at(), to)) {
            chain_.clock(talvor::next_state(chain_.state(), true) == next, true);
        }
    }
    Bits scan(ScanPath path, const Bits& out, StableState end) {
        const TapState shift = path == ScanPath::Ir ? TapState::ShiftIr : TapState::ShiftDr;
        follow(talvor::shortest_path(chain_.state(), shift));
        Bits in(out.size());
        for (size_t i = 0; i < out.size(); ++i) {
            in.set(i, chain_.clock(i + 1 == out.size(), out[i]));
        }
        follow(talvor::shortest_path(chain_.state(), talvor::tap_state(end)));
        return in;
    }

private:
    StableState at() const { return *talvor::stable_state(chain_.state()); }
    void follow(talvor::TmsPath path) {
        for (unsigned i = 0; i < path.count; ++i) {
            chain_.clock(((path.tms >> i) & 1U) != 0, true);
        }
    }

    talvor::podsim::reference::Chain chain_;
};

class RandomRequests {
public:
    RandomRequests(uint64_t seed, PodPort& port, const talvor::podsim::ChainDescription& chain)
        : random_(seed), port_(port), bare_(chain) {
        EXPECT_TRUE(port_.reset_tap());
        bare_.reset();
    }

    void step() {
        switch (random_() % 16) {
        case 0:
            ASSERT_TRUE(port_.reset_tap());
            bare_.reset();
            break;
        case 1:
        case 2: {
            const StableState to = random_state();
            ASSERT_TRUE(port_.move(to));
            bare_.move(to);
            break;
        }
        case 3:
            ASSERT_TRUE(port_.flush());
            break;
        default:
            scan();
        }
    }

    uint64_t longer_scans = 0;  // than any path here
    uint64_t shorter_scans = 0; // than most

private:
    StableState random_state() { return static_cast<StableState>(random_() % 4); }

    void scan() {
        const auto path = random_() % 3 == 0 ? ScanPath::Ir : ScanPath::Dr;
        const uint64_t kind = random_() % 8;
        Bits out(1 + random_() % (kind == 0 ? 3000 : kind < 4 ? 12 : 300));
        const uint64_t pattern = random_() % 4;
        for (size_t i = 0; i < out.size(); ++i) {
            out.set(i, pattern == 0 || (pattern > 1 && random_() % 2 == 0));
        }
        longer_scans += out.size() > 1300 ? 1 : 0;
        shorter_scans += out.size() < 8 ? 1 : 0;
        const StableState end = random_state();
        Bits in;
        const bool wanted = random_() % 4 != 0;
        const auto done = port_.scan({path, &out, wanted ? &in : nullptr, end});
        ASSERT_TRUE(done) << headline(done.error());
        const Bits expected = bare_.scan(path, out, end);
        if (wanted) {
            ASSERT_EQ(in.to_hex(), expected.to_hex()) << out.size() << " bits";
        }
    }

    std::mt19937_64 random_;
    PodPort& port_;
    BareChain bare_;
};

TEST(ExactScansTest, GiveASessionWhatThePlainChainGives) {
    test_support::LeakGuard leaks;
    std::vector<talvor::podsim::ChainDescription> chains;
    std::string text;
    for (uint32_t serial = 1; serial <= kPods; ++serial) {
        std::mt19937_64 random(serial);
        chains.push_back(talvor::podsim::reference::random_chain(random));
        PodText pod;
        pod.serial = serial;
        pod.revision = static_cast<uint16_t>((1 + serial % 4) << 8);
        text += pod_text(pod, chains.back());
    }
    test_support::PodsimProcess simulator(text, {"--strict"});
    ASSERT_TRUE(simulator.running());
    uint64_t longer = 0;
    uint64_t shorter = 0;
    for (uint32_t serial = 1; serial <= kPods; ++serial) {
        auto session = talvor::Session::open(session_options(serial));
        ASSERT_TRUE(session) << headline(session.error());
        RandomRequests requests(serial, (*session)->port(), chains[serial - 1]);
        for (int i = 0; i < kSteps; ++i) {
            requests.step();
            ASSERT_FALSE(testing::Test::HasFailure()) << "pod " << serial << ", step " << i << "\n"
                                                      << simulator.log();
        }
        longer += requests.longer_scans;
        shorter += requests.shorter_scans;
    }
    EXPECT_GT(longer, 10U);
    EXPECT_GT(shorter, 100U);
    EXPECT_EQ(simulator.log(), "");
}

// What a session leaves in a Pause state is what the next one goes on with.
TEST(ExactScansTest, GoOnInTheNextSession) {
    const PodText pod;
    const std::string text = plain_pod_text(pod);
    test_support::PodsimProcess simulator(text, {"--strict"});
    ASSERT_TRUE(simulator.running());
    const Bits first = Bits::from_uint(0x4D, 8);
    const Bits zeros(8);
    Bits in;
    {
        auto session = talvor::Session::open(session_options(pod.serial));
        ASSERT_TRUE(session) << headline(session.error());
        PodPort& port = (*session)->port();
        ASSERT_TRUE(port.reset_tap());
        ASSERT_TRUE(port.scan({ScanPath::Dr, &zeros, &in, StableState::PauseDr}));
        EXPECT_EQ(in, first) << "the last of the IDCODE 0x1A2B3C4D";
        // No flush: the end of the session sees to it.
    }
    auto session = talvor::Session::open(session_options(pod.serial));
    ASSERT_TRUE(session) << headline(session.error());
    const auto state = (*session)->port().ask_state();
    ASSERT_TRUE(state);
    EXPECT_EQ(*state, StableState::PauseDr);
    const Bits rest = Bits::ones(32);
    ASSERT_TRUE((*session)->port().scan({ScanPath::Dr, &rest, &in, StableState::Idle}));
    EXPECT_EQ(in.to_uint(), 0x001A2B3CU);
}

} // namespace
} // namespace endtoend
