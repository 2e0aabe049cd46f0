// Steps of an XSVF file.
//
// What an instruction means is the application note's rule where that says it, and otherwise what
// the players that vendors give away do:
//
//     XSIR, XSDR...   go to the end state of their path; when XRUNTEST is not 0, then to
//                     Run-Test/Idle for as many microseconds and at least as many clocks
//     XSDR, XSDRINC   compare with what XSDRTDO gave last, under the mask that XTDOMASK gave last;
//                     without one nothing is compared, without a mask every bit
//     XREPEAT         so often a scan that answers wrong is tried again, each time after a wait
//                     that is a quarter longer; 32 times unless the file says otherwise
//     XSDRB, C, E     pieces of one scan, which is played when its last piece has come: compared
//                     bit by bit where the pieces give TDO, never tried again, with no wait
//     XSDRSIZE        another size forgets TDO and mask
//     XWAIT           in Run-Test/Idle it is as many clocks, too
//     XSTATE          to a stable state by the shortest way; through others step by step
#pragma once

#include "host/jtag/port.h"
#include "host/play/step_source.h"
#include "host/xsvf/byte_reader.h"
#include "host/xsvf/instruction.h"

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace talvor::xsvf {

struct ReaderLimits {
    // The longest scan; it bounds what a file can make the reader take.
    uint64_t max_length_bits = uint64_t{1} << 30;
};

// Source and port outlive it. A step's line is the offset of its instruction in the file.
class Reader final : public play::StepSource {
public:
    Reader(play::ByteSource& source, const JtagPort& port, ReaderLimits limits = {});

    [[nodiscard]] Status rewind() override;
    [[nodiscard]] Result<bool> next(play::Step& step) override;
    [[nodiscard]] uint64_t bytes_taken() const override { return bytes_->offset(); }
    [[nodiscard]] uint64_t line() const override { return bytes_->offset(); }
    [[nodiscard]] uint64_t total_bytes() const override { return source_.total_bytes(); }
    [[nodiscard]] const std::string& name() const override { return source_.name(); }
    [[nodiscard]] std::span<const std::string_view> statements() const override {
        return kInstructionNames;
    }
    void on_chunk(std::function<bool()> hook) override { bytes_->on_chunk(std::move(hook)); }

private:
    // A step with the values that its pointers point to.
    struct Made {
        play::Step step;
        Bits tdi;
        std::optional<Bits> tdo;
        std::optional<Bits> mask;
    };
    // Of XSDRB, XSDRC and their like, until the last of them comes.
    struct Pieces {
        Bits tdi;
        Bits tdo;
        Bits mask; // which of the bits have a TDO
    };

    void start();
    void give(play::Step& step);
    [[nodiscard]] Result<Opcode> opcode();
    [[nodiscard]] Status instruction(Opcode opcode);
    [[nodiscard]] Status finish();
    [[nodiscard]] Status read_number(size_t bytes, const char* what, uint32_t& value);
    [[nodiscard]] Status scan_ir(size_t length_bytes);
    [[nodiscard]] Status scan_dr(bool with_tdo);
    [[nodiscard]] Status scan_increments();
    [[nodiscard]] Status scan_piece(bool first, bool last, bool with_tdo);
    [[nodiscard]] Status set_size();
    [[nodiscard]] Status set_end(const char* what, StableState paused, StableState& end);
    [[nodiscard]] Status walk();
    [[nodiscard]] Status wait();
    [[nodiscard]] Status skip_comment();

    [[nodiscard]] Status need_size() const;
    [[nodiscard]] Result<TapState> state();
    [[nodiscard]] Result<StableState> stable(const char* what);
    [[nodiscard]] Status read_dr_value(const char* what, Bits& value);
    Made& make(play::Step::Kind kind);
    void make_dr_scan(Bits tdi);
    void make_scan(ScanPath path, Made& made, StableState end);
    void make_wait();
    void make_run(StableState state, uint64_t clocks, std::chrono::nanoseconds time,
                  StableState end);
    void make_path(std::vector<TapState> path);

    [[nodiscard]] Failure bad(std::string reason, std::string next_step = "") const;
    void allow(play::Step& step, const Status& answer) const;

    play::ByteSource& source_;
    const JtagPort& port_;
    ReaderLimits limits_;
    std::optional<ByteReader> bytes_;
    std::deque<Made> made_; // steps that have not been given
    Made current_;          // the last one given
    bool complete_ = false;

    uint64_t at_offset_ = 0; // of the instruction at hand
    Opcode opcode_ = Opcode::Complete;
    uint64_t sdr_bits_ = 0;
    std::optional<Bits> tdo_;
    std::optional<Bits> mask_;
    Bits address_mask_;
    Bits data_mask_;
    uint32_t run_test_ = 0; // microseconds, and clocks
    uint32_t repeat_ = 32;
    StableState end_ir_ = StableState::Idle;
    StableState end_dr_ = StableState::Idle;
    StableState at_ = StableState::Reset; // the TAP after all steps made
    std::vector<TapState> path_;          // since then, through states that are not stable
    std::optional<Pieces> pieces_;
};

} // namespace talvor::xsvf
