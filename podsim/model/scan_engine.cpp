#include "podsim/model/scan_engine.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

namespace podsim {
namespace {

constexpr std::size_t kBlockWords = 256;
constexpr std::uint64_t kBlockBits = kBlockWords * kWordBits;
using Block = std::array<std::uint64_t, kBlockWords>;

constexpr Block filled(bool level) {
    Block block{};
    block.fill(level ? ~std::uint64_t{0} : 0);
    return block;
}
constexpr Block kZeros = filled(false);
constexpr Block kOnes = filled(true);

Status stopped() {
    return Status::failure("the simulator is stopping");
}

} // namespace

Status ScanEngine::move(TmsPath path) {
    if (path.count != 0 && is_shift(bus_.state())) {
        keep_unread();
        const std::uint64_t tdi = kIdleTdi ? 1 : 0;
        std::uint64_t tdo = 0;
        if (Status status = bus_.shift({&tdi, 1}, {&tdo, 1}, 1, (path.tms & 1) != 0);
            status.failed()) {
            return status;
        }
        path_.push(tdo & 1, 1);
        path = {path.tms >> 1, path.count - 1};
    }
    return bus_.move(path);
}

Status ScanEngine::move_to_reset() {
    return move(bus_.reset_path());
}

Status ScanEngine::start(const Scan& scan) {
    keep_unread();
    scan_ = scan;
    if (Status status = move(shortest_path(bus_.state(), shift_state())); status.failed()) {
        return status;
    }
    words_left_ = (scan.bits + kDataBits - 1) / kDataBits;
    read_position_ = path_.position() - scan.return_delay;
    read_end_ = read_position_ + scan.bits;
    return scan.send || scan.receive ? Status{} : run_fixed();
}

// Takes what nobody has read out of the return path, before other bits push it away.
void ScanEngine::keep_unread() {
    while (unread_ != 0) {
        const ReadResult result = read_word(); // all of its bits have been clocked
        earlier_.push(result.word);
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

std::uint64_t ScanEngine::runnable() const {
    std::uint64_t words = words_left_;
    if (scan_.send) {
        words = std::min<std::uint64_t>(words, sent_.size());
    }
    if (scan_.receive) {
        words = std::min<std::uint64_t>(words, kReceiveDepth - received());
    }
    return words;
}

Status ScanEngine::run(std::uint64_t count) {
    if (stop_.load(std::memory_order_relaxed)) [[unlikely]] {
        return stopped();
    }
    constexpr std::uint64_t kDataMask = low_mask(kDataBits);
    for (; count > 0; --count) {
        const std::uint64_t word = scan_.send ? sent_.pop() : scan_.level ? kDataMask : 0;
        queue_ = (queued_words_ == 0 ? 0 : queue_) | word << (queued_words_ * kDataBits);
        ++queued_words_;
        unread_ += scan_.receive ? 1 : 0;
        --words_left_;
        if (words_left_ == 0) {
            Status status = clock_queue();
            return status.failed() ? std::move(status) : finish();
        }
        if (queued_words_ == kWordBits / kDataBits) {
            if (Status status = clock_queue(); status.failed()) {
                return status;
            }
        }
    }
    return prompt_ ? sync() : Status{};
}

Status ScanEngine::clock_queue() {
    const auto bits = static_cast<unsigned>(
        std::min<std::uint64_t>(std::uint64_t{queued_words_} * kDataBits, scan_.bits));
    std::uint64_t tdo = 0;
    if (Status status =
            bus_.shift({&queue_, 1}, {&tdo, 1}, bits, words_left_ == 0 && !stays_in_shift());
        status.failed()) {
        abandon();
        // Nothing comes of the words that were to be received.
        unread_ = 0;
        return status;
    }
    path_.push(tdo & low_mask(bits), bits);
    scan_.bits -= bits;
    queued_words_ = 0;
    return {};
}

ReadResult ScanEngine::receive() {
    return earlier_.empty() ? read_word() : ReadResult{earlier_.pop(), {}};
}

ReadResult ScanEngine::read_word() {
    const auto bits =
        static_cast<unsigned>(std::min<std::uint64_t>(kDataBits, read_end_ - read_position_));
    if (read_position_ + bits > path_.position()) {
        if (Status status = clock_queue(); status.failed()) {
            return {0, std::move(status)};
        }
    }
    const auto word = static_cast<std::uint16_t>(path_.read(read_position_, bits));
    read_position_ += bits;
    --unread_;
    return {word, {}};
}

// A constant level, by large blocks.
Status ScanEngine::run_fixed() {
    Block tdo;
    while (scan_.bits > 0) {
        if (stop_.load(std::memory_order_relaxed)) {
            abandon();
            return stopped();
        }
        const std::uint64_t bits = std::min(scan_.bits, kBlockBits);
        const bool leave = bits == scan_.bits && !stays_in_shift();
        const std::size_t words = words_for(bits);
        const std::span<const std::uint64_t> tdi(scan_.level ? kOnes.data() : kZeros.data(), words);
        if (Status status = bus_.shift(tdi, {tdo.data(), words}, bits, leave); status.failed()) {
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
    return move(shortest_path(bus_.state(), scan_.end));
}

} // namespace podsim
