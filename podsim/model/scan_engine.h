// The part of the controller that shifts: one scan at a time, its data words in and out.
#pragma once

#include "common/result.h"
#include "common/tap_state.h"
#include "podsim/model/fifo.h"
#include "podsim/model/return_path.h"
#include "podsim/model/test_bus.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace talvor::podsim {

// Bits of a data word of the controller.
inline constexpr unsigned kDataBits = 16;

// Modelling decision: the send buffer holds two words, which is what the host keeps in flight; the
// receive buffer holds four. A scan stalls while a word to send is missing or the receive buffer is
// full. "Many" means a wholly empty send buffer, and two received words or the last of the scan.
inline constexpr size_t kSendDepth = 2;
inline constexpr size_t kReceiveDepth = 4;
inline constexpr size_t kManyReceived = 2;

struct Scan {
    bool instruction_path = false;
    TapState end = TapState::RunTestIdle; // one that holds
    uint64_t bits = 1;                    // at least 1
    bool send = false;                    // bits come from words
    bool receive = false;                 // bits are collected into words
    bool level = false;                   // what the line sends when no words are sent
    unsigned return_delay = 0;            // at most kMaxReturnBits
    // Newest bits that a later scan may still receive, whatever its delay; at most as many.
    unsigned kept_bits = kMaxReturnBits;
};

// Words to send that stand `stride` (2 to 6) words apart.
struct SpacedWords {
    const uint16_t* next = nullptr;
    size_t stride = 2;
};

// Runs scans on a test bus. A scan with data words moves only when it is told to, word by word, so
// that a host that does not wait where it should is found out.
//
// Words that have been run may still stand in a queue, so that the target is clocked by up to four
// words at a time. sync() clocks it as far as the host believes it to be; whoever looks at the
// target, the time or the TAP state, or touches them, calls it first.
class ScanEngine {
public:
    // `stop`, once true, fails every run.
    ScanEngine(TestBus& bus, const std::atomic<bool>& stop) : bus_(&bus), stop_(&stop) {}
    // One that stands as `other` does, on a bus of its own.
    ScanEngine(const ScanEngine& other, TestBus& bus) : ScanEngine(other) { bus_ = &bus; }
    ScanEngine& operator=(const ScanEngine&) = delete;

    // Clocks a path of TMS levels; no scan may be in progress. Whatever a first edge in a Shift
    // state pushes out of TDO enters the return path.
    [[nodiscard]] Status move(TmsPath path);
    // Takes the TAP to Test-Logic-Reset; no scan may be in progress.
    [[nodiscard]] Status move_to_reset();

    // Moves into the Shift state and begins `scan`; no scan may be in progress. A scan without data
    // words runs to its end at once. Received words that nobody has taken yet stay.
    [[nodiscard]] Status start(const Scan& scan);
    // Clocks the words that have been run. A failure of the target ends the scan.
    [[nodiscard]] Status sync() { return queued_words_ == 0 ? Status{} : clock_queue(); }
    // Drops the scan in progress, if any, with its words to send; the TAP stays where it is.
    void abandon();
    // Empties both buffers.
    void empty_buffers();
    // Whether the target is clocked at once whenever words are run, as an observer wants to see it.
    void set_prompt(bool prompt) { prompt_ = prompt; }

    bool busy() const { return words_left_ != 0; }
    bool sends() const { return scan_.send; }
    bool receives() const { return scan_.receive; }
    // Words of the scan that are still to be run.
    uint64_t words_left() const { return words_left_; }
    // How many words could be run with the buffers as they are.
    uint64_t runnable() const {
        uint64_t words = words_left_;
        if (scan_.send) {
            words = std::min<uint64_t>(words, sent_.size());
        }
        if (scan_.receive) {
            words = std::min<uint64_t>(words, kReceiveDepth - received());
        }
        return words;
    }
    // Runs `count` words, at most runnable(); the last word of the scan also ends it.
    [[nodiscard]] Status run(uint64_t count);
    // Runs one word where that clocks nothing yet; else false, and nothing has happened.
    [[nodiscard]] bool run_into_queue() {
        const bool clocks = prompt_ || words_left_ <= 1 || queued_words_ + 1 >= kQueueWords;
        if (clocks || runnable() == 0 || stop_->load(std::memory_order_relaxed)) {
            return false;
        }
        queue_word();
        return true;
    }

