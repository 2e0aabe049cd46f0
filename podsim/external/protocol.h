// How clocks become bytes for a server, and its bytes levels of TDO.
#pragma once

#include "podsim/external/bit_queue.h"
#include "podsim/external/exchange.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace talvor::podsim::external {

// One connection's worth of it: another connection begins with a new object. Calls only put bytes
// into the exchange; the levels of TDO come out in the order in which they were asked for.
class Protocol {
public:
    virtual ~Protocol() = default;

    // What a client says first. finish() comes before anything else.
    virtual void begin() {}
    // As in Target: `count` (1 to 64) clocks, and `count` (at least 1) bits. TDO of the bits from
    // `unwanted` on is asked for.
    virtual void move(uint64_t tms, unsigned count, bool tdi) = 0;
    virtual void shift(std::span<const uint64_t> tdi, uint64_t count, bool leave,
                       uint64_t unwanted) = 0;
    // Reset requests; nothing where the protocol has none.
    virtual void pulse_trst() {}
    virtual void set_reset(bool /*asserted*/) {}
    // Everything that was asked for can go out; nothing follows for now.
    virtual void finish() {}
    // Ends the server; nothing where the protocol has no word for it.
    virtual void quit() {}
    // Takes what the server has sent. What it has done wrong, as in "has answered with ...".
    [[nodiscard]] virtual std::optional<std::string> take(std::span<const char> bytes) = 0;

    Exchange& exchange() { return exchange_; }
    const Exchange& exchange() const { return exchange_; }
    BitQueue& levels() { return levels_; }
    const BitQueue& levels() const { return levels_; }

protected:
    Protocol() = default;

private:
    Exchange exchange_;
    BitQueue levels_;
};

} // namespace talvor::podsim::external
