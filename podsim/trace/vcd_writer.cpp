#include "podsim/trace/vcd_writer.h"

#include "common/result.h"
#include "common/system_calls.h"
#include "common/vcd_header.h"

#include <fmt/compile.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <new>
#include <utility>

namespace talvor::podsim::trace {
namespace {

// One printable character names each signal in the dump.
constexpr std::string_view kCodes = "!\"#$%&'(";
constexpr std::string_view kStateCodes = ")*+,"; // of the highest bit first
constexpr char kNameCode = '-';
constexpr std::array<std::string_view, 8> kNames{"tck",   "tms",  "tdi",  "tdo",
                                                 "trstn", "emu0", "emu1", "treset"};
constexpr unsigned kStateBits = 4;
constexpr unsigned kAllStateBits = (1U << kStateBits) - 1;
constexpr size_t kPieceBytes = size_t{1} << 16;
constexpr uint64_t kPieces = 32;     // at least, of a trace that loses its beginning
constexpr unsigned kFileMode = 0666; // less the umask

char level_of(bool high) {
    return high ? '1' : '0';
}

} // namespace

Result<std::unique_ptr<VcdWriter>> VcdWriter::open(const std::string& path, std::string_view scope,
                                                   Limits limits, Log& log) {
    FileDescriptor file = open_file(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, kFileMode);
    if (!file.is_open()) {
        return system_failure("writing the trace " + path);
    }
    std::unique_ptr<VcdWriter> writer(new VcdWriter(std::move(file), path, scope, limits, log));
    if (limits.keep_last) {
        writer->last_part_.emplace(TRY(LastPart::create(limits.bytes, limits.clocks)));
        return writer;
    }
    writer->header(writer->now_);
    writer->flush();
    return writer;
}

// A part of a trace loses its beginning by pieces, which are therefore small beside it.
VcdWriter::VcdWriter(FileDescriptor file, std::string path, std::string_view scope, Limits limits,
                     Log& log)
    : file_(std::move(file)), path_(std::move(path)), scope_(scope), limits_(limits), log_(log),
      piece_bytes_(kPieceBytes), piece_clocks_(UINT64_MAX) {
    if (limits.keep_last && limits.bytes > 0) {
        piece_bytes_ = std::min<uint64_t>(limits.bytes / kPieces, kPieceBytes);
    }
    if (limits.keep_last && limits.clocks > 0) {
        piece_clocks_ = std::max<uint64_t>(limits.clocks / kPieces, 1);
    }
}

VcdWriter::~VcdWriter() {
    try {
        (void)finish();
    } catch (const std::bad_alloc&) {
        // The trace ends a little earlier.
    }
}

void VcdWriter::header(const Moment& beginning) {
    VcdHeader head("talvor-podsim", "1 ns");
    head.begin_module(scope_);
    for (size_t i = 0; i < kNames.size(); ++i) {
        head.wire({&kCodes[i], 1}, kNames[i]);
    }
    for (unsigned i = 0; i < kStateBits; ++i) {
        head.wire({&kStateCodes[i], 1}, fmt::format("tap_state[{}]", kStateBits - 1 - i));
    }
    if (!limits_.plain) {
        head.text({&kNameCode, 1}, "tap_state_name");
    }
    head.end_module();
    out_ += std::move(head).finish();
    if (beginning.clocks > 0) {
        out_ += fmt::format("$comment The trace begins here: {} test clocks, {} shifting, are not "
                            "kept. $end\n",
                            beginning.clocks, beginning.shift_clocks);
    }
    out_ += fmt::format("#{}\n$dumpvars\n", beginning.time_ns);
    for (size_t i = 0; i < kNames.size(); ++i) {
        out_ += {beginning.levels[i], kCodes[i], '\n'};
    }
    put_state_bits(beginning.state, kAllStateBits);
    put_state_name(beginning.state);
    out_ += "$end\n";
}

// The bits of the number that are 1 in `changed`.
void VcdWriter::put_state_bits(TapState state, unsigned changed) {
    for (unsigned i = 0; i < kStateBits; ++i) {
        const unsigned bit = 1U << (kStateBits - 1 - i);
        if ((changed & bit) != 0) {
            out_ += {level_of((index_of(state) & bit) != 0), kStateCodes[i], '\n'};
        }
    }
}

void VcdWriter::put_state_name(TapState state) {
    if (!limits_.plain) {
        out_ += 's';
        out_ += name_of(state);
        out_ += {' ', kNameCode, '\n'};
    }
}

// Moves on to a time; the falling edge that was due before it comes first.
void VcdWriter::advance(uint64_t time_ns) {
    if (fall_due_ && fall_ns_ <= time_ns) {
        fall_due_ = false;
        advance(fall_ns_);
        set(Tck, '0');
    }
    if (time_ns > now_.time_ns) {
        now_.time_ns = time_ns;
        out_ += fmt::format(FMT_COMPILE("#{}\n"), time_ns);
    }
}

void VcdWriter::set(Signal signal, char level) {
    if (now_.levels[signal] != level) {
        now_.levels[signal] = level;
        out_ += {level, kCodes[signal], '\n'};
    }
}

void VcdWriter::set_state(TapState state) {
    if (now_.state != state) {
        put_state_bits(state, static_cast<unsigned>(index_of(now_.state) ^ index_of(state)));
        put_state_name(state);
        now_.state = state;
    }
}

void VcdWriter::edges(const EdgeRun& run) {
    TapState state = run.from;
    for (uint64_t i = 0; i < run.count && !ended_; ++i) {
        const uint64_t start = run.start_ns + i * run.period_ns;
        const bool tms = run.tms_at(i);
        advance(start);
        set_state(state);
        set(Tms, level_of(tms));
        set(Tdi, level_of(run.tdi_at(i)));
        set(Tdo, !is_shift(state) ? 'z' : run.tdo.empty() ? 'x' : level_of(run.tdo_at(i)));
        advance(start + run.period_ns / 2);
        set(Tck, '1');
        ++now_.clocks;
        now_.shift_clocks += is_shift(state) ? 1 : 0;
        state = next_state(state, tms);
        set_state(state);
        fall_ns_ = start + run.period_ns;
        fall_due_ = true;
        if (!last_part_ && limits_.clocks > 0 && now_.clocks >= limits_.clocks) {
            end(fmt::format("{} test clocks", limits_.clocks));
        } else if (piece_is_full()) {
            write_out();
        }
    }
}

bool VcdWriter::piece_is_full() const noexcept {
    return out_.size() >= piece_bytes_ || now_.clocks - out_begin_.clocks >= piece_clocks_;
}

void VcdWriter::trst(uint64_t time_ns, bool level) {
    if (!ended_) {
        advance(time_ns);
        set(Trstn, level_of(level));
        if (!level) {
            set(Tdo, 'z');
            set_state(TapState::TestLogicReset);
        }
    }
}

void VcdWriter::target_reset(uint64_t time_ns, bool asserted) {
    if (!ended_) {
        advance(time_ns);
        set(Treset, level_of(asserted));
    }
}

void VcdWriter::emu(uint64_t time_ns, EmuPins levels) {
    if (!ended_) {
        advance(time_ns);
        set(Emu0, level_of(levels.emu0));
        set(Emu1, level_of(levels.emu1));
    }
}

void VcdWriter::end(const std::string& why) {
    ended_ = true;
    out_ += fmt::format("$comment The trace ends here: {}. $end\n", why);
    log_.write(fmt::format("the trace {} ends: {}", path_, why));
}

// The trace ends because of the present errno.
void VcdWriter::lose() {
    lost_ = system_failure("writing the trace " + path_);
    ended_ = true;
    log_.write("warning: the trace ends, the pod goes on: " + headline(lost_.error()));
}

// What does not fit within the limit is dropped: whole lines only stay.
void VcdWriter::cut_to_limit() {
    if (limits_.bytes > 0 && written_ + out_.size() > limits_.bytes && !ended_) {
        const uint64_t room = limits_.bytes > written_ ? limits_.bytes - written_ : 0;
        const size_t end_of_line = room == 0 ? std::string::npos : out_.rfind('\n', room - 1);
        out_.resize(end_of_line == std::string::npos ? 0 : end_of_line + 1);
        end(fmt::format("{} bytes", limits_.bytes));
    }
}

// The bytes so far go where they belong.
void VcdWriter::write_out() {
    if (!last_part_) {
        cut_to_limit();
    }
    if (lost_ && !out_.empty() &&
        !(last_part_ ? last_part_->add(out_, out_begin_, now_) : write_all(file_.get(), out_))) {
        lose();
    }
    written_ += out_.size();
    out_.clear();
    out_begin_ = now_;
}

// Makes the file of what was kept.
void VcdWriter::join_last_part() {
    header(last_part_->beginning());
    if (!write_all(file_.get(), out_) || !last_part_->copy_to(file_.get())) {
        lose();
    }
    out_.clear();
    last_part_.reset();
}

void VcdWriter::flush() {
    write_out();
}

Status VcdWriter::finish() {
    if (!ended_ && fall_due_) {
        advance(fall_ns_);
    }
    flush();
    ended_ = true;
    if (last_part_ && lost_) {
        join_last_part();
    }
    // Some file systems say only now that there is no room.
    const int fd = file_.release();
    if (fd >= 0 && system_calls.close(fd) != 0 && errno != EINTR && lost_) {
        lost_ = system_failure("writing the trace " + path_);
    }
    return lost_;
}

} // namespace talvor::podsim::trace
