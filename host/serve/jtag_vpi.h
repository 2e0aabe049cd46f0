// Server side of jtag_vpi. Bits beyond those in use are not believed, nor is the number of bytes,
// which they make superfluous.
#pragma once

#include "common/jtag_vpi_packet.h"
#include "host/serve/edge_batch.h"
#include "host/serve/protocol.h"

#include <vector>

namespace talvor {

class JtagVpi final : public Protocol {
public:
    static constexpr size_t kPacketBytes = sizeof(JtagVpiPacket);

    // The port outlives it.
    explicit JtagVpi(EdgePort& port) : port_(port) {}

    [[nodiscard]] Result<Served> serve(std::span<const uint8_t> input, Answer& answer) override;
    [[nodiscard]] size_t longest_request() const noexcept override { return kPacketBytes; }

private:
    // A scan whose answer is due.
    struct Scan {
        JtagVpiPacket packet;
        size_t first = 0; // edge of the batch
        size_t bits = 0;
    };

    // Whether the client has said good-bye.
    [[nodiscard]] Result<bool> take(const JtagVpiPacket& packet);
    void reset();
    void move(const JtagVpiPacket& packet);
    void scan(const JtagVpiPacket& packet, bool leave);
    [[nodiscard]] Status make(Answer& answer);

    EdgePort& port_;
    EdgeBatch batch_;
    std::vector<Scan> scans_;
};

} // namespace talvor
