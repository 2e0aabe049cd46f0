// Version 1.0 of the XVC protocol: vectors of TMS and TDI, answered by a vector of TDO.
//
// The server says first how many bytes its vectors may have. Requests go out one after the other,
// each when the one before it has been answered, as the protocol has it. All clocks of a batch go
// into as few vectors as hold them. The server's clock stays as it is.
#pragma once

#include "podsim/external/protocol.h"
#include "podsim/external/wanted_runs.h"

#include <deque>
#include <string>
#include <vector>

namespace talvor::podsim::external {

class Xvc : public Protocol {
public:
    void begin() override;
    void move(uint64_t tms, unsigned count, bool tdi) override;
    void shift(std::span<const uint64_t> tdi, uint64_t count, bool leave,
               uint64_t unwanted) override;
    void finish() override;
    [[nodiscard]] std::optional<std::string> take(std::span<const char> bytes) override;

private:
    // As many (at most 64) clocks as the present vector has room for; the number.
    unsigned add(uint64_t tms, uint64_t tdi, unsigned count, bool wanted);
    void put_bits_of(BitQueue& bits);
    std::optional<std::string> take_greeting(char byte);
    void take_answer();

    uint64_t most_bits_ = 0; // of a vector; 0 until the server has said it
    std::string greeting_;
    BitQueue tms_; // the vector that is being filled
    BitQueue tdi_;
    WantedRuns runs_;
    std::deque<WantedRuns> asked_; // of the vectors that have no answer yet
    std::string answer_;           // to the first of them, as far as it has come
};

} // namespace talvor::podsim::external
