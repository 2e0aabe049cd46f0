#include "host/serve/jtag_vpi.h"

#include "common/tap_state.h"
#include "host/serve/wire_bits.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvor {
namespace {

constexpr size_t kOutAt = sizeof(uint32_t);
constexpr size_t kInAt = kOutAt + JtagVpi::kDataBytes;
constexpr size_t kBitsAt = kInAt + JtagVpi::kDataBytes + sizeof(uint32_t);
constexpr size_t kMostBits = 8 * JtagVpi::kDataBytes;

enum Command : uint32_t { Reset, MoveByTms, ScanChain, ScanChainAndLeave, Stop };

} // namespace

Result<Protocol::Served> JtagVpi::serve(std::span<const uint8_t> input, Answer& answer) {
    Served served;
    while (!served.over && input.size() - served.bytes >= kPacketBytes) {
        served.over = TRY(take(input.subspan(served.bytes).first<kPacketBytes>()));
        served.bytes += kPacketBytes;
    }
    TRY(make(answer));
    return served;
}

Result<bool> JtagVpi::take(Packet packet) {
    const uint32_t command = read_u32(packet);
    const size_t bits = read_u32(packet.subspan(kBitsAt));
    if (bits > kMostBits) {
        return refused_error("jtag_vpi", fmt::format("a packet holds {} bits and says that it has "
                                                     "{}",
                                                     kMostBits, bits));
    }
    switch (command) {
    case Reset:
        reset();
        return false;
    case MoveByTms:
        move(packet, bits);
        return false;
    case ScanChain:
    case ScanChainAndLeave:
        scan(packet, bits, command == ScanChainAndLeave);
        return false;
    case Stop:
        return true;
    default:
        return refused_error("jtag_vpi", fmt::format("{} is no command", command));
    }
}

// Clients differ in whether they take the TAP to be in Test-Logic-Reset or in Run-Test/Idle
// afterwards; from the latter all their ways work.
void JtagVpi::reset() {
    for (unsigned i = 0; i < kResetPath.count; ++i) {
        batch_.push(true, true);
    }
    batch_.push(false, true);
}

void JtagVpi::move(Packet packet, size_t bits) {
    batch_.append(read_bits(packet.subspan(kOutAt), bits), Bits(bits));
}

void JtagVpi::scan(Packet packet, size_t bits, bool leave) {
    Bits tms(bits);
    if (leave && bits != 0) {
        tms.set(bits - 1, true);
    }
    const size_t first = batch_.size();
    batch_.append(tms, read_bits(packet.subspan(kOutAt), bits));
    batch_.ask_all();
    scans_.push_back({{packet.begin(), packet.end()}, first, bits});
}

Status JtagVpi::make(Answer& answer) {
    Bits tdo;
    TRY(batch_.make(port_, tdo));
    for (const Scan& scan : scans_) {
        Answer in;
        append_bits(in, tdo, scan.first, scan.bits);
        in.resize(kDataBytes);
        const size_t at = answer.size();
        answer.insert(answer.end(), scan.packet.begin(), scan.packet.end());
        std::ranges::copy(in, answer.begin() + static_cast<ptrdiff_t>(at + kInAt));
    }
    scans_.clear();
    return {};
}

} // namespace talvor
