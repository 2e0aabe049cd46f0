// Scans that answer and leave behind what the same clocks on a bare TAP would, although the return
// path holds bits back.
//
// The last bits of an answer only come out with further clocks. In the Shift and Pause states nobody
// sees a register, so it may hold other bits than the client's for a while, as long as it is right
// before it is left for Update. A scan whose answer is wanted goes out as
//
//     marker (kMarkerBits random bits), then the client's bits
//
// and rests in the Pause state. What comes back is what the register held, then the marker: where it
// comes out tells how long the register is. Behind a register no longer than the client's bits the
// marker has left it again, and what stays in it is right. From a longer one more is shifted until
// the marker comes out; then it gets back what it held, and the client's bits. Bits that went in at
// TDI need not be read to be answered: they come out as they went in, as many clocks later as the
// register is long.
//
// A scan that nobody wants an answer of is shifted once, and nothing else.
#pragma once

#include "common/result.h"
#include "host/scan/length_memory.h"
#include "host/scan/shift_line.h"
#include "host/scan/shift_mark.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace talvor {

// One scan after the other, each in one piece or in many. Between its calls the TAP stands where the
// last scan ended, or, while a scan is open, in the Pause state of its path (or, before the first
// bit has gone out, still where it was).
//
// Registers that are no plain shift registers (that count clocks, or stream) cannot be served so.
class ExactScan {
public:
    // More bits than any register is expected to have: when that many have been shifted behind the
    // marker and it has not come out, the chain is broken.
    static constexpr size_t kLongestRegister = 524288;
    // The same while TDO gives one level only.
    static constexpr size_t kLongestSilence = 65536;

    // The line outlives the scan.
    explicit ExactScan(ShiftLine& line) : line_(line) {}

    // Opens a scan. The first shift goes out from where the TAP stands, so it captures, or goes on
    // where a Pause state was left; either way, what the register holds then is what the answers
    // begin with. Needs !open().
    void begin(ScanPath path);
    // The next bits of the open scan. `answer` becomes what TDO gives for them, as many bits, and
    // may be `bits` itself; where it is null nobody asks, and the bits may stay queued here. Answers
    // need at most one exchange, none once the register's length is known.
    // Errors: the line's.
    [[nodiscard]] Status piece(const Bits& bits, Bits* answer);
    // The register holds what it should, and the TAP stands in the path's Pause state; the scan
    // stays open. A scan without a bit so far stays where it is. Errors: the line's; the marker did
    // not come out (ErrorKind::Target, says what TDO does instead), then the register got the
    // client's bits, which is right unless it is longer.
    [[nodiscard]] Status settle();
    // Ends the scan in `end`, a Pause state of its own path included: that is only parking, and the
    // register is not updated. The move there waits for nothing; it goes out with whatever the line
    // does next. A scan without a bit makes no move. Errors: as for settle(), the scan is closed all
    // the same and the TAP in `end`.
    [[nodiscard]] Status finish(StableState end);
    // begin, one piece, finish.
    [[nodiscard]] Status whole(ScanPath path, const Bits& bits, Bits* answer, StableState end);
    // Forgets an open scan, as after an error of the line.
    void abandon() noexcept { open_ = false; }

    [[nodiscard]] bool open() const noexcept { return open_; }
    [[nodiscard]] ScanPath path() const noexcept { return path_; }
    // The register's length, once the open or last scan has found it.
    [[nodiscard]] std::optional<size_t> register_bits() const noexcept { return length_; }

    // The TAPs have been reset: other registers are selected.
    void note_reset() noexcept { instruction_ = 0; }
    // Who is told what the Shift clocks are for.
    void on_shift(ShiftMarkHook hook) { hook_ = std::move(hook); }
    // Where the markers begin, for runs that are to be repeated bit for bit.
    void seed(uint64_t seed) noexcept { marker_seed_ = seed; }

private:
    // ... (implementation follows)
    ShiftLine& line_;
    ShiftMarkHook hook_;
    uint64_t marker_seed_ = 0;
    uint64_t instruction_ = 0;
    std::optional<size_t> length_;
    ScanPath path_ = ScanPath::Dr;
    bool open_ = false;
};

} // namespace talvor
