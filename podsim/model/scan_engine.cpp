#include "podsim/model/scan_engine.h"

#include <algorithm>
#include <array>
#include <span>

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
        const std::uint64_t tdi = kIdleTdi ? 1 : 0;
        std::uint64_t tdo = 0;
        if (Status status = bus_.shift({&tdi, 1}, {&tdo, 1}, 1, (path.tms & 1) != 0);
            status.failed()) {
            return status;
        }
        path_.pass(tdo & 1, 1, 0);
        path = {path.tms >> 1, path.count - 1};
    }
    return bus_.move(path);
}

Status ScanEngine::move_to_reset() {
    return move(bus_.reset_path());
}

Status ScanEngine::start(const Scan& scan) {
    scan_ = scan;
    if (Status status = move(shortest_path(bus_.state(), shift_state())); status.failed()) {
        return status;
    }
    words_left_ = (scan.bits + kDataBits - 1) / kDataBits;
    return scan.send || scan.receive ? Status{} : run_fixed();
}

void ScanEngine::empty_buffers() {
    sent_.clear();
    received_.clear();
}

std::uint64_t ScanEngine::runnable() const {
    std::uint64_t words = words_left_;
    if (scan_.send) {
        words = std::min<std::uint64_t>(words, sent_.size());
    }
    if (scan_.receive) {
        words = std::min<std::uint64_t>(words, kReceiveDepth - received_.size());
    }
    return words;
}

Status ScanEngine::run(std::uint64_t count) {
    if (stop_.load(std::memory_order_relaxed)) {
        return stopped();
    }
    return run_words(count);
}

// Data words, as many as fit into one 64-bit word at a time.
Status ScanEngine::run_words(std::uint64_t count) {
    while (count > 0) {
        const std::uint64_t words = std::min<std::uint64_t>(count, kWordBits / kDataBits);
        const auto bits =
            static_cast<unsigned>(std::min<std::uint64_t>(words * kDataBits, scan_.bits));
        std::uint64_t tdi = scan_.level ? ~std::uint64_t{0} : 0;
        if (scan_.send) {
            tdi = 0;
            for (unsigned i = 0; i < words; ++i) {
                tdi |= std::uint64_t{sent_.pop()} << (i * kDataBits);
            }
        }
        const bool last = words == words_left_;
        std::uint64_t tdo = 0;
        if (Status status =
                bus_.shift({&tdi, 1}, {&tdo, 1}, bits, last && scan_.end != shift_state());
            status.failed()) {
            abandon();
            return status;
        }
        std::uint64_t in = path_.pass(tdo & low_mask(bits), bits, scan_.return_delay);
        for (unsigned i = 0; scan_.receive && i < words; ++i) {
            received_.push(static_cast<std::uint16_t>(in & 0xFFFF));
            in >>= kDataBits;
        }
        scan_.bits -= bits;
        words_left_ -= words;
        count -= words;
        if (last) {
            return finish();
        }
    }
    return {};
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
        const bool leave = bits == scan_.bits && scan_.end != shift_state();
        const std::size_t words = words_for(bits);
        const std::span<const std::uint64_t> tdi(scan_.level ? kOnes.data() : kZeros.data(), words);
        if (Status status = bus_.shift(tdi, {tdo.data(), words}, bits, leave); status.failed()) {
            abandon();
            return status;
        }
        path_.absorb(tdo, bits);
        scan_.bits -= bits;
    }
    words_left_ = 0;
    return finish();
}

Status ScanEngine::finish() {
    return move(shortest_path(bus_.state(), scan_.end));
}

} // namespace podsim
