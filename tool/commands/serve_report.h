// What happens while the pod is served to other programs, as lines or as documents of one line.
#pragma once

#include "host/bridge/edge_engine.h"
#include "host/serve/edge_log.h"
#include "host/serve/server.h"
#include "tool/output/output.h"

#include <array>
#include <cstdint>
#include <functional>
#include <string>

namespace talvor {

class ServeReport final : public ServerEvents {
public:
    // How often something could not be exact so far.
    using Counts = std::array<uint64_t, kInexactKinds>;

    // The output outlives the report.
    explicit ServeReport(const Output& out) : out_(out) {}

    // Where the counts of visits come from.
    void count_by(std::function<uint64_t(Inexact)> count) { count_ = std::move(count); }

    // Everything is ready; warns of ports that others may reach.
    void ready(const Server& server, uint32_t serial) const;
    // The server has ended, by `signal` unless that is 0.
    void ended(int signal) const;
    // What a client does.
    void act(const ClientAct& act) const;
    // Something cannot be exact, for the first time.
    void inexact(Inexact kind, const std::string& text) const;

    void came(const Visit& visit) override;
    void turned_away(const Visit& visit, const Visit& served) override;
    void not_taken(const Visit& visit, const std::string& reason) override;
    void left(const Visit& visit, const Departure& departure) override;

private:
    [[nodiscard]] Counts counts() const;

    const Output& out_;
    std::function<uint64_t(Inexact)> count_;
    Counts before_{}; // this visit
};

// An act of a client in words: "DR scan, 32 bits, out 0x00000000, in 0x1A2B3C4D, then Update-DR".
[[nodiscard]] std::string text_of(const ClientAct& act);

} // namespace talvor
