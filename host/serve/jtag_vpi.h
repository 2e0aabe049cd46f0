// Server side of jtag_vpi, a protocol of packets of one size:
//
//     command, 512 bytes out, 512 bytes in, bytes in use, bits in use
//
// Numbers are 32 bits, lowest byte first. Commands: 0 reset, 1 TMS sequence, 2 scan chain (TMS
// low), 3 scan chain with TMS high at the last bit, 4 stop. Scans are answered with a packet that
// holds TDO; the others are not answered. Bits beyond those in use are not believed, nor is the
// number of bytes, which they make superfluous.
#pragma once

#include "host/serve/edge_batch.h"
#include "host/serve/protocol.h"

#include <vector>

namespace talvor {

class JtagVpi final : public Protocol {
public:
    static constexpr size_t kDataBytes = 512;
    static constexpr size_t kPacketBytes = 3 * sizeof(uint32_t) + 2 * kDataBytes;

    // The port outlives it.
    explicit JtagVpi(EdgePort& port) : port_(port) {}

    [[nodiscard]] Result<Served> serve(std::span<const uint8_t> input, Answer& answer) override;
    [[nodiscard]] size_t longest_request() const noexcept override { return kPacketBytes; }

private:
    using Packet = std::span<const uint8_t, kPacketBytes>;

    // A scan whose answer is due.
    struct Scan {
        std::vector<uint8_t> packet;
        size_t first = 0; // edge of the batch
        size_t bits = 0;
    };

    // Whether the client has said good-bye.
    [[nodiscard]] Result<bool> take(Packet packet);
    void reset();
    void move(Packet packet, size_t bits);
    void scan(Packet packet, size_t bits, bool leave);
    [[nodiscard]] Status make(Answer& answer);

    EdgePort& port_;
    EdgeBatch batch_;
    std::vector<Scan> scans_;
};

} // namespace talvor
