// Server side of remote_bitbang, a protocol of one byte a request:
//
//     0 to 7    TCK x 4 + TMS x 2 + TDI
//     R         TDO now, answered with 0 or 1
//     r s t u   (TRST, SRST) = (0,0) (0,1) (1,0) (1,1); 1 is asserted
//     B b       a light on and off: nothing
//     Q         good-bye
//
// Line ends, as a person types them, are nothing either; every other byte is an error. TCK is low
// at first. TDO changes on falling edges of TCK: an R while TCK is low asks for the bit of the next
// rising edge, an R while it is high for that of the last one. Writing levels that make no edge
// does nothing.
#pragma once

#include "host/serve/edge_batch.h"
#include "host/serve/protocol.h"

#include <vector>

namespace talvor {

class RemoteBitbang final : public Protocol {
public:
    // The port outlives it.
    explicit RemoteBitbang(EdgePort& port) : port_(port) {}

    [[nodiscard]] Result<Served> serve(std::span<const uint8_t> input, Answer& answer) override;
    [[nodiscard]] Status idle() override;
    [[nodiscard]] size_t longest_request() const noexcept override { return 1; }

private:
    [[nodiscard]] Status serve_one(uint8_t byte, Answer& answer);
    void set_pins(unsigned pins);
    void read(Answer& answer);
    [[nodiscard]] Status set_resets(unsigned resets, Answer& answer);
    // Makes what was collected and gives the answers that were asked for. With `keep_last` the last
    // edge waits while TCK is high: its TDO may be asked for yet. Otherwise nobody asks any more.
    [[nodiscard]] Status make(Answer& answer, bool keep_last);

    EdgePort& port_;
    unsigned pins_ = 0;
    EdgeBatch batch_;
    // The edges of the batch whose TDO is to be answered; its size stands for the next one.
    std::vector<size_t> reads_;
    bool last_tdo_ = true; // of the last edge, where TCK is high and the batch empty
};

} // namespace talvor
