#include "podsim/model/scan_engine.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

namespace talvor::podsim {
namespace {

constexpr size_t kBlockWords = 256;
constexpr uint64_t kBlockBits = kBlockWords * kWordBits;
using Block = std::array<uint64_t, kBlockWords>;

constexpr Block filled(bool level) {
    Block block{};
    block.fill(level ? ~uint64_t{0} : 0);
    return block;
}
constexpr Block kZeros = filled(false);
constexpr Block kOnes = filled(true);

Status stopped() {
    return failure("the simulator is stopping");
}

} // namespace

Status ScanEngine::move(TmsPath path) {
    if (path.count != 0 && is_shift(bus_->state())) {
        keep_unread();
        const uint64_t tdi = kIdleTdi ? 1 : 0;
        uint64_t tdo = 0;
        TRY(bus_->shift({&tdi, 1}, {&tdo, 1}, 1, (path.tms & 1) != 0));
        path_.push(tdo & 1, 1);
        path = {path.tms >> 1, path.count - 1};
    }
    return bus_->move(path);
}

Status ScanEngine::move_to_reset() {
    return move(bus_->reset_path());
}

Status ScanEngine::start(const Scan& scan) {
    keep_unread();
    scan_ = scan;
    TRY(move(shortest_path(bus_->state(), shift_state())));
    words_left_ = (scan.bits + kDataBits - 1) / kDataBits;
    read_position_ = path_.position() - scan.return_delay;
    read_end_ = read_position_ + scan.bits;
    return scan.send || scan.receive ? Status{} : run_fixed();
}

// Takes what nobody has read out of the return path, before other bits push it away.
void ScanEngine::keep_unread() {
    while (unread_ != 0) {
        earlier_.push(read_word().value_or(0)); // all of its bits have been clocked
    }
}

void ScanEngine::abandon() {
    words_left_ = 0;
    queued_words_ = 0;
    sent_.clear();
}

void ScanEngine::empty_buffers() {
    sent_.clear();
    earlier_.clear();
    read_position_ += unread_ * kDataBits;
    unread_ = 0;
}

Status ScanEngine::run(uint64_t count) {
    if (stop_->load(std::memory_order_relaxed)) [[unlikely]] {
        return stopped();
    }
    for (; count > 0; --count) {
        queue_word();
        if (words_left_ == 0) {
            TRY(clock_queue());
            return finish();
        }
        if (queued_words_ == kQueueWords) {
            TRY(clock_queue());
        }
    }
    return prompt_ ? sync() : Status{};
}

Status ScanEngine::failed(Status status) {
    abandon();
    // Nothing comes of the words that were to be received.
    unread_ = 0;
    return status;
}

Status ScanEngine::clock_queue() {
    const auto bits =
        static_cast<unsigned>(std::min<uint64_t>(uint64_t{queued_words_} * kDataBits, scan_.bits));
    uint64_t tdo = 0;
    const bool leave = words_left_ == 0 && !stays_in_shift();
    if (Status status = bus_->shift({&queue_, 1}, {&tdo, 1}, bits, leave, unwanted(bits)); !status)
        [[unlikely]] {
        return failed(std::move(status));
    }
    path_.push(tdo & low_mask(bits), bits);
    scan_.bits -= bits;
    queued_words_ = 0;
    return {};
}

Result<uint16_t> ScanEngine::receive() {
    return earlier_.empty() ? read_word() : Result<uint16_t>(earlier_.pop());
}

Result<uint16_t> ScanEngine::read_word() {
    const unsigned bits = next_word_bits();
    if (read_position_ + bits > path_.position()) {
        TRY(clock_queue());
    }
    return take_word(bits);
}

// A constant level, by large blocks.
Status ScanEngine::run_fixed() {
    Block tdo;
    while (scan_.bits > 0) {
        if (stop_->load(std::memory_order_relaxed)) {
            abandon();
            return stopped();
        }
        const uint64_t bits = std::min(scan_.bits, kBlockBits);
        const bool leave = bits == scan_.bits && !stays_in_shift();
        const size_t words = words_for(bits);
        const std::span<const uint64_t> tdi(scan_.level ? kOnes.data() : kZeros.data(), words);
        if (Status status = bus_->shift(tdi, {tdo.data(), words}, bits, leave, unwanted(bits));
            !status) {
            abandon();
            return status;
        }
        path_.push(tdo, bits);
        scan_.bits -= bits;
    }
    words_left_ = 0;
    return finish();
}

Status ScanEngine::finish() {
    return move(shortest_path(bus_->state(), scan_.end));
}

} // namespace talvor::podsim
