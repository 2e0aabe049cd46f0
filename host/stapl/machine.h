// Runs a STAPL program from one action on the TAP to the next.
#pragma once

#include "common/result.h"
#include "common/tap_state.h"
#include "host/jtag/bits.h"
#include "host/jtag/port.h"
#include "host/stapl/program.h"
#include "host/stapl/selection.h"
#include "host/stapl/slice.h"
#include "host/stapl/variables.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::stapl {

struct MachineLimits {
    size_t max_array_bytes = size_t{1} << 28; // of all variables together
    size_t max_stack = size_t{1} << 16;       // calls, loops and pushed values
    uint64_t max_scan_bits = uint64_t{1} << 30;
    // Statements from one action on the TAP to the next: minutes of work, where none is left to do.
    uint64_t max_idle_statements = 1'000'000'000;
};

// What the program says to a person or a program outside. Any of them may be empty.
struct Listener {
    std::function<void(std::string_view)> print;
    std::function<void(std::string_view key, int32_t value)> number;
    std::function<void(std::string_view key, const Bits& bits)> bits;
};

// What the program asks of the TAP next.
struct Request {
    enum class Kind : uint8_t { End, Scan, Pad, Stop, State, Wait, Trst, Frequency, Refused };

    Kind kind = Kind::End;
    Statement statement;
    ScanPath path = ScanPath::Dr; // Scan, Stop
    Bits bits;                    // Scan: to shift; Pad: those before or behind, when `has_bits`
    bool has_bits = false;
    uint64_t count = 0;    // Pad
    bool captures = false; // Scan
    bool compares = false;
    Bits expected;
    Bits mask;
    PadPlace place = PadPlace::PreDr;
    StableState state = StableState::Idle;         // Stop
    const std::vector<TapState>* states = nullptr; // State
    WaitForm wait;                                 // Wait, Trst: what it has
    uint64_t clocks = 0;
    uint64_t microseconds = 0;
    uint64_t most_microseconds = 0;
    std::optional<double> hertz; // Frequency
    std::string_view reason;     // Refused
};

// How the program ended.
struct Outcome {
    int32_t code = 0;
    uint32_t line = 0; // of the EXIT; 0: the last procedure came to its end
};

class Machine {
public:
    // The program outlives the machine. `hook` is called now and then; false ends the run.
    Machine(const Program& program, const Selection& selection, const MachineLimits& limits);

    void listen(Listener listener) { listener_ = std::move(listener); }
    void on_chunk(std::function<bool()> hook) { hook_ = std::move(hook); }

    // Runs to the next action on the TAP, or to the end. What was asked for is answered before.
    // Errors (ErrorKind::BadFile, with file and line): a mistake that shows only now, such as an
    // index outside of its array. (ErrorKind::Usage): the hook wants to stop.
    [[nodiscard]] Status run(Request& request);
    // The answer to the scan that was asked for last: as many bits as it shifted, and whether they
    // are those that it expects under its mask.
    void answer(const Bits& bits, bool as_expected);

    [[nodiscard]] uint64_t executed() const noexcept { return executed_; } // statements
    [[nodiscard]] const Outcome& outcome() const noexcept { return outcome_; }

private:
    struct Record {
        enum class Kind : uint8_t { Call, For, Value };
        Kind kind = Kind::Value;
        uint32_t place = 0;    // Call: where to return; For: the loop's first instruction
        uint32_t variable = 0; // For
        int32_t value = 0;     // Value; For: where to stop
        int32_t step = 0;      // For
    };
    static constexpr uint32_t kNowhere = UINT32_MAX;

    [[nodiscard]] bool execute(const Instruction& instruction, Request& request);
    [[nodiscard]] bool begin(uint32_t statement);
    [[nodiscard]] bool next_procedure();
    [[nodiscard]] Failure fault();
    [[nodiscard]] bool wrong(std::string reason);
    // What the variables answered; false has their reason.
    [[nodiscard]] bool agreed(bool answer);

    [[nodiscard]] int32_t pop() noexcept;
    [[nodiscard]] Slice pop_slice() noexcept;
    void push(int32_t value) { values_.push_back(value); }
    [[nodiscard]] bool unary(Op op);
    [[nodiscard]] bool binary(Op op);
    [[nodiscard]] bool scalar(uint32_t variable);
    [[nodiscard]] bool element(uint32_t variable);
    [[nodiscard]] bool from_slice();
    [[nodiscard]] bool slice_of(uint32_t variable, int32_t left, int32_t right);
    [[nodiscard]] bool whole(uint32_t variable);
    [[nodiscard]] bool read(const Slice& slice, uint64_t count, bool extend, const char* what,
                            Bits& bits);

    void declare_scalar(uint32_t variable);
    [[nodiscard]] bool declare_literal(uint32_t variable);
    [[nodiscard]] bool declare_list(uint32_t variable);
    void store_slice();

    [[nodiscard]] bool stack(const Record& record);
    [[nodiscard]] bool call(uint32_t block);
    [[nodiscard]] bool use_data(uint32_t block);
    [[nodiscard]] bool give_back();
    [[nodiscard]] bool begin_loop(uint32_t variable);
    [[nodiscard]] bool next_turn(uint32_t variable);
    [[nodiscard]] bool pop_value(int32_t& value);
    [[nodiscard]] bool pop_into(uint32_t variable);
    [[nodiscard]] bool pop_into_element(uint32_t variable);

    void add_text(std::string_view text);
    void print();
    void export_slice(uint32_t key);
    void exit(int32_t code);
    [[nodiscard]] bool scan(const Instruction& instruction, Request& request);
    [[nodiscard]] bool pad(const Instruction& instruction, Request& request);
    [[nodiscard]] bool wait(const WaitForm& form, Request& request, Request::Kind kind);
    [[nodiscard]] bool duration(uint64_t& value);
    [[nodiscard]] bool frequency(bool has_value, Request& request);
    void ask(Request& request, Request::Kind kind);

    const Program& program_;
    Selection selection_;
    MachineLimits limits_;
    Listener listener_;
    std::function<bool()> hook_;

    Variables variables_;
    std::vector<bool> data_used_; // by block
    std::vector<int32_t> values_;
    std::vector<Slice> slices_;
    std::vector<Record> records_;
    uint32_t place_ = kNowhere; // of the next instruction
    size_t next_procedure_ = 0;
    Statement statement_;
    uint64_t executed_ = 0;
    uint64_t idle_ = 0; // statements since the last action on the TAP
    std::string reason_;
    bool stopped_ = false; // by the hook
    bool asked_ = false;
    bool ended_ = false;
    std::string printed_;
    Outcome outcome_;

    std::optional<Slice> capture_;  // where the answer goes
    uint32_t result_ = kNoVariable; // what the comparison finds
};

} // namespace talvor::stapl
