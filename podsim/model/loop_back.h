// The controller's loop-back path from the send register to the receive register.
#pragma once

#include "podsim/model/fifo.h"

#include <cstddef>
#include <cstdint>

namespace talvor::podsim {

// What is broken in the path, so that the host's loop-back test finds something.
enum class LoopFault {
    None,
    HighOnes,  // the high byte is stuck at ones
    LowOnes,   // the low byte is stuck at ones
    HighZeros, // the high byte reads zero
    LowZeros,  // the low byte reads zero
    Corrupt,   // single bits of both bytes are inverted
};

// What an empty path reads.
inline constexpr uint16_t kOpenPath = 0xFFFF;

constexpr uint16_t reversed(uint16_t word) {
    unsigned x = word;
    x = ((x & 0x5555U) << 1) | ((x >> 1) & 0x5555U);
    x = ((x & 0x3333U) << 2) | ((x >> 2) & 0x3333U);
    x = ((x & 0x0F0FU) << 4) | ((x >> 4) & 0x0F0FU);
    x = ((x & 0x00FFU) << 8) | ((x >> 8) & 0x00FFU);
    return static_cast<uint16_t>(x);
}

constexpr uint16_t with_fault(uint16_t word, LoopFault fault) {
    switch (fault) {
    case LoopFault::None:
        break;
    case LoopFault::HighOnes:
        return word | 0xFF00U;
    case LoopFault::LowOnes:
        return word | 0x00FFU;
    case LoopFault::HighZeros:
        return word & 0x00FFU;
    case LoopFault::LowZeros:
        return word & 0xFF00U;
    case LoopFault::Corrupt:
        return word ^ 0x1008U;
    }
    return word;
}

// Modelling decision: the path holds 16 words; the host's test has at most five in flight. A fault
// shows in every word that leaves the path, also in those of an empty one.
class LoopBack {
public:
    static constexpr size_t kDepth = 16;

    bool active() const { return active_; }
    void enter() { active_ = true; }
    void leave() {
        active_ = false;
        words_.clear();
    }
    void clear() { words_.clear(); }

    bool full() const { return words_.full(); }
    size_t size() const { return words_.size(); }
    // Must not be full.
    void send(uint16_t word) { words_.push(reversed(word)); }
    uint16_t receive(LoopFault fault) {
        return with_fault(words_.empty() ? kOpenPath : words_.pop(), fault);
    }

private:
    Fifo<uint16_t, kDepth> words_;
    bool active_ = false;
};

} // namespace talvor::podsim
