#include "podsim/external/jtag_vpi.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstring>

namespace talvor::podsim::external {
namespace {

constexpr size_t kMostBytes = 512;
constexpr uint64_t kMostBits = kMostBytes * 8;

// Numbers are little-endian, whatever the machine.
struct Packet {
    uint32_t command;
    std::array<uint8_t, kMostBytes> out; // TMS, or TDI; the first bit in bit 0 of byte 0
    std::array<uint8_t, kMostBytes> in;  // TDO, in an answer
    uint32_t bytes;
    uint32_t bits;
};
static_assert(sizeof(Packet) == 1036, "the packet is the one on the wire");
static_assert(std::endian::native == std::endian::little, "numbers are stored as they stand");

// Commands.
constexpr uint32_t kReset = 0;
constexpr uint32_t kMoveByTms = 1;
constexpr uint32_t kScan = 2;         // TMS 0
constexpr uint32_t kScanAndLeave = 3; // the last bit with TMS 1
constexpr uint32_t kEnd = 4;

} // namespace

// Takes up to kMostBits bits.
void JtagVpi::put_packet(uint32_t command, BitQueue& bits) {
    Packet packet{};
    packet.command = command;
    packet.bits = static_cast<uint32_t>(std::min(bits.size(), kMostBits));
    packet.bytes = (packet.bits + 7) / 8;
    for (uint32_t done = 0; done < packet.bits; done += kWordBits) {
        const unsigned step = std::min(kWordBits, packet.bits - done);
        const uint64_t word = bits.take(step);
        std::memcpy(packet.out.data() + done / 8, &word, sizeof word);
    }
    exchange().out().append(reinterpret_cast<const char*>(&packet), sizeof packet);
}

void JtagVpi::move(uint64_t tms, unsigned count, bool /*tdi*/) {
    tms_.append(tms & low_mask(count), count);
    if (tms_.size() >= kMostBits) {
        put_packet(kMoveByTms, tms_);
    }
}

void JtagVpi::shift(std::span<const uint64_t> tdi, uint64_t count, bool leave, uint64_t unwanted) {
    finish();
    for (uint64_t first = 0; first < count; first += kMostBits) {
        const uint64_t bits = std::min(kMostBits, count - first);
        BitQueue piece;
        for (uint64_t done = 0; done < bits; done += kWordBits) {
            const auto step = static_cast<unsigned>(std::min<uint64_t>(kWordBits, bits - done));
            piece.append(get_bits(tdi, first + done, step), step);
        }
        put_packet(leave && first + bits == count ? kScanAndLeave : kScan, piece);
        exchange().expect(sizeof(Packet));
        exchange().hold();
        const uint64_t skipped = std::min(bits, unwanted > first ? unwanted - first : 0);
        asked_.emplace_back().add(skipped, false);
        asked_.back().add(bits - skipped, true);
    }
}

void JtagVpi::pulse_trst() {
    finish();
    BitQueue none;
    put_packet(kReset, none);
}

void JtagVpi::finish() {
    while (!tms_.empty()) {
        put_packet(kMoveByTms, tms_);
    }
}

void JtagVpi::quit() {
    BitQueue none;
    put_packet(kEnd, none);
}

std::optional<std::string> JtagVpi::take(std::span<const char> bytes) {
    while (!bytes.empty()) {
        const auto part = bytes.first(std::min(sizeof(Packet) - answer_.size(), bytes.size()));
        answer_.append(part.begin(), part.end());
        bytes = bytes.subspan(part.size());
        if (answer_.size() == sizeof(Packet)) {
            std::array<uint64_t, kMostBytes / sizeof(uint64_t)> bits{};
            std::memcpy(bits.data(), answer_.data() + offsetof(Packet, in), kMostBytes);
            asked_.front().pick(bits, levels());
            asked_.pop_front();
            answer_.clear();
        }
    }
    return std::nullopt;
}

} // namespace talvor::podsim::external
