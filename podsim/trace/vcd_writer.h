// A Value Change Dump of what the target sees, at virtual time.
#pragma once

#include "common/file_descriptor.h"
#include "common/result.h"
#include "podsim/base/log.h"
#include "podsim/model/edge_observer.h"
#include "podsim/trace/last_part.h"
#include "podsim/trace/moment.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace talvor::podsim::trace {

// Bounds of a trace, and what is in it. 0: no bound. A trace that reaches one ends there, with a
// comment; or it loses its beginning, and then begins with a comment that says how many clocks are
// not in it.
struct Limits {
    uint64_t bytes = uint64_t{1} << 28; // size of the file
    uint64_t clocks = 0;                // test clocks in it
    bool keep_last = false;             // the file is written by finish()
    bool plain = false;                 // wires of one bit only: no names of states
};

// Signals: tck, tms, tdi, tdo, trstn, emu0, emu1, treset (1: asserted); tap_state[3] to
// tap_state[0], the number of the TAP state in the order of the standard's figure, a wire a bit,
// for readers that know no vectors; tap_state_name, its name. TDO is z outside the Shift states and
// x where nobody looked at it.
class VcdWriter : public EdgeObserver {
public:
    // Makes the file `path`. `scope` is the name of the module in it. `log` is told when a limit is
    // reached at which the trace ends, or when the file cannot be written any more, which ends the
    // trace and nothing else: finish() says so. It must outlive the writer.
    [[nodiscard]] static Result<std::unique_ptr<VcdWriter>>
    open(const std::string& path, std::string_view scope, Limits limits, Log& log);

    VcdWriter(const VcdWriter&) = delete;
    VcdWriter& operator=(const VcdWriter&) = delete;
    ~VcdWriter() override;

    void edges(const EdgeRun& run) override;
    void trst(uint64_t time_ns, bool level) override;
    void target_reset(uint64_t time_ns, bool asserted) override;
    void emu(uint64_t time_ns, EmuPins levels) override;

    // Puts everything so far into the file.
    void flush();
    // Puts the rest into the file and closes it; nothing may come after it. An error when the file
    // does not hold all that it should, with the reason.
    [[nodiscard]] Status finish();

private:
    VcdWriter(FileDescriptor file, std::string path, std::string_view scope, Limits limits,
              Log& log);

    // The header of a trace that begins at a moment.
    void header(const Moment& beginning);
    [[nodiscard]] bool piece_is_full() const noexcept;
    void advance(uint64_t time_ns);
    void set(Signal signal, char level);
    void set_state(TapState state);
    void put_state_bits(TapState state, unsigned changed);
    void put_state_name(TapState state);
    void end(const std::string& why);
    void lose();
    void cut_to_limit();
    void write_out();
    void join_last_part();

    FileDescriptor file_;
    std::string path_;
    std::string scope_;
    Limits limits_;
    Log& log_;
    std::optional<LastPart> last_part_; // with keep_last
    size_t piece_bytes_;                // that are written in one go
    uint64_t piece_clocks_;
    std::string out_;      // not in the file yet
    Moment out_begin_;     // where it begins
    uint64_t written_ = 0; // bytes given to the file
    Moment now_;
    uint64_t fall_ns_ = 0; // when TCK, high now, falls
    bool fall_due_ = false;
    bool ended_ = false;
    Status lost_; // why the file takes no more
};

} // namespace talvor::podsim::trace
