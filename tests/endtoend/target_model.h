// What a host must see and a target must be given, worked out clock by clock from IEEE 1149.1: the
// moves and scans of the operation table on a plain chain, and the way back to the host.
#pragma once

#include "host.h"
#include "jsc_external.h"
#include "tests/podsim/model/reference_chain.h"

#include <vector>

namespace endtoend {

enum class ScanKind { Zeros, Ones, Send, Both, Receive };

// The amble bits of one path.
struct Ambles {
    uint32_t before = 0;
    uint32_t behind = 0;
};

class TargetModel {
public:
    // `return_delay`: bits by which TDO reaches the host late.
    TargetModel(const talvor::podsim::ChainDescription& chain, unsigned return_delay);

    void set_return_delay(unsigned bits) { return_delay_ = bits; }
    JSC_JtagState state() const;

    // A state move without a shift.
    void move(JSC_JtagState end, JSC_JtagTransit transit);
    // A scan; writes what is received to `in`, which is as long as the host's buffer. `ambles` are
    // those of the command's path, used as the command says.
    void scan(ScanKind kind, const JSC_JtagCommand& command, uint32_t bits, Ambles ambles,
              uint32_t repeats, const Words& out, Words& in);

private:
    using TapState = talvor::TapState;
    // Bits that no scan can still receive.
    void forget_long_ago();
    void clock_to(TapState end);
    void go_to(TapState end, JSC_JtagTransit transit);
    size_t shift(TapState shift_state, const std::vector<bool>& tdi, TapState end);

    talvor::podsim::reference::Chain chain_;
    unsigned return_delay_;
    std::vector<bool> returned_; // the bits that TDO gave in Shift states, to the last
};

} // namespace endtoend
