// Edges as no client means them and as every client gives them, made up.
#pragma once

#include "common/tap_state.h"
#include "host/jtag/bits.h"

#include <algorithm>
#include <cstddef>
#include <random>

namespace talvor {

// A sequence of clocks.
struct Edges {
    Bits tms;
    Bits tdi;

    [[nodiscard]] size_t size() const { return tms.size(); }
    [[nodiscard]] Edges slice(size_t at, size_t count) const {
        return {tms.slice(at, count), tdi.slice(at, count)};
    }
};

class RandomEdges {
public:
    // The source of randomness outlives it.
    explicit RandomEdges(std::mt19937_64& random) : random_(random) {}

    size_t below(size_t bound) { return static_cast<size_t>(random_() % bound); }
    bool chance(size_t percent) { return below(100) < percent; }

    // A sequence that begins in `from`, where the register in sight has about `length` bits.
    Edges sequence(TapState from, size_t length) {
        edges_ = {};
        at_ = from;
        length_ = std::max<size_t>(1, length);
        for (size_t parts = 1 + below(4); parts > 0; --parts) {
            append_part();
        }
        return edges_;
    }
    // How many of them to give at once.
    size_t piece() {
        switch (below(4)) {
        case 0:
            return 1 + below(4);
        case 1:
            return 1 + below(70);
        default:
            return 1 + below(2000);
        }
    }
    // Zeros, ones, alternating, or random.
    Bits bits(size_t length) {
        Bits bits(length);
        const size_t kind = below(5);
        for (size_t i = 0; i < length; ++i) {
            bits.set(i, kind == 0 || (kind == 1 && i % 2 == 0) || (kind > 2 && chance(50)));
        }
        return bits;
    }

private:
    // Around the register's length as often as not.
    size_t shift_length() {
        switch (below(6)) {
        case 0:
            return length_;
        case 1:
            return length_ + 1 + below(3);
        case 2:
            return std::max<size_t>(1, length_ - std::min(length_ - 1, 1 + below(3)));
        default:
            return 1 + below(chance(20) ? 500 : 60);
        }
    }
    void push(const Bits& tms) {
        edges_.tms.append(tms);
        edges_.tdi.append(bits(tms.size()));
        for (size_t i = 0; i < tms.size(); ++i) {
            at_ = next_state(at_, tms[i]);
        }
    }
    void go(TapState to) {
        const TmsPath path = shortest_path(at_, to);
        push(Bits::from_uint(path.tms, path.count));
    }
    void append_part() {
        switch (below(8)) {
        case 0: // edges without a plan
            push(bits(1 + below(40)));
            return;
        case 1: // a stay
            push(Bits(1 + below(chance(10) ? 300 : 20)));
            return;
        case 2: // somewhere
            go(static_cast<TapState>(below(kTapStates)));
            return;
        default:
            append_scan();
            return;
        }
    }
    // A scan with a pause or without, or a part of one, to anywhere.
    void append_scan() {
        go(chance(25) ? TapState::ShiftIr : TapState::ShiftDr);
        for (size_t parts = 1 + below(3); parts > 0; --parts) {
            Bits shifts(shift_length());
            shifts.set(shifts.size() - 1, true);
            push(shifts);
            if (parts > 1) {
                const bool ir = at_ == TapState::Exit1Ir;
                go(ir ? TapState::PauseIr : TapState::PauseDr);
                push(Bits(below(4)));
                go(ir ? TapState::ShiftIr : TapState::ShiftDr);
            }
        }
        if (chance(80)) {
            go(static_cast<TapState>(below(kTapStates)));
        }
    }

    std::mt19937_64& random_;
    Edges edges_;
    TapState at_ = TapState::TestLogicReset;
    size_t length_ = 1;
};

} // namespace talvor
