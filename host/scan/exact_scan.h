// Scans that answer and leave behind what the same clocks on a bare TAP would, although the return
// path holds bits back.
//
// The last bits of an answer only come out with further clocks. In the Shift and Pause states
// nobody sees a register, so it may hold other bits than the client's for a while, as long as it is
// right before it is left for Update. A scan whose answer is wanted goes out as
//
//     marker (kMarkerBits random bits), then the client's bits
//
// and rests in the Pause state. What comes back is what the register held, then the marker: where
// it comes out tells how long the register is. Behind a register no longer than the client's bits
// the marker has left it again, and what stays in it is right. From a longer one more is shifted
// until the marker comes out; then it gets back what it held, and the client's bits. Bits that went
// in at TDI need not be read to be answered: they come out as they went in, as many clocks later as
// the register is long.
//
// A scan that nobody wants an answer of is shifted once, and nothing else. So is every scan that is
// begun with Reading::Once: its answers hold what has come out by then.
#pragma once

#include "common/result.h"
#include "host/scan/bit_queue.h"
#include "host/scan/length_memory.h"
#include "host/scan/marker.h"
#include "host/scan/shift_line.h"
#include "host/scan/shift_mark.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

namespace talvor {

// One scan after the other, each in one piece or in many. Between its calls the TAP stands where
// the last scan ended, or, while a scan is open, in the Pause state of its path (or, before the
// first bit has gone out, still where it was).
//
// Registers that are no plain shift registers (that count clocks, or stream) cannot be served so.
class ExactScan {
public:
    // More bits than any register is expected to have: when that many have been shifted behind the
    // marker and it has not come out, the chain is broken.
    static constexpr size_t kLongestRegister = 524288;
    // The same while TDO gives one level only.
    static constexpr size_t kLongestSilence = 65536;

    enum class Reading : uint8_t {
        Ahead, // of the client, as said above
        // Nothing but the client's bits goes in: for registers that count clocks, or stream. The
        // last kHeldBits bits of each answer have not come out by then, and read 1.
        Once,
    };

    // The line outlives the scan.
    explicit ExactScan(ShiftLine& line) : line_(line) {}

    // Opens a scan. The first shift goes out from where the TAP stands, so it captures, or goes on
    // where a Pause state was left; either way, what the register holds then is what the answers
    // begin with. Needs !open().
    void begin(ScanPath path, Reading reading = Reading::Ahead);
    // The next bits of the open scan. `answer` becomes what TDO gives for them, as many bits, and
    // may be `bits` itself; where it is null nobody asks, and the bits may stay queued here.
    // Answers need at most one exchange, none once the register's length is known. Errors: the
    // line's.
    [[nodiscard]] Status piece(const Bits& bits, Bits* answer);
    // What TDO gives for the next bit, whatever that is. Errors: the line's.
    [[nodiscard]] Result<bool> next();
    // The register holds what it should, and the TAP stands in the path's Pause state; the scan
    // stays open. A scan without a bit so far stays where it is. Errors: the line's; the marker did
    // not come out (ErrorKind::Target, says what TDO does instead), then the register got the
    // client's bits, which is right unless it is longer.
    [[nodiscard]] Status settle();
    // Ends the scan in `end`. In the Pause state of its own path that is settle() and the end of
    // the scan: nothing is updated, and another one may go on from there. The move waits for
    // nothing; it goes out with whatever the line does next. Errors: as for settle(); the scan is
    // closed all the same, and the TAP on its way to `end`.
    [[nodiscard]] Status finish(StableState end);
    // begin, one piece, finish.
    [[nodiscard]] Status whole(ScanPath path, const Bits& bits, Bits* answer, StableState end);
    // Forgets an open scan, as after an error of the line.
    void abandon() noexcept { open_ = false; }

