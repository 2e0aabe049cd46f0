// Makes steps for a port out of statements: it remembers what the format carries over from
// statement to statement, and refuses what the port cannot do. It never touches the target, so
// planning a file is checking it.
#pragma once

#include "common/result.h"
#include "host/jtag/port.h"
#include "host/play/step.h"
#include "host/svf/statement.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::svf {

// Carry-over, for each of SDR, SIR, HDR, HIR, TDR, TIR apart: TDI as long as the length stays; MASK
// too, also past statements without TDO; TDO never. A header's or trailer's TDO counts for every
// scan until the next statement of its kind. SMASK says which TDI bits matter to the target; all
// are sent as written, so it is read and not used.
//
// What the port cannot do as it is written is played to the same effect where there is one, and
// noted: a state path by another road that is the same to the target, clocks in a state where the
// port cannot count as the time that they take, TRST ON and OFF around no scan as a pulse, a scan
// of no bits as a move to its end state. A strict planner refuses all of them.
class Planner {
public:
    // Plans for a TAP that stands in Test-Logic-Reset. `source_name` is what errors call the file.
    Planner(const JtagPort& port, std::string source_name, bool strict = false)
        : port_(port), source_name_(std::move(source_name)), strict_(strict) {}

    // Fills `step` with what `statement` asks for, and adds its notes to it. Its values are taken
    // out of it; the step's pointers are good until the next call. Errors name file and line:
    // BadFile for what the format forbids, Refused for what the port cannot do. After an error the
    // next statement can be planned all the same.
    [[nodiscard]] Status plan(Statement& statement, play::Step& step);
    // To be called behind the last statement: an error, said of the line of `step`, when the file
    // leaves something that the port cannot do.
    [[nodiscard]] Status finish(play::Step& step);

    // Where the TAP stands after all steps so far.
    [[nodiscard]] StableState state() const noexcept { return at_; }

private:
    // What one of the six scan statements said last.
    struct Remembered {
        uint64_t length_bits = 0;
        bool has_tdi = false;
        bool has_tdo = false; // of the latest statement only
        bool has_mask = false;
        Bits tdi;
        Bits tdo;
        Bits mask;
    };

    [[nodiscard]] Status remember(Statement& statement);
    void fill(play::ScanPart& part, StatementKind kind) const;
    [[nodiscard]] Status plan_scan(Statement& statement, play::Step& step);
    [[nodiscard]] Status plan_state(const Statement& statement, play::Step& step);
    [[nodiscard]] Status plan_no_scan(const Statement& statement, StableState end,
                                      play::Step& step);
    [[nodiscard]] Status plan_any_path(const Statement& statement, play::Step& step);
    [[nodiscard]] Status plan_path(const Statement& statement, StableState from, play::Step& step);
    [[nodiscard]] Result<play::Leg> plan_leg(const Statement& statement, StableState from,
                                             StableState to,
                                             const std::vector<TapState>& stretch) const;
    [[nodiscard]] Status plan_run(const Statement& statement, play::Step& step);
    [[nodiscard]] Status plan_frequency(const Statement& statement, play::Step& step);
    [[nodiscard]] Status plan_trst(const Statement& statement, play::Step& step);

    // Clocks that the port cannot count become a time; an error when they cannot.
    [[nodiscard]] Status plan_clocks(const Statement& statement, play::Step& step) const;
    [[nodiscard]] Status plan_trst_on(const Statement& statement, play::Step& step);
    [[nodiscard]] Failure not_held(const Statement& statement);

    // An error, said of the statement.
    [[nodiscard]] Failure at(const Statement& statement, Failure failure) const;
    [[nodiscard]] Failure bad(const Statement& statement, std::string reason,
                              std::string next_step = "") const;
    // What the port answered, said of the statement.
    [[nodiscard]] Status allowed(const Statement& statement, const Status& answer) const;

    const JtagPort& port_;
    std::string source_name_;
    bool strict_;
    StableState at_ = StableState::Reset;
    std::array<Remembered, 6> remembered_; // in the order of StatementKind
    StableState end_dr_ = StableState::Idle;
    StableState end_ir_ = StableState::Idle;
    StableState run_state_ = StableState::Idle;
    StableState run_end_ = StableState::Idle;
    std::optional<double> hertz_;
    bool trst_absent_ = false;
    uint64_t held_line_ = 0; // of a TRST ON that is played as a pulse; 0: none
};

} // namespace talvor::svf
