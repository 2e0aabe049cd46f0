// The pins that an edge engine gives.
#pragma once

#include "host/bridge/edge_engine.h"
#include "host/serve/edge_port.h"

#include <functional>
#include <utility>

namespace talvor {

class EnginePort final : public EdgePort {
public:
    // Makes the pod usable again after an error of it; may be empty.
    using Recovery = std::function<Status()>;

    // The engine outlives the port.
    explicit EnginePort(EdgeEngine& engine, Recovery recover = {})
        : engine_(engine), recover_(std::move(recover)), first_hertz_(engine.hertz()) {}

    [[nodiscard]] Status start() override;
    [[nodiscard]] Status clock(const Bits& tms, const Bits& tdi, Bits* tdo,
                               const Bits* asked) override {
        return noted(engine_.clock(tms, tdi, tdo, asked));
    }
    [[nodiscard]] Result<bool> tdo() override { return noted(engine_.tdo()); }
    [[nodiscard]] Status set_trst(bool asserted) override {
        return noted(engine_.set_trst(asserted));
    }
    [[nodiscard]] Status set_srst(bool asserted) override {
        return noted(engine_.set_srst(asserted));
    }
    [[nodiscard]] Status set_max_frequency(double hertz) override;
    [[nodiscard]] double hertz() const override { return engine_.hertz(); }
    [[nodiscard]] Status settle() override { return noted(engine_.settle()); }
    [[nodiscard]] bool unsettled() const override { return engine_.unsettled(); }
    [[nodiscard]] TapState state() const override { return engine_.client_state(); }

private:
    [[nodiscard]] Status begin();
    template <typename Value>
    Result<Value> noted(Result<Value> result) {
        broken_ = broken_ || (!result && result.error().kind != ErrorKind::Refused);
        return result;
    }

    EdgeEngine& engine_;
    Recovery recover_;
    double first_hertz_;  // the fastest that a client may have; 0: not known
    bool broken_ = false; // an error has come since everything was right
};

} // namespace talvor