    [[nodiscard]] bool open() const noexcept { return open_; }
    [[nodiscard]] ScanPath path() const noexcept { return path_; }
    // Whether the open scan has a bit, or next() was asked: it captures by itself.
    [[nodiscard]] bool touched() const noexcept { return touched_; }
    // Whether the marker of the open or last scan did not come out.
    [[nodiscard]] bool gave_up() const noexcept { return gave_up_; }
    // How many bits of its answers read 1 because they had not come out.
    [[nodiscard]] uint64_t held_back() const noexcept { return held_back_; }
    // The register's length, once the open or last scan has found it.
    [[nodiscard]] std::optional<size_t> register_bits() const noexcept { return length_; }

    // The TAPs have been reset: other registers are selected.
    void note_reset() noexcept {
        instruction_ = 0;
        instruction_rests_ = false;
    }
    // Who is told what the Shift clocks are for.
    void on_shift(ShiftMarkHook hook) { hook_ = std::move(hook); }

private:
    // How much is known of the register.
    enum class Stage : uint8_t {
        Plain,  // nothing, and nobody asked: what has been shifted is what the client shifted
        Sought, // a marker went in and has not come out yet
        Known,  // its length and what it should hold
    };

    void note_instruction(const Bits& bits) noexcept;
    [[nodiscard]] Status hold(const Bits& bits);
    [[nodiscard]] Status answer_once(const Bits& bits, Bits& answer);
    [[nodiscard]] Status spill();
    [[nodiscard]] Status seek(const Bits& bits);
    [[nodiscard]] Status look_further();
    [[nodiscard]] size_t fill_for_guess() const noexcept;
    [[nodiscard]] size_t fill_for_patience() const noexcept;
    [[nodiscard]] Status shift_on(size_t fill_bits);
    [[nodiscard]] Status shift_until_found();
    [[nodiscard]] Status check_hope() const;
    [[nodiscard]] Status give_up(Error error);
    [[nodiscard]] EchoSearch echo_search() const noexcept;
    [[nodiscard]] Echo find_echo();
    [[nodiscard]] Result<Echo> sure_echo();
    [[nodiscard]] Bits answer_from(size_t first, std::optional<size_t> length) const;
    [[nodiscard]] Status answer_sought(const Bits& bits, Bits& answer);
    [[nodiscard]] Status answer_known(const Bits& bits, Bits* answer);
    void learn(size_t length);
    [[nodiscard]] bool has_rest() const noexcept;
    [[nodiscard]] Status send_rest(StableState end);
    void close(StableState end) noexcept;
    [[nodiscard]] Status send(const Bits& bits, ShiftPurpose purpose, StableState end);
    void mark(ShiftPurpose purpose, size_t clocks) const;

    ShiftLine& line_;
    ShiftMarkHook hook_;
    MarkerSource random_;
    LengthMemory lengths_;
    uint64_t instruction_ = 0; // tells what the instruction path holds from other contents
    uint64_t next_instruction_ = 0;
    bool instruction_rests_ = false; // the next one, until Pause-IR is left for Update

    bool open_ = false;
    bool ahead_ = true;
    bool touched_ = false;
    bool gave_up_ = false;
    uint64_t held_back_ = 0;
    ScanPath path_ = ScanPath::Dr;
    Stage stage_ = Stage::Plain;
    std::optional<size_t> length_;
    Bits pending_; // the client's, yet to be shifted

    // Sought: counted from where the marker went in, which is as if that had been the capture.
    uint64_t marker_ = 0;
    Bits data_;              // the client's bits
    Bits in_;                // what has really been shifted
    Bits out_;               // what has come out, kHeldBits older bits first
    size_t echoed_bits_ = 0; // the client's bits that went in right behind the marker
    size_t tail_bits_ = 0;   // the client's bits that went in last
    size_t exchanges_ = 0;   // that the marker has been sought with
    size_t searched_ = 0;    // places before this one hold no marker

    // Known: what the register should hold, with what is pending.
    BitQueue content_;
    bool in_step_ = true; // it does, but for what is pending
};

} // namespace talvor
