// A target as a client of bare edges sees it: cycles of TCK with levels of TMS and TDI go in,
// levels of TDO come out. What a pod offers is scans and moves between four states, and its return
// path holds bits back.
//
// By IEEE 1149.1 a target sees little of a TAP's sixteen states: only Test-Logic-Reset, clocks in
// Run-Test/Idle, Capture, each clock in Shift, and Update do something; the Select, Exit and Pause
// states do nothing. So the engine follows the client through the sixteen states and lets the pod
// stand in one of its four:
//
//     the client                              the pod
//     shifts                                  collects bits; asked for TDO it shifts them and parks
//                                             in the Pause state, from where it goes on by Exit2
//     is in Exit or Pause                     the same: nothing
//     passes Update                           nothing yet: where the client goes next decides
//     reaches Run-Test/Idle                   goes there from Pause, which updates
//     captures on the other path              nothing yet: the first shift goes there, and updates
//     captures on the same path               Pause to Pause through Update and Capture
//     leaves Capture without a shift          to Pause through Capture, before the Update
//     stays in Run-Test/Idle for n clocks     one entry, and passes of seven clocks for the others
//     reaches Test-Logic-Reset                goes there
//
// The bits are an ExactScan's, so that TDO and what a register is updated with are those of the
// same clocks on a bare chain, whatever the pieces. What cannot be exact is counted and told:
// Inexact.
#pragma once

#include "common/result.h"
#include "common/tap_state.h"
#include "host/bridge/edge_line.h"
#include "host/bridge/inexact.h"
#include "host/bridge/instruction_list.h"
#include "host/jtag/bits.h"
#include "host/scan/exact_scan.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace talvor {

struct EdgeEngineOptions {
    // Refuse what cannot be exact.
    bool strict = false;
    // Of registers that count Shift clocks or stream: they see the client's clocks only, and answer
    // what has come out by then.
    std::vector<Bits> no_lookahead{};
};

class EdgeEngine {
public:
    // Ones in a row that a client may give to reset the TAPs without counting them.
    static constexpr uint64_t kResetClocks = 16;

    // The line outlives the engine, and is nobody else's. Nothing is asked of it yet.
    EdgeEngine(EdgeLine& line, EdgeEngineOptions options, InexactHook note = {});

    // Asks where the TAP stands, and that is where the client stands. Needed at the beginning, and
    // done by the next call after an error of the line. Errors: the line's.
    [[nodiscard]] Status open();
    // Another client has come. The TAP stays where it is; its first five ones in a row reset the
    // TAP whatever state the target is really in.
    void new_client() noexcept {
        doubtful_ = true;
        ones_ = 0;
    }

    // As many cycles of TCK as `tms` has bits, bit 0 first; `tdi` has as many. `tdo`, where it is
    // given, becomes as long: TDO as it stands before each rising edge. Outside the Shift states it
    // reads 1. Where `asked` is given, as long as the others, only the bits that are 1 there are
    // wanted; what stands in `tdo` for the others is undefined, and asking outside Shift counts
    // (Inexact::TdoOutsideShift). `tdo` is none of the other vectors.
    //
    // Each stay in a Shift state that is asked about takes one exchange with the pod, none once the
    // register's length is known and one more where it turns out to be longer than the scan.
    // Errors: the line's, then the client is lost: what `tdo` holds is undefined, and where the TAP
    // stands is asked anew by the next call. Under strict, ErrorKind::Refused: the cycles before
    // the one that cannot be exact are done, the others are not, and the client may go on from
    // client_state(). Inexact::LengthUnknown is told when all are done.
    [[nodiscard]] Status clock(const Bits& tms, const Bits& tdi, Bits* tdo,
                               const Bits* asked = nullptr);
    // TDO as it stands now, before the next rising edge. It changes with falling edges only, so
    // while TCK is high what clock() gave for the last edge still stands. Errors: as for clock().
    [[nodiscard]] Result<bool> tdo();