    // Whether the scan in progress takes one more word than stand in the send buffer.
    bool wants_word() const { return scan_.send && words_left_ > sent_.size(); }
    // Words that the send buffer has room for.
    size_t sendable() const { return kSendDepth - sent_.size(); }
    // Needs sendable() and wants_word().
    void send(uint16_t word) { sent_.push(word); }

    // Words in the receive buffer.
    size_t received() const { return earlier_.size() + unread_; }
    // Needs received().
    [[nodiscard]] Result<uint16_t> receive();
    // The same where all bits of the word have been clocked; else nothing, and it stays.
    std::optional<uint16_t> receive_clocked() {
        if (!earlier_.empty()) {
            return earlier_.pop();
        }
        const unsigned bits = next_word_bits();
        if (unread_ == 0 || read_position_ + bits > path_.position()) {
            return std::nullopt;
        }
        return take_word(bits);
    }

    // A step sends one more word, runs one and receives one, each where the scan does so. How many
    // of `count` steps run_steps takes: whole groups of words, and none of the scan's last ones. 0
    // while received words stand in the buffer, or so few to send that a step would not be like the
    // next.
    size_t steps_in_one_piece(size_t count) const;
    // Takes that many steps. `received` takes a word a step.
    [[nodiscard]] Status run_steps(size_t steps, SpacedWords to_send, uint16_t* received);

private:
    ScanEngine(const ScanEngine&) = default;

    // Words that the queue holds at most; it has been clocked by then.
    static constexpr unsigned kQueueWords = kWordBits / kDataBits;

    // Runs one word, up to its place in the queue.
    void queue_word() {
        const uint64_t word = scan_.send ? sent_.pop() : scan_.level ? low_mask(kDataBits) : 0;
        queue_ = (queued_words_ == 0 ? 0 : queue_) | word << (queued_words_ * kDataBits);
        ++queued_words_;
        unread_ += scan_.receive ? 1 : 0;
        --words_left_;
    }
    [[nodiscard]] Status run_fixed();
    [[nodiscard]] Status clock_queue();
    [[nodiscard]] Status finish();
    [[nodiscard]] Status shift_groups(std::span<const uint64_t> tdi, uint16_t* received);
    // Drops the scan after a failure of the target.
    [[nodiscard]] Status failed(Status status);
    void keep_unread();
    [[nodiscard]] Result<uint16_t> read_word();
    // Bits of the next word to be read.
    unsigned next_word_bits() const {
        return static_cast<unsigned>(std::min<uint64_t>(kDataBits, read_end_ - read_position_));
    }
    // The next word, all bits of which have been clocked.
    uint16_t take_word(unsigned bits) {
        const auto word = static_cast<uint16_t>(path_.read(read_position_, bits));
        read_position_ += bits;
        --unread_;
        return word;
    }
    // How many of the next `bits` bits nobody will look at: those of a scan that receives nothing,
    // save what stands in the return path behind them, where the next one may find it.
    uint64_t unwanted(uint64_t bits) const {
        return scan_.receive || prompt_ || bits <= scan_.kept_bits ? 0 : bits - scan_.kept_bits;
    }
    bool stays_in_shift() const { return scan_.end == shift_state(); }
    TapState shift_state() const {
        return scan_.instruction_path ? TapState::ShiftIr : TapState::ShiftDr;
    }

    TestBus* bus_;
    const std::atomic<bool>* stop_;
    bool prompt_ = false;
    ReturnPath path_;
    Fifo<uint16_t, kSendDepth> sent_;
    Scan scan_;                  // its `bits` are those that the target has yet to be clocked
    uint64_t words_left_ = 0;    // to be run
    uint64_t queue_ = 0;         // bits of TDI that have been run, the first in bit 0
    unsigned queued_words_ = 0;  // words in `queue_`
    size_t unread_ = 0;          // words of the scan that have been run and not been taken
    uint64_t read_position_ = 0; // of the first of them in the return path
    uint64_t read_end_ = 0;      // of the end of the scan in the return path
    Fifo<uint16_t, kReceiveDepth> earlier_; // words of an earlier scan, not taken
};

} // namespace talvor::podsim
