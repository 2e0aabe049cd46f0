// The remote_bitbang protocol: a byte for each change of a pin.
//
// Each test clock is sent as its two levels. TDO is asked for while TCK is low, before the rising
// edge, so that a server that changes TDO on the falling edge, as IEEE 1149.1 (4.5.1) wants, and
// one that changes it on the rising edge both answer for this bit. TCK rests low. No byte is sent
// that changes no pin, since some servers act on the level again.
#pragma once

#include "podsim/external/protocol.h"

namespace talvor::podsim::external {

class RemoteBitbang : public Protocol {
public:
    void move(uint64_t tms, unsigned count, bool tdi) override;
    void shift(std::span<const uint64_t> tdi, uint64_t count, bool leave,
               uint64_t unwanted) override;
    void pulse_trst() override;
    void set_reset(bool asserted) override;
    void finish() override;
    void quit() override;
    [[nodiscard]] std::optional<std::string> take(std::span<const char> bytes) override;

private:
    void put(char byte) { exchange().out().push_back(byte); }
    void set_pins(bool tck, bool tms, bool tdi);
    void clock(bool tms, bool tdi, bool wanted);
    // Eight clocks with TMS 0 and TCK high before them.
    void clock_byte(unsigned tdi, bool wanted);

    int pins_ = -1; // the levels sent last; -1: none yet
};

} // namespace talvor::podsim::external
