// Many data words of a scan at once: groups of four words, 64 bits, from the batch to the target
// and from the target to the in-block.
#include "podsim/model/scan_engine.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <utility>

namespace talvor::podsim {
namespace {

constexpr size_t kGroupWords = kWordBits / kDataBits;
// Groups that the target is given in one call.
constexpr size_t kBlockGroups = 512;
// Groups that hold what the return path keeps back.
constexpr size_t kHistoryGroups = kMaxReturnBits / kWordBits;

static_assert(std::endian::native == std::endian::little, "a group is stored as its four words");

uint16_t next_word(SpacedWords& words) {
    const uint16_t word = *words.next;
    words.next += words.stride;
    return word;
}

// The words of the send buffer, and behind them words of the batch. Leaves the buffer empty.
uint64_t first_group(Fifo<uint16_t, kSendDepth>& buffer, SpacedWords& words) {
    uint64_t group = 0;
    for (unsigned bit = 0; bit < kWordBits; bit += kDataBits) {
        group |= uint64_t{buffer.empty() ? next_word(words) : buffer.pop()} << bit;
    }
    return group;
}

template <size_t kStride>
const uint16_t* gather(std::span<uint64_t> groups, const uint16_t* words) {
    for (uint64_t& group : groups) {
        group = uint64_t{words[0]} | uint64_t{words[kStride]} << kDataBits |
                uint64_t{words[2 * kStride]} << 2 * kDataBits |
                uint64_t{words[3 * kStride]} << 3 * kDataBits;
        words += kGroupWords * kStride;
    }
    return words;
}

void take_groups(std::span<uint64_t> groups, SpacedWords& words) {
    switch (words.stride) {
    case 2:
        words.next = gather<2>(groups, words.next);
        break;
    case 3:
        words.next = gather<3>(groups, words.next);
        break;
    case 4:
        words.next = gather<4>(groups, words.next);
        break;
    case 5:
        words.next = gather<5>(groups, words.next);
        break;
    default:
        words.next = gather<6>(groups, words.next);
        break;
    }
}

// What the target gives, with what the return path kept back before it.
class Incoming {
public:
    Incoming(const ReturnPath& path, uint64_t first, size_t groups)
        : delay_bits_(path.position() - first), groups_(groups) {
        for (size_t i = 1; i <= words_for(delay_bits_); ++i) {
            bits_[kHistoryGroups - i] = path.read(path.position() - i * kWordBits, kWordBits);
        }
        bits_[kHistoryGroups + groups] = 0; // looked at, and shifted away
    }

    std::span<uint64_t> tdo() { return {bits_.data() + kHistoryGroups, groups_}; }

    // Needs room for kGroupWords words a group.
    void store(uint16_t* words) const {
        const uint64_t first = kHistoryGroups * kWordBits - delay_bits_;
        if (first % kDataBits == 0) {
            // A programmed link delay leaves whole words.
            std::memcpy(words, reinterpret_cast<const uint16_t*>(bits_.data()) + first / kDataBits,
                        groups_ * sizeof(uint64_t));
            return;
        }
        const uint64_t* bits = bits_.data() + first / kWordBits;
        const unsigned offset = first % kWordBits;
        const size_t count = groups_;
        uint64_t low = bits[0];
        for (size_t i = 0; i < count; ++i, words += kGroupWords) {
            const uint64_t high = bits[i + 1];
            // Shifted in two steps: a shift by 64 is undefined.
            const uint64_t group = low >> offset | high << 1 << (kWordBits - 1 - offset);
            low = high;
            std::memcpy(words, &group, sizeof group);
        }
    }

private:
    uint64_t delay_bits_;
    size_t groups_;
    std::array<uint64_t, kHistoryGroups + kBlockGroups + 1> bits_;
};

} // namespace

size_t ScanEngine::steps_in_one_piece(size_t count) const {
    // An observer wants to see each word by itself; a stop is told by the word that meets it.
    if (prompt_ || stop_->load(std::memory_order_relaxed) || (scan_.receive && received() != 0)) {
        return 0;
    }
    // With words in both directions one may be on its way; a scan that only sends goes on when the
    // send buffer is full.
    const size_t in_flight = scan_.send ? sent_.size() : 1;
    const size_t least = scan_.send && !scan_.receive ? kSendDepth : 1;
    if (in_flight < least || words_left_ <= in_flight) {
        return 0;
    }
    const uint64_t steps = std::min<uint64_t>(count, words_left_ - in_flight);
    return static_cast<size_t>(steps / kGroupWords * kGroupWords);
}

// As many words stand in the send buffer afterwards as before.
Status ScanEngine::run_steps(size_t steps, SpacedWords to_send, uint16_t* received) {
    TRY(sync());
    std::array<uint64_t, kBlockGroups> tdi;
    size_t groups = steps / kGroupWords;
    std::fill_n(tdi.begin(), std::min(groups, kBlockGroups), scan_.level ? ~uint64_t{0} : 0);
    const size_t in_flight = sent_.size();
    for (bool first = true; groups != 0; first = false) {
        const std::span<uint64_t> block(tdi.data(), std::min(groups, kBlockGroups));
        if (scan_.send) {
            if (first) {
                tdi[0] = first_group(sent_, to_send);
            }
            take_groups(block.subspan(first ? 1 : 0), to_send);
        }
        TRY(shift_groups(block, received));
        received += scan_.receive ? block.size() * kGroupWords : 0;
        groups -= block.size();
    }
    while (sent_.size() < in_flight) {
        sent_.push(next_word(to_send));
    }
    return {};
}

// Needs an empty queue and no words received.
Status ScanEngine::shift_groups(std::span<const uint64_t> tdi, uint16_t* received) {
    const uint64_t bits = tdi.size() * kWordBits;
    Incoming incoming(path_, scan_.receive ? read_position_ : path_.position(), tdi.size());
    if (Status status = bus_->shift(tdi, incoming.tdo(), bits, false, unwanted(bits)); !status)
        [[unlikely]] {
        return failed(std::move(status));
    }
    path_.push(incoming.tdo(), bits);
    scan_.bits -= bits;
    words_left_ -= tdi.size() * kGroupWords;
    if (scan_.receive) {
        incoming.store(received);
        read_position_ += bits;
    }
    return {};
}

} // namespace talvor::podsim
