// A device as its BSDL file describes it (IEEE 1149.1, annex B), in plain values.
#pragma once

#include "common/text.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace talvor::bsdl {

// Where something stands in the file; both count from 1, and 0 is nowhere.
struct Place {
    uint32_t line = 0;
    uint32_t column = 0;

    friend bool operator==(const Place&, const Place&) = default;
};

// Bits of '0', '1' and 'X', written as the file writes them: the rightmost is shifted first.
struct Pattern {
    std::string text;

    [[nodiscard]] size_t bits() const noexcept { return text.size(); }
    // Bit 0 is the rightmost. '0', '1' or 'X'.
    [[nodiscard]] char bit(size_t index) const noexcept { return text[text.size() - 1 - index]; }
    // Every bit that is no X equals that of `value`; bits from 64 on are not looked at.
    [[nodiscard]] bool matches(uint64_t value) const noexcept;
    // The value with 0 for every X, of the 64 bits shifted first.
    [[nodiscard]] uint64_t value() const noexcept;

    friend bool operator==(const Pattern&, const Pattern&) = default;
};

// The mode of a port. The last ones are those of the standard's 2013 edition.
enum class PortMode : uint8_t {
    In,
    Out,
    Buffer,
    InOut,
    Linkage,
    LinkageIn,
    LinkageOut,
    LinkageInOut,
    LinkageBuffer,
    LinkageMechanical,
    Power0,
    PowerPositive,
    PowerNegative,
    VrefIn,
    VrefOut,
};

// One wire of a port: all of a scalar port, or one element of a vector.
struct Signal {
    std::string name; // as the file writes it: "RESET", or "PA(3)" of a vector
    std::string port; // "RESET", "PA"
    std::optional<int64_t> index;
    PortMode mode = PortMode::Linkage;
    std::string pin; // of the chosen package; "" when the map does not name one
    Place place;
};

struct Instruction {
    std::string name; // as the file writes it; compare by same_name(), as VHDL does
    std::vector<Pattern> opcodes;
    bool is_private = false;
    Place place;
};

// A register that instructions select, of REGISTER_ACCESS or one that the standard defines.
struct RegisterAccess {
    std::string name;           // "BOUNDARY", "BYPASS", "DEVICE_ID", or the file's own
    std::optional<size_t> bits; // when the file says it
    std::vector<std::string> instructions;
    std::vector<Pattern> captures; // of each instruction what it captures; "" when nobody says
    Place place;
};

// What a cell does (IEEE 1149.1, B.8.14).
enum class CellFunction : uint8_t {
    Input,
    Clock,       // an input that is a clock
    Output2,     // two states
    Output3,     // can be disabled by a control cell
    Control,     // enables outputs
    ControlR,    // the same, and a reset of the test logic disables them
    Internal,    // no pin
    Bidir,       // input or output, as its control cell says
    ObserveOnly, // watches a pin that another cell drives
};

// What a pin is like when its driver is disabled.
enum class DisableResult : uint8_t { Z, Weak0, Weak1, Pull0, Pull1, Keeper, Open0, Open1, OpenX };

// One entry of BOUNDARY_REGISTER. A merged cell has two entries of the same number.
struct Cell {
    size_t number = 0;            // 0 is nearest TDO, shifted first
    std::string type;             // "BC_1"
    std::optional<size_t> signal; // index into Device::signals; nothing for "*"
    CellFunction function = CellFunction::Internal;
    char safe = 'X';               // '0', '1' or 'X'
    std::optional<size_t> control; // number of the cell that disables this one's output
    char disable_value = '0';      // of the control cell; meaningless without one
    DisableResult disable_result = DisableResult::Z;
    std::optional<DisableResult> open_result; // of an input: what it sees when nothing drives it
    Place place;
};

// Signals that carry the test access port; indices into Device::signals.
struct TapSignals {
    std::optional<size_t> tck;
    std::optional<size_t> tms;
    std::optional<size_t> tdi;
    std::optional<size_t> tdo;
    std::optional<size_t> trst;
    double max_tck_hz = 0;       // 0: not said
    bool tck_stops_both = false; // TCK may stop low and high; else low only
};

// The signals that must stand at one of these patterns for the device to comply with the standard.
struct CompliancePatterns {
    std::vector<size_t> signals; // indices into Device::signals, the leftmost bit's first
    std::vector<Pattern> patterns;
    Place place;
};

// Two signals that carry one value, the second one inverted (PORT_GROUPING). Cells belong to the
// first.
struct SignalPair {
    size_t representative = 0; // indices into Device::signals
    size_t associated = 0;
    bool is_current = false; // a difference of currents, not of voltages
};

// An attribute or a constant that is kept as it stands and not understood.
struct OtherAttribute {
    std::string name;
    std::string value; // strings joined, else the words as written
    Place place;
};

struct Device {
    std::string name;                  // the entity's
    std::string package;               // the chosen pin map, "" without one
    std::vector<std::string> packages; // all pin maps of the file
    uint32_t edition = 0; // of the standard that the file uses: 1990, 1994 ...; 0: none
    Place place;          // of the entity
    std::vector<Signal> signals;
    std::vector<SignalPair> pairs;
    TapSignals tap;
    CompliancePatterns compliance; // no signals: no patterns
    size_t instruction_bits = 0;
    Pattern instruction_capture;
    std::vector<Instruction> instructions; // with BYPASS, also when the file leaves it out
    std::vector<Pattern> idcodes;          // 32 bits each, alternatives; empty: no IDCODE register
    std::vector<Pattern> usercodes;
    std::vector<RegisterAccess> registers;
    size_t boundary_bits = 0;
    std::vector<Cell> cells; // in ascending order of their numbers
    std::vector<OtherAttribute> others;
};

enum class Severity : uint8_t { Warning, Error };

// What a check found; the file could be read all the same.
struct Finding {
    Severity severity = Severity::Warning;
    Place place;
    std::string text; // names the thing, the reason and the next step

    friend bool operator==(const Finding&, const Finding&) = default;
};

// Null when the device has none of this name.
[[nodiscard]] const Instruction* find_instruction(const Device& device, std::string_view name);
// A signal by its name, "PA(3)" or "PA3" where no scalar port is called so, or by its package pin.
// An index into device.signals.
[[nodiscard]] std::optional<size_t> find_signal(const Device& device, std::string_view name);

} // namespace talvor::bsdl
