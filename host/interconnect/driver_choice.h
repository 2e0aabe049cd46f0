// The choice of one driver for each net where control cells are shared.
#pragma once

#include "common/result.h"
#include "host/boundary/access.h"
#include "host/interconnect/placed_net.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace talvor::interconnect {

// An output on a net.
struct NetOutput {
    size_t net = 0;
    size_t pin = 0; // of the net
    const boundary::Pin* cells = nullptr;
    std::pair<size_t, size_t> data; // device and number of the cell that drives it
    std::optional<size_t> control;  // index into the choice's controls
    bool open_collector = false;    // it drives one level and lets go at the other, without control

    [[nodiscard]] bool always_on() const noexcept { return !control && !open_collector; }
};

// A cell that enables outputs.
struct NetControl {
    enum class State : uint8_t { Free, Enabled, Disabled };

    size_t device = 0;
    size_t cell = 0; // number
    bool enable_level = false;
    std::vector<size_t> outputs; // indices; those on nets of the netlist
    State state = State::Free;
};

class DriverChoice {
public:
    // Both outlive this.
    DriverChoice(std::span<const PlacedNet> nets, std::span<const boundary::Member> chain);

    // Two outputs that nothing disables on one net (ErrorKind::Refused).
    [[nodiscard]] Status refuse_contention() const;
    // Gives each of `nets` a driver where it can have one; the others of the netlist are not
    // driven but where nothing prevents it.
    void choose(const std::vector<size_t>& nets);

    // The output that drives a net, or may: nothing where nobody does.
    [[nodiscard]] const NetOutput* driver(size_t net) const;
    // Why a net has none.
    [[nodiscard]] const std::string& reason(size_t net) const { return reasons_[net]; }
    [[nodiscard]] const std::vector<NetControl>& controls() const { return controls_; }
    [[nodiscard]] const std::vector<NetOutput>& outputs() const { return outputs_; }

private:
    void add_output(size_t net, size_t pin, const boundary::Plan& plan);
    // The outputs of a net, the best first.
    [[nodiscard]] std::vector<size_t> candidates(size_t net) const;
    void choose_for(size_t net);
    // Whether another pin of its net has a cell that sees what it drives.
    [[nodiscard]] bool is_seen(size_t output) const;
    // Enables what an output needs; nothing is changed and the answer is why, where that would make
    // two outputs drive one net.
    [[nodiscard]] std::optional<std::string> try_driver(size_t output);
    // One of those that are enabled for the sake of `wanted`.
    [[nodiscard]] std::optional<std::string> claim(size_t output, size_t wanted);
    [[nodiscard]] std::optional<std::string> disable_others(size_t output);
    void set_state(size_t control, NetControl::State state);
    void set_driver(size_t net, size_t output);
    void undo();
    [[nodiscard]] const DevicePin& pin_of(size_t output) const;

    std::span<const PlacedNet> nets_;
    std::span<const boundary::Member> chain_;
    std::vector<NetOutput> outputs_;
    std::vector<NetControl> controls_;
    std::map<std::pair<size_t, size_t>, size_t> control_of_; // by device and cell
    std::vector<std::vector<size_t>> outputs_of_;            // by net
    std::vector<size_t> drivers_;                            // by net; SIZE_MAX: none
    std::vector<std::string> reasons_;
    std::map<std::pair<size_t, size_t>, size_t> data_users_; // the net that a data cell drives
    // What try_driver() has changed, for undo().
    std::vector<std::pair<size_t, NetControl::State>> changed_states_;
    std::vector<size_t> changed_drivers_;
};

} // namespace talvor::interconnect
