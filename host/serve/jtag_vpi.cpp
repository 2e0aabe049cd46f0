#include "host/serve/jtag_vpi.h"

#include "common/tap_state.h"
#include "host/serve/wire_bits.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

namespace talvor {
Result<Protocol::Served> JtagVpi::serve(std::span<const uint8_t> input, Answer& answer) {
    Served served;
    while (!served.over && input.size() - served.bytes >= kPacketBytes) {
        JtagVpiPacket packet;
        std::memcpy(&packet, input.data() + served.bytes, sizeof packet);
        served.over = TRY(take(packet));
        served.bytes += kPacketBytes;
    }
    TRY(make(answer));
    return served;
}

Result<bool> JtagVpi::take(const JtagVpiPacket& packet) {
    if (packet.bits > JtagVpiPacket::kMostBits) {
        return refused_error("jtag_vpi",
                             fmt::format("a packet holds {} bits and says that it has {}",
                                         JtagVpiPacket::kMostBits, packet.bits));
    }
    switch (static_cast<JtagVpiCommand>(packet.command)) {
    case JtagVpiCommand::Reset:
        reset();
        return false;
    case JtagVpiCommand::MoveByTms:
        move(packet);
        return false;
    case JtagVpiCommand::Scan:
        scan(packet, false);
        return false;
    case JtagVpiCommand::ScanAndLeave:
        scan(packet, true);
        return false;
    case JtagVpiCommand::End:
        return true;
    }
    return refused_error("jtag_vpi", fmt::format("{} is no command", packet.command));
}

// Clients differ in whether they take the TAP to be in Test-Logic-Reset or in Run-Test/Idle
// afterwards; from the latter all their ways work.
void JtagVpi::reset() {
    for (unsigned i = 0; i < kResetPath.count; ++i) {
        batch_.push(true, true);
    }
    batch_.push(false, true);
}

void JtagVpi::move(const JtagVpiPacket& packet) {
    batch_.append(read_bits(packet.out, packet.bits), Bits(packet.bits));
}

void JtagVpi::scan(const JtagVpiPacket& packet, bool leave) {
    const size_t bits = packet.bits;
    Bits tms(bits);
    if (leave && bits != 0) {
        tms.set(bits - 1, true);
    }
    const size_t first = batch_.size();
    batch_.append(tms, read_bits(packet.out, bits));
    batch_.ask_all();
    scans_.push_back({packet, first, bits});
}

Status JtagVpi::make(Answer& answer) {
    Bits tdo;
    TRY(batch_.make(port_, tdo));
    for (Scan& scan : scans_) {
        Answer in;
        append_bits(in, tdo, scan.first, scan.bits);
        in.resize(JtagVpiPacket::kDataBytes);
        std::ranges::copy(in, scan.packet.in.begin());
        const auto* const bytes = reinterpret_cast<const uint8_t*>(&scan.packet);
        answer.insert(answer.end(), bytes, bytes + sizeof scan.packet);
    }
    scans_.clear();
    return {};
}

} // namespace talvor
