// Random scans over random chains through the whole controller, against a chain written the plain
// way that is given the clocks which the target saw.
#include "host.h"
#include "reference_chain.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace talvor::podsim {
namespace {

using namespace host;

class RandomSession {
public:
    explicit RandomSession(uint64_t seed)
        : random_(seed), description_(reference::random_chain(random_)), plain_(description_),
          pod_(description_, settings()) {
        pod_.host_waits = (random_() & 1) != 0;
        pod_.write(TBC_PORT_POD_TIMING, pod_.host_waits ? POD_TIMING_HOST_WAITS : 0);
        pipelined_ = pod_.controller.settings().return_pipeline_bits != 0;
        pod_.go_to(TBC_TRANSIT_VIA_CAPTURE, TBC_STATE_RESET);
        replay();
    }

    void run(int steps) {
        for (int i = 0; i < steps && !testing::Test::HasFailure(); ++i) {
            if (random_() % 4 == 0) {
                const unsigned transits[] = {TBC_TRANSIT_QUICKEST, TBC_TRANSIT_VIA_CAPTURE,
                                             TBC_TRANSIT_VIA_IDLE};
                pod_.go_to(transits[random_() % 3], random_code());
                replay();
            } else {
                scan();
            }
        }
        EXPECT_TRUE(pod_.warnings.empty());
    }

private:
    ControllerSettings settings() {
        ControllerSettings settings = strict_settings();
        settings.return_pipeline_bits = random_() % 4 == 0 ? 0 : 16;
        return settings;
    }

    unsigned random_code() {
        const unsigned codes[] = {TBC_STATE_RESET,    TBC_STATE_IDLE,     TBC_STATE_SHIFT_DR,
                                  TBC_STATE_SHIFT_IR, TBC_STATE_PAUSE_DR, TBC_STATE_PAUSE_IR};
        return codes[random_() % 6];
    }

    // Gives the plain chain what the target saw; the TDO bits of Shift states, from the plain
    // chain.
    std::vector<bool> replay() {
        std::vector<bool> shifted;
        for (const Recorder::Edge& edge : pod_.recorder.seen) {
            EXPECT_EQ(edge.state, plain_.state());
            const bool tdo = plain_.clock(edge.tms, edge.tdi);
            if (is_shift(edge.state)) {
                shifted.push_back(tdo);
                EXPECT_EQ(edge.tdo, tdo);
            }
        }
        pod_.recorder.seen.clear();
        return shifted;
    }

    void expect_words(const Words& got, const std::vector<bool>& shifted, size_t first,
                      uint64_t count) {
        ASSERT_EQ(got.size(), (count + 15) / 16);
        for (uint64_t i = 0; i < got.size() * 16; ++i) {
            const bool expected = i < count && shifted[first + i];
            ASSERT_EQ(((got[i / 16] >> (i % 16)) & 1) != 0, expected)
                << "bit " << i << " of " << count;
        }
    }

    void expect_sent(const Words& out, uint64_t first, uint64_t count) {
        uint64_t shift = 0;
        for (const Recorder::Edge& edge : pod_.recorder.seen) {
            if (!is_shift(edge.state)) {
                continue;
            }
            if (shift >= first && shift < first + count) {
                const uint64_t i = shift - first;
                ASSERT_EQ(edge.tdi, ((out[i / 16] >> (i % 16)) & 1) != 0) << "bit " << i;
            }
            ++shift;
        }
    }

