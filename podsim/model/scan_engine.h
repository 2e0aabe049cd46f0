// The part of the controller that shifts: one scan at a time, its data words in and out.
#pragma once

#include "podsim/model/fifo.h"
#include "podsim/model/return_path.h"
#include "podsim/model/status.h"
#include "podsim/model/tap_state.h"
#include "podsim/model/test_bus.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace podsim {

// Bits of a data word of the controller.
inline constexpr unsigned kDataBits = 16;

// Modelling decision: the send buffer holds two words, which is what the host keeps in flight; the
// receive buffer holds four. A scan stalls while a word to send is missing or the receive buffer is
// full. "Many" means a wholly empty send buffer, and two received words or the last of the scan.
inline constexpr std::size_t kSendDepth = 2;
inline constexpr std::size_t kReceiveDepth = 4;
inline constexpr std::size_t kManyReceived = 2;

struct Scan {
    bool instruction_path = false;
    TapState end = TapState::RunTestIdle; // one that holds
    std::uint64_t bits = 1;               // at least 1
    bool send = false;                    // bits come from words
    bool receive = false;                 // bits are collected into words
    bool level = false;                   // what the line sends when no words are sent
    unsigned return_delay = 0;            // at most kMaxReturnBits
};

// Runs scans on a test bus. A scan with data words moves only when it is told to, word by word, so
// that a host that does not wait where it should is found out.
class ScanEngine {
public:
    // `stop`, once true, fails every run.
    ScanEngine(TestBus& bus, const std::atomic<bool>& stop) : bus_(bus), stop_(stop) {}

    // Clocks a path of TMS levels; no scan may be in progress. Whatever a first edge in a Shift
    // state pushes out of TDO enters the return path.
    Status move(TmsPath path);
    // Takes the TAP to Test-Logic-Reset; no scan may be in progress.
    Status move_to_reset();

    // Moves into the Shift state and begins `scan`; no scan may be in progress. A scan without data
    // words runs to its end at once.
    Status start(const Scan& scan);
    // Drops the scan in progress, if any, with its words to send; the TAP stays where it is.
    void abandon() {
        words_left_ = 0;
        sent_.clear();
    }
    // Empties both buffers.
    void empty_buffers();

    bool busy() const { return words_left_ != 0; }
    bool sends() const { return scan_.send; }
    bool receives() const { return scan_.receive; }
    // Words of the scan that are still to be shifted.
    std::uint64_t words_left() const { return words_left_; }
    // How many words could be shifted with the buffers as they are.
    std::uint64_t runnable() const;
    // Shifts `count` words, at most runnable(); the last word of the scan also ends it.
    Status run(std::uint64_t count);

    // Whether the scan in progress takes one more word than stand in the send buffer.
    bool wants_word() const { return scan_.send && words_left_ > sent_.size(); }
    std::size_t sendable() const { return kSendDepth - sent_.size(); }
    // Needs sendable() and wants_word().
    void send(std::uint16_t word) { sent_.push(word); }

    std::size_t received() const { return received_.size(); }
    // Needs received().
    std::uint16_t receive() { return received_.pop(); }

private:
    Status run_fixed();
    Status run_words(std::uint64_t count);
    Status finish();
    TapState shift_state() const {
        return scan_.instruction_path ? TapState::ShiftIr : TapState::ShiftDr;
    }

    TestBus& bus_;
    const std::atomic<bool>& stop_;
    ReturnPath path_;
    Fifo<std::uint16_t, kSendDepth> sent_;
    Fifo<std::uint16_t, kReceiveDepth> received_;
    Scan scan_;
    std::uint64_t words_left_ = 0;
};

} // namespace podsim