    // The level of TRST. The pod gives a pulse when it is asserted; until it is released the client
    // stands in Test-Logic-Reset, whatever is clocked. A level that does not change does nothing.
    [[nodiscard]] Status set_trst(bool asserted);
    // The level of the target's system reset: a pulse when it is asserted, in the middle of a scan
    // when the client has left that.
    [[nodiscard]] Status set_srst(bool asserted);
    // The test clock stays at or below `hertz` from now on. Errors: the line's; ErrorKind::Refused
    // for one that is slower than the slowest, then nothing has changed.
    [[nodiscard]] Status set_max_frequency(double hertz);
    // The test clock in force; 0 where nobody knows it.
    [[nodiscard]] double hertz() const { return line_.hertz(); }

    // Everything due has reached the target: captures, updates, idle clocks, what a register should
    // hold; the TAP is parked. Only the Update of a client that stands in Update or Select waits
    // for where it goes. For a client that has been silent for a moment, or has gone: behind each
    // call it would cost an exchange. Errors: as for clock().
    [[nodiscard]] Status settle();
    // Whether there is anything to settle.
    [[nodiscard]] bool unsettled() const noexcept { return unsettled_; }

    // Where the client's TAP stands.
    [[nodiscard]] TapState client_state() const noexcept { return client_; }
    [[nodiscard]] uint64_t count_of(Inexact kind) const noexcept { return counts_.of(kind); }
    // Who is told what the Shift clocks are for.
    void on_shift(ShiftMarkHook hook) { scan_.on_shift(std::move(hook)); }

private:
    // What clock() was given.
    struct Edges {
        const Bits& tms;
        const Bits& tdi;
        Bits* tdo;
        const Bits* asked;
    };

    [[nodiscard]] Status walk(const Edges& edges);
    [[nodiscard]] Result<size_t> advance(const Edges& edges, size_t at);
    [[nodiscard]] Result<size_t> shift(const Edges& edges, size_t at);
    [[nodiscard]] Status stay(uint64_t clocks);
    [[nodiscard]] Status step(bool tms);
    [[nodiscard]] Status enter(TapState next);
    [[nodiscard]] Status ask_outside(const Edges& edges, size_t at, size_t count);

    [[nodiscard]] Status capture(ScanPath path);
    [[nodiscard]] Status capture_now();
    [[nodiscard]] Status leave(StableState to);
    [[nodiscard]] Status end_scan(StableState end);
    [[nodiscard]] Status reset_if_doubtful();
    [[nodiscard]] Status spend_idle(bool to_the_end);
    [[nodiscard]] Status leave_idle();
    void note_instruction(const Bits& bits);
    void read_instruction();
    [[nodiscard]] Status judge(Status done);
    [[nodiscard]] Status settle_all();
    [[nodiscard]] bool update_is_due() const noexcept;
    [[nodiscard]] Status pulse_trst();
    [[nodiscard]] Status pulse_srst();
    [[nodiscard]] Status done(Status status);
    [[nodiscard]] Status ready();

    EdgeLine& line_;
    ExactScan scan_;
    InexactCounts counts_;
    InstructionList no_lookahead_;

    bool known_ = false;   // where the TAP stands
    bool doubtful_ = true; // whether the target stands there, too
    bool unsettled_ = false;
    bool trst_ = false;
    bool srst_ = false;
    bool srst_due_ = false;
    TapState client_ = TapState::TestLogicReset;
    StableState parked_ = StableState::Reset; // the pod, while no scan is open
    bool captured_ = false;                   // the open scan, whether or not it has a bit
    bool runs_ahead_ = true;                  // the data register that is selected may
    uint64_t ones_ = 0;                       // TMS, in a row
    uint64_t idle_wanted_ = 0; // clocks in this stay in Run-Test/Idle, behind the first
    uint64_t idle_given_ = 0;
    Bits instruction_;               // shifted since Capture-IR
    std::optional<Error> complaint_; // of something that has been done all the same
    Bits answer_;
};

} // namespace talvor
