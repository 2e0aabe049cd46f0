// A Value Change Dump of what the target sees, at virtual time.
#pragma once

#include "common/file_descriptor.h"
#include "common/result.h"
#include "podsim/base/log.h"
#include "podsim/model/edge_observer.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace talvor::podsim::trace {

// Bounds of a trace; 0: none. A trace that reaches one ends there, with a comment.
struct Limits {
    uint64_t bytes = uint64_t{1} << 28; // size of the file
    uint64_t clocks = 0;                // test clocks in it
};

// Signals: tck, tms, tdi, tdo, trstn, emu0, emu1, treset (1: asserted); tap_state, the number of
// the TAP state in the order of the standard's figure; tap_state_name, its name. TDO is z outside
// the Shift states and x where nobody looked at it.
class VcdWriter : public EdgeObserver {
public:
    // Makes the file `path`. `scope` is the name of the module in it. `log` is told when a limit is
    // reached, or when the file cannot be written any more, which ends the trace and nothing else:
    // finish() says so. It must outlive the writer.
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
    enum Signal { Tck, Tms, Tdi, Tdo, Trstn, Emu0, Emu1, Treset, BitSignals };

    VcdWriter(FileDescriptor file, std::string path, Limits limits, Log& log)
        : file_(std::move(file)), path_(std::move(path)), limits_(limits), log_(log) {}

    void header(std::string_view scope);
    void advance(uint64_t time_ns);
    void set(Signal signal, char level);
    void set_state(TapState state);
    void put_state(TapState state);
    void end(const std::string& why);
    void write_out();

    FileDescriptor file_;
    std::string path_;
    Limits limits_;
    Log& log_;
    std::string out_;      // not in the file yet
    uint64_t written_ = 0; // bytes given to the file
    uint64_t clocks_ = 0;
    uint64_t time_ns_ = 0;
    uint64_t fall_ns_ = 0; // when TCK, high now, falls
    bool fall_due_ = false;
    bool ended_ = false;
    Status lost_; // why the file takes no more
    char levels_[BitSignals] = {'0', '1', '1', 'z', '1', '1', '1', '0'};
    TapState state_ = TapState::TestLogicReset;
};

} // namespace talvor::podsim::trace
