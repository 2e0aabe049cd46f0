#include "podsim/external/jtag_vpi.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

namespace talvor::podsim::external {
namespace {

using Packet = JtagVpiPacket;
constexpr uint64_t kMostBits = Packet::kMostBits;

} // namespace

// Takes up to kMostBits bits.
void JtagVpi::put_packet(JtagVpiCommand command, BitQueue& bits) {
    Packet packet{};
    packet.command = static_cast<uint32_t>(command);
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
        put_packet(JtagVpiCommand::MoveByTms, tms_);
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
        put_packet(leave && first + bits == count ? JtagVpiCommand::ScanAndLeave
                                                  : JtagVpiCommand::Scan,
                   piece);
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
    put_packet(JtagVpiCommand::Reset, none);
}

void JtagVpi::finish() {
    while (!tms_.empty()) {
        put_packet(JtagVpiCommand::MoveByTms, tms_);
    }
}

void JtagVpi::quit() {
    BitQueue none;
    put_packet(JtagVpiCommand::End, none);
}

std::optional<std::string> JtagVpi::take(std::span<const char> bytes) {
    while (!bytes.empty()) {
        const auto part = bytes.first(std::min(sizeof(Packet) - answer_.size(), bytes.size()));
        answer_.append(part.begin(), part.end());
        bytes = bytes.subspan(part.size());
        if (answer_.size() == sizeof(Packet)) {
            std::array<uint64_t, Packet::kDataBytes / sizeof(uint64_t)> bits{};
            std::memcpy(bits.data(), answer_.data() + offsetof(Packet, in), Packet::kDataBytes);
            asked_.front().pick(bits, levels());
            asked_.pop_front();
            answer_.clear();
        }
    }
    return std::nullopt;
}

} // namespace talvor::podsim::external
