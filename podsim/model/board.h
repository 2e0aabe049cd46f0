// The nets between the pins of a chain's devices, with what may be wrong about them.
#pragma once

#include "podsim/model/board_description.h"
#include "podsim/model/boundary_cells.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace talvor::podsim {

// Where a fault sits, by numbers.
struct FaultPlace {
    BoardFault fault;
    bool at_pin = false;       // of an open and of what is stuck; else at a net
    std::vector<size_t> where; // numbers of nets, of pins, or of devices
};

// What a net is like, for reports.
struct NetState {
    std::string name;              // its own, or its first pin's
    std::vector<std::string> pins; // "u1.PA(3)"
    Drive drive;                   // what all of it comes to
    bool level = false;
    bool contention = false; // outputs drive it against each other
};

// Pins are numbered through, device by device. A net's level is worked out from the drives of its
// pins alone, in one pass: nothing that a pin drives depends on a level, save a keeper, which holds
// the level before. So the outcome depends on no order, and a loop of pins and nets settles at
// once.
//
// Modelling decisions:
// - The strongest drive wins. Equally strong ones that differ come to 0, as wired-and does. Outputs
//   that do so are in contention, which is the host's mistake when a cell drives one of them.
// - A net that nothing drives reads the board's floating level, or its own.
// - An open net leaves each of its pins alone, and its pull-up with none of them. A pin that is
//   alone reads what it drives itself, else the floating level.
// - Nets in a short come to the strongest drive of them all; where equally strong ones differ the
//   short's model says what they come to. Of shorts that touch each other the earliest counts. No
//   short is contention: the host cannot know.
// - What is stuck at a net is stronger than any output. A pin that is stuck has a broken buffer:
//   the device sees that level there, and drives it whenever it drives.
class Board {
public:
    // `cells` has a place for each device, null where it has no pins; they outlive this.
    Board(const ChainDescription& chain, std::vector<BoundaryCells*> cells);

    // Levels follow what pins drive now, where that has changed.
    void settle();
    // What was found wrong since the last call with what the host does to the board: outputs that
    // have begun to drive against each other. "" when there is nothing.
    [[nodiscard]] std::string take_finding();

    // The faults that hold from now on, instead of those before.
    void set_faults(const std::vector<FaultPlace>& faults);
    // What the board itself drives at a net; nothing: no more.
    void set_drive(size_t net, std::optional<bool> level);

    [[nodiscard]] std::optional<size_t> find_net(const std::string& name) const;
    // A pin by "device.signal" or "device.14", its package pin.
    [[nodiscard]] std::optional<size_t> find_pin(const std::string& name) const;
    // The same, with the cells that know the pin.
    struct PinCells {
        BoundaryCells* cells;
        size_t pin; // its number there
    };
    [[nodiscard]] PinCells cells_of(size_t pin) const;

    [[nodiscard]] size_t nets() const { return nets_.size(); }
    [[nodiscard]] NetState net_state(size_t net) const;

private:
    static constexpr size_t kNone = SIZE_MAX;

    struct Pin {
        size_t device = 0;
        size_t number = 0; // among the device's
        size_t net = kNone;
        bool open = false;         // its joint
        std::optional<bool> stuck; // its buffer
    };
    struct Net {
        BoardNet description;
        std::vector<size_t> pins;
        size_t group = kNone; // of nets that are shorted; kNone: none
        bool open = false;
        std::optional<bool> stuck;
        Drive drive;        // what it comes to by itself
        bool level = false; // with all that is wrong
        bool contention = false;
        bool told = false; // of contention that a host has brought about
    };
    // What drives of a net come to.
    struct Sum {
        Drive drive;
        bool opposed = false; // outputs are against each other
        bool tested = false;  // a cell drives one of the pins
    };
    struct Group {
        std::vector<size_t> nets; // in the order that shorts name them
        BoardFault::Model model = BoardFault::Model::WiredAnd;
    };

    void add_short(const FaultPlace& fault);
    void resolve();
    [[nodiscard]] Sum sum_of(const Net& net) const;
    void resolve_net(Net& net);
    void resolve_group(const Group& group);
    void tell_pin(const Pin& pin);
    [[nodiscard]] Drive drive_at(const Pin& pin) const;
    [[nodiscard]] bool rest_of(const Net& net) const;
    [[nodiscard]] std::string name_of(const Pin& pin) const;
    [[nodiscard]] std::string name_of(const Net& net) const;
    void note_contention(const Net& net);

    std::vector<std::string> device_names_;
    std::vector<BoundaryCells*> cells_;
    std::vector<size_t> first_pin_; // of each device
    bool floating_;
    std::vector<Pin> pins_;
    std::vector<Net> nets_;
    std::vector<Group> groups_;
    bool stale_ = true;
    std::string finding_;
    size_t more_findings_ = 0;
};

} // namespace talvor::podsim
