// A jtag_vpi client as debuggers have it: moves by TMS sequences, scans in packets.
#pragma once

#include "common/jtag_vpi_packet.h"
#include "common/tap_state.h"
#include "host/jtag/bits.h"
#include "host/jtag/port.h"
#include "host/serve/jtag_vpi.h"
#include "host/serve/socket_client.h"
#include "host/serve/wire_bits.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace talvor::cli {

class VpiClient {
public:
    explicit VpiClient(const std::string& address) : socket_(address) {}

    // The server leaves the TAP in Run-Test/Idle.
    void reset() {
        send(kReset, {});
        state_ = TapState::RunTestIdle;
    }
    void move(TapState to) {
        const TmsPath path = shortest_path(state_, to);
        if (path.count != 0) {
            send(kMoveByTms, Bits::from_uint(path.tms, path.count));
            state_ = to;
        }
    }
    // Ends in Run-Test/Idle; what TDO gave.
    Bits scan(ScanPath path, const Bits& out) {
        move(path == ScanPath::Ir ? TapState::ShiftIr : TapState::ShiftDr);
        Bits in;
        for (size_t at = 0; at < out.size(); at += kPieceBits) {
            const size_t count = std::min(kPieceBits, out.size() - at);
            const bool last = at + count == out.size();
            send(last ? kScanAndLeave : kScan, out.slice(at, count));
            in.append(receive(count));
        }
        state_ = path == ScanPath::Ir ? TapState::Exit1Ir : TapState::Exit1Dr;
        move(TapState::RunTestIdle);
        return in;
    }
    // Clocks in Run-Test/Idle, the way debuggers ask for them: a scan that is none.
    void idle(size_t clocks) {
        send(kScan, Bits(clocks));
        (void)receive(clocks);
    }
    void stop() { send(kStop, {}); }
    [[nodiscard]] bool closed() const { return socket_.closed(); }

private:
    static constexpr uint32_t kReset = 0;
    static constexpr uint32_t kMoveByTms = 1;
    static constexpr uint32_t kScan = 2;
    static constexpr uint32_t kScanAndLeave = 3;
    static constexpr uint32_t kStop = 4;
    static constexpr size_t kPieceBits = 8 * JtagVpiPacket::kDataBytes;
    static constexpr size_t kInAt = sizeof(uint32_t) + JtagVpiPacket::kDataBytes;

    void send(uint32_t command, const Bits& bits) {
        std::vector<uint8_t> packet;
        append_u32(packet, command);
        append_bits(packet, bits, 0, bits.size());
        packet.resize(kInAt + JtagVpiPacket::kDataBytes);
        append_u32(packet, static_cast<uint32_t>(bytes_of_bits(bits.size())));
        append_u32(packet, static_cast<uint32_t>(bits.size()));
        socket_.send({reinterpret_cast<const char*>(packet.data()), packet.size()});
    }
    Bits receive(size_t bits) {
        const std::string packet = socket_.receive(JtagVpi::kPacketBytes);
        if (packet.size() != JtagVpi::kPacketBytes) {
            return Bits(bits);
        }
        const auto* bytes = reinterpret_cast<const uint8_t*>(packet.data());
        return read_bits(std::span(bytes, packet.size()).subspan(kInAt), bits);
    }

    SocketClient socket_;
    TapState state_ = TapState::TestLogicReset;
};

} // namespace talvor::cli
