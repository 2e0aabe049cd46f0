// The jtag_vpi protocol: packets of 1,036 bytes with a command and up to 4,096 bits.
//
// Moves go by sequences of TMS, many in a packet, during which the server holds TDI as it likes.
// Only scans are answered; what follows a scan goes out when its answer has come, since servers
// take one packet at a time.
#pragma once

#include "common/jtag_vpi_packet.h"
#include "podsim/external/protocol.h"
#include "podsim/external/wanted_runs.h"

#include <deque>
#include <string>

namespace talvor::podsim::external {

class JtagVpi : public Protocol {
public:
    void move(uint64_t tms, unsigned count, bool tdi) override;
    void shift(std::span<const uint64_t> tdi, uint64_t count, bool leave,
               uint64_t unwanted) override;
    void pulse_trst() override;
    void finish() override;
    void quit() override;
    [[nodiscard]] std::optional<std::string> take(std::span<const char> bytes) override;

private:
    void put_packet(JtagVpiCommand command, BitQueue& bits);

    BitQueue tms_;                 // of moves that have not been put into a packet
    std::deque<WantedRuns> asked_; // of the scans that have no answer yet
    std::string answer_;           // to the first of them, as far as it has come
};

} // namespace talvor::podsim::external
