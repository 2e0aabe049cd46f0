// A target that answers in a second pass, as one in another program does, with what a chain behind
// it has answered in the first. What nobody may look at is spoilt.
#pragma once

#include "podsim/model/bits.h"
#include "podsim/model/remote_target.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <vector>

namespace talvor::podsim {

class FarChain : public RemoteTarget {
public:
    // `chain` must outlive it.
    explicit FarChain(Target& chain) : chain_(chain) {}

    Status move(uint64_t tms, unsigned count, bool tdi) override {
        return pass({.what = "move", .count = count, .tdi = {tms, tdi ? 1U : 0U}},
                    [=, this] { return chain_.move(tms, count, tdi); });
    }
    Status shift(std::span<const uint64_t> tdi, std::span<uint64_t> tdo, uint64_t count,
                 bool leave) override {
        return shift_tail(tdi, tdo, count, leave, 0);
    }
    Status shift_tail(std::span<const uint64_t> tdi, std::span<uint64_t> tdo, uint64_t count,
                      bool leave, uint64_t unwanted) override {
        Call call{
            .what = leave ? "shift and leave" : "shift", .count = count, .unwanted = unwanted};
        for (uint64_t i = 0; i < count; i += kWordBits) {
            call.tdi.push_back(get_bits(tdi, i, part(count - i)));
        }
        asked += count - unwanted;
        if (mode_ == Mode::Repeat) {
            std::ranges::copy(front().tdo, tdo.begin());
        } else {
            EXPECT_TRUE(chain_.shift(tdi, tdo, count, leave));
            call.tdo.assign(tdo.begin(), tdo.begin() + static_cast<ptrdiff_t>(words_for(count)));
        }
        const uint64_t spoilt = mode_ == Mode::Ahead ? count : unwanted;
        for (uint64_t i = 0; i < spoilt; i += kWordBits) {
            put_bits(tdo, i, part(spoilt - i), 0xA5C3'0F69'5A3C'F096U);
        }
        return pass(call, [] { return Status(); });
    }
    Status pulse_trst() override {
        return pass({.what = "pulse"}, [this] { return chain_.pulse_trst(); });
    }
    Status set_reset(bool asserted) override { return chain_.set_reset(asserted); }
    Status power_on() override { return chain_.power_on(); }
    EmuPins emu_pins() override { return chain_.emu_pins(); }

    void send_ahead() override { mode_ = Mode::Ahead; }
    void repeat() override { mode_ = Mode::Repeat; }
    Status end_repeat() override {
        EXPECT_TRUE(calls_.empty()) << calls_.front().what << " is not repeated";
        calls_.clear();
        mode_ = Mode::Direct;
        return {};
    }
    void abandon() noexcept override {}

    uint64_t asked = 0; // bits of TDO, each counted in both passes

private:
    enum class Mode { Direct, Ahead, Repeat };
    struct Call {
        const char* what;
        uint64_t count = 0;
        uint64_t unwanted = 0;
        std::vector<uint64_t> tdi{};
        std::vector<uint64_t> tdo{};
    };

    static unsigned part(uint64_t bits) {
        return static_cast<unsigned>(bits < kWordBits ? bits : kWordBits);
    }
    const Call& front() {
        EXPECT_FALSE(calls_.empty()) << "a call that was not made before";
        if (calls_.empty()) {
            calls_.push_back({.what = "nothing"});
        }
        return calls_.front();
    }
    template <class Make>
    Status pass(const Call& call, Make make) {
        if (mode_ != Mode::Repeat) {
            if (mode_ == Mode::Ahead) {
                calls_.push_back(call);
            }
            return make();
        }
        EXPECT_STREQ(call.what, front().what);
        EXPECT_EQ(call.count, front().count);
        EXPECT_EQ(call.unwanted, front().unwanted);
        EXPECT_EQ(call.tdi, front().tdi);
        calls_.pop_front();
        return {};
    }

    Target& chain_;
    Mode mode_ = Mode::Direct;
    std::deque<Call> calls_;
};

} // namespace talvor::podsim
