// What can be wrong with a board: what a fault is and where it sits.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace talvor::podsim {

struct BoardFault {
    enum class Kind : uint8_t {
        Open,    // at a pin: its joint is broken; at a net: the wire is, no pin reaches another
        Short,   // of nets
        Stuck,   // a net touches supply or ground; a pin's buffer knows one level only
        Dead,    // a device drives no pin and answers nothing; its TDO stands still
        Swapped, // two devices stand in each other's place in the chain
    };
    // What nets that are joined show when they are driven equally strongly.
    enum class Model : uint8_t {
        WiredAnd,
        WiredOr,
        Strong, // what the net named first has
    };

    Kind kind = Kind::Open;
    // Open, Stuck: a net or a pin. Short: two nets or more. Dead: a device. Swapped: two devices.
    std::vector<std::string> places;
    Model model = Model::WiredAnd; // of a short
    bool level = true;             // of what is stuck, of TDO of a dead device

    friend bool operator==(const BoardFault&, const BoardFault&) = default;
};

// The words of a command that brings the fault about: "stuck D3 0".
[[nodiscard]] std::string text_of(const BoardFault& fault);

// The words for kinds and models, as commands and descriptions have them.
[[nodiscard]] const char* name_of(BoardFault::Kind kind) noexcept;
[[nodiscard]] const char* name_of(BoardFault::Model model) noexcept;

} // namespace talvor::podsim