    // A scan as the driver makes it: preamble, main part, postamble.
    void scan() {
        const unsigned path = (random_() & 1) != 0 ? TBC_STATE_IR_PATH : 0U;
        const unsigned pause = path | (path != 0 ? TBC_STATE_PAUSE_IR : TBC_STATE_PAUSE_DR);
        const unsigned end = path | random_code();
        const uint64_t count = 1 + random_() % (random_() % 3 == 0 ? 400 : 40);
        const uint64_t before = random_() % 2 == 0 ? 0 : 1 + random_() % 30;
        const uint64_t after = random_() % 2 == 0 ? 0 : 1 + random_() % 30;
        const bool adjust = pipelined_;
        if (before != 0) {
            pod_.scan_fixed(pause, before, true, adjust);
        }
        const TapState shift_state = path != 0 ? TapState::ShiftIr : TapState::ShiftDr;
        // The way out of the other path's Shift state shifts a bit as well.
        const TapState start = plain_.state();
        const uint64_t stray = is_shift(start) && start != shift_state ? 1 : 0;
        const uint64_t lead = stray + (before != 0 && adjust ? before + 16 : before);
        const bool adjust_main = adjust && before == 0;
        Words out((count + 15) / 16);
        for (uint16_t& word : out) {
            word = static_cast<uint16_t>(random_());
        }
        const unsigned main_end = after != 0 ? pause : end;
        const uint64_t kind = random_() % 3;
        Words got;
        if (kind == 0) {
            got = pod_.scan_both(main_end, count, out, adjust_main);
        } else if (kind == 1) {
            got = pod_.scan_receive(main_end, count, adjust_main);
        } else {
            pod_.scan_send(main_end, count, out);
        }
        if (after != 0) {
            pod_.scan_fixed(end, after, true);
        }
        pod_.wait(SHM_WAIT_DONE);
        if (kind != 1) {
            expect_sent(out, lead + (kind == 0 && adjust_main ? 16 : 0), count);
        }
        const std::vector<bool> shifted = replay();
        if (kind != 2) {
            // With a pipeline what comes back is what left 16 clocks before.
            expect_words(got, shifted, adjust && !adjust_main ? lead - 16 : lead, count);
        }
    }

    std::mt19937_64 random_;
    ChainDescription description_;
    reference::Chain plain_;
    Bench pod_;
    bool pipelined_ = true;
};

// What a host does, with and without somebody who watches: the words must be the same, and so must
// what is left in the chain and in virtual time.
TEST(RandomScansTest, WatchingChangesNothing) {
    for (uint64_t seed = 1; seed <= 200; ++seed) {
        std::mt19937_64 random(seed);
        const ChainDescription description = reference::random_chain(random);
        Bench watched(description, strict_settings());
        Bench alone(description, strict_settings());
        alone.controller.observe(nullptr);
        for (int i = 0; i < 30; ++i) {
            const uint64_t count = 1 + random() % 300;
            const unsigned path = (random() & 1) != 0 ? TBC_STATE_IR_PATH : 0U;
            const unsigned end = path | (random() % 2 != 0 ? TBC_STATE_IDLE : TBC_STATE_SHIFT_DR);
            Words out((count + 15) / 16);
            for (uint16_t& word : out) {
                word = static_cast<uint16_t>(random());
            }
            const uint64_t kind = random() % 4;
            Words got[2];
            for (Bench* pod : {&watched, &alone}) {
                Words& words = got[pod == &alone ? 1 : 0];
                if (kind == 0) {
                    words = pod->scan_both(end, count, out, (count & 1) != 0);
                } else if (kind == 1) {
                    words = pod->scan_receive(end, count, (count & 1) != 0);
                } else if (kind == 2) {
                    pod->scan_send(end, count, out);
                } else {
                    // Cut off in the middle, with words in every buffer.
                    pod->launch(end, TBC_SCAN_BOTH, count + 63);
                    for (uint16_t word = 1; word <= 4; ++word) {
                        pod->wait(SHM_WAIT_WRITE_ONE);
                        pod->write(TBC_PORT_SEND, word);
                    }
                    words.push_back(pod->read(TBC_PORT_TAP_STATE));
                    pod->write(TBC_PORT_POD_CONTROL, 0x0C08);
                    pod->write(TBC_PORT_POD_CONTROL, 0x0C0C);
                }
            }
            ASSERT_EQ(got[0], got[1]) << "seed " << seed << " step " << i;
        }
        watched.wait(SHM_WAIT_DONE);
        alone.wait(SHM_WAIT_DONE);
        EXPECT_EQ(watched.controller.time_ns(), alone.controller.time_ns());
        EXPECT_EQ(watched.chain.state(), alone.chain.state());
        for (size_t d = 0; d < alone.chain.size(); ++d) {
            EXPECT_EQ(watched.chain.device(d).instruction(), alone.chain.device(d).instruction());
        }
    }
}

TEST(RandomScansTest, MatchAPlainChain) {
    for (uint64_t seed = 1; seed <= 300; ++seed) {
        RandomSession session(seed);
        session.run(30);
        ASSERT_FALSE(HasFailure()) << "seed " << seed;
    }
}

} // namespace
} // namespace talvor::podsim
