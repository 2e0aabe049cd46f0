// The pins that an edge engine gives.
#pragma once

#include "host/bridge/edge_engine.h"
#include "host/serve/edge_port.h"

namespace talvor {

class EnginePort final : public EdgePort {
public:
    // The engine outlives the port.
    explicit EnginePort(EdgeEngine& engine) : engine_(engine), first_hertz_(engine.hertz()) {}

    [[nodiscard]] Status start() override;
    [[nodiscard]] Status clock(const Bits& tms, const Bits& tdi, Bits* tdo,
                               const Bits* asked) override {
        return engine_.clock(tms, tdi, tdo, asked);
    }
    [[nodiscard]] Result<bool> tdo() override { return engine_.tdo(); }
    [[nodiscard]] Status set_trst(bool asserted) override { return engine_.set_trst(asserted); }
    [[nodiscard]] Status set_srst(bool asserted) override { return engine_.set_srst(asserted); }
    [[nodiscard]] Status set_max_frequency(double hertz) override;
    [[nodiscard]] double hertz() const override { return engine_.hertz(); }
    [[nodiscard]] Status settle() override { return engine_.settle(); }
    [[nodiscard]] bool unsettled() const override { return engine_.unsettled(); }
    [[nodiscard]] TapState state() const override { return engine_.client_state(); }

private:
    EdgeEngine& engine_;
    double first_hertz_; // the fastest that a client may have; 0: not known
};

} // namespace talvor
