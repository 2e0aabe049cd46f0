// Steps of a STAPL program: it runs as they are asked for.
//
// What the file leaves open is what the players that vendors give away do:
//
//     TAP             begins in Test-Logic-Reset; scans end in Run-Test/Idle unless IRSTOP and
//                     DRSTOP say otherwise
//     PREDR, ...      bits without a value are ones
//     STATE           each state by the shortest way from the one before it; a stable state where
//                     the TAP stands is one more clock there, which only Run-Test/Idle counts
//     WAIT            in Run-Test/Idle unless it names a state, where it also ends unless it names
//                     another; clocks and time are both over when it does
//     TRST            is held, or pulsed where the port cannot hold it; the TAP is reset by it
//     COMPARE         sets a variable: what a wrong answer means, the program decides
//
// A pass that shifts nothing (play::check) cannot know the answers. It takes for granted that each
// comparison finds what it expects and that everything else that is captured is 0, and goes no
// further than that leads.
#pragma once

#include "host/jtag/port.h"
#include "host/play/mismatch.h"
#include "host/play/step_source.h"
#include "host/stapl/machine.h"
#include "host/stapl/program.h"
#include "host/stapl/selection.h"

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace talvor::stapl {

struct ReaderOptions {
    // What the port cannot do exactly is refused, and not played to the same effect.
    bool strict = false;
    MachineLimits limits;
    // How many statements a pass that shifts nothing looks at.
    uint64_t max_rehearsed_statements = 2'000'000;
};

class Reader final : public play::StepSource {
public:
    // Program and port outlive it. A step's line is that of its statement.
    Reader(const Program& program, Selection selection, const JtagPort& port,
           ReaderOptions options = {});

    // From the next rewind() on the program is not rehearsed but run: it ends when it ends, and
    // what it prints and exports is told.
    void perform(Listener listener);

    [[nodiscard]] Status rewind() override;
    [[nodiscard]] Result<bool> next(play::Step& step) override;
    void answer(const play::Step& step, const Bits& bits) override;
    [[nodiscard]] bool fixed() const override { return false; }
    [[nodiscard]] std::optional<Error> verdict() const override;

    // The program's own word for it where it has one (EXPORT "PERCENT_DONE"), else the furthest
    // statement.
    [[nodiscard]] uint64_t bytes_taken() const override { return bytes_taken_; }
    [[nodiscard]] uint64_t line() const override { return request_.statement.line; }
    [[nodiscard]] uint64_t total_bytes() const override { return program_.bytes; }
    [[nodiscard]] const std::string& name() const override { return program_.file; }
    [[nodiscard]] std::span<const std::string_view> statements() const override {
        return kStatementNames;
    }
    void on_chunk(std::function<bool()> hook) override;

    // How the run ended, when next() has answered false.
    [[nodiscard]] const Outcome& outcome() const { return machine_->outcome(); }
    // The last comparison that did not find what it expected.
    [[nodiscard]] const std::optional<play::Mismatch>& last_difference() const {
        return last_difference_;
    }
    [[nodiscard]] const Action& action() const { return *selection_.action; }
    // A pass that shifts nothing ended where it depends on answers what comes next.
    [[nodiscard]] bool open_ended() const noexcept { return open_ended_; }
    // Statements that were run.
    [[nodiscard]] uint64_t executed() const noexcept { return machine_->executed(); }

private:
    void start();
    [[nodiscard]] Listener listener();
    [[nodiscard]] bool gone_too_far() const;
    [[nodiscard]] Result<bool> run();
    void take_for_granted();
    void note_percent(int32_t percent);
    void plan();
    void plan_scan();
    void plan_wait();
    void plan_trst();
    void plan_frequency();
    void remember_pad();
    void walk();
    void walk_to(TapState state);
    void settle(StableState state);
    void finish_path();
    void add_run(const play::RunStep& run);
    play::Step& add(play::Step::Kind kind);
    void allow(play::Step& step, const Status& answer) const;

    const Program& program_;
    Selection selection_;
    const JtagPort& port_;
    ReaderOptions options_;
    bool performs_ = false;
    Listener listener_;
    std::function<bool()> hook_;
    std::optional<Machine> machine_;
    Request request_;
    std::deque<play::Step> steps_; // that were made of the request and not given

    std::array<Bits, 4> pads_;                                               // by PadPlace
    std::array<StableState, 2> stops_{StableState::Idle, StableState::Idle}; // by ScanPath
    StableState at_ = StableState::Reset; // the TAP after all steps made
    std::vector<TapState> path_;          // since then, through states that are not stable
    std::optional<double> hertz_;
    bool asked_ = false;   // by a scan that has not been answered
    bool assumed_ = false; // an answer was taken for granted
    bool open_ended_ = false;
    bool over_ = false;
    uint64_t bytes_taken_ = 0;
    bool tells_percent_ = false;
    std::optional<play::Mismatch> last_difference_;
};

} // namespace talvor::stapl
