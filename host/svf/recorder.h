// Writes what a port did as an SVF file that does it again.
#pragma once

#include "common/result.h"
#include "host/jtag/port_watcher.h"
#include "host/play/step.h"
#include "host/svf/writer.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace talvor::svf {

// What was received stands in the file as TDO, so that playing it tells whether the target still
// answers so. Each operation is handed on as it is told: nothing is kept but the last scan. The
// file begins in Test-Logic-Reset, on the way to where the TAP was found. What SVF has no words for
// is a comment in its place.
//
// The last line is a comment that says whether the recording is complete; a file without one was
// cut off.
class Recorder final : public PortWatcher {
public:
    // Takes the text, piece by piece. Its errors become those of the operations.
    using Sink = std::function<Status(std::string_view text)>;

    struct Count {
        uint64_t scans = 0;
        uint64_t bits = 0;
        uint64_t answered = 0; // scans of which the answer is known, or a part of it
    };

    explicit Recorder(Sink sink) : sink_(std::move(sink)) {}

    // A line of its own; control characters in `text` become blanks.
    [[nodiscard]] Status comment(std::string_view text);
    // The last line; `done` is how that ended which was recorded.
    [[nodiscard]] Status finish(const Status& done);

    [[nodiscard]] const Count& count() const noexcept { return count_; }
    // What SVF has no words for, and how often it came.
    [[nodiscard]] const std::map<std::string, uint64_t>& losses() const noexcept { return losses_; }
    // Why it is not complete; nothing when it is, or was not finished.
    [[nodiscard]] const std::optional<std::string>& incomplete() const noexcept {
        return incomplete_;
    }

    [[nodiscard]] Status found(StableState state) override;
    [[nodiscard]] Status was_reset() override;
    [[nodiscard]] Status moved(StableState to) override;
    [[nodiscard]] Status scanned(ScanPath path, const Bits& out, const Bits* in,
                                 StableState end) override;
    [[nodiscard]] Status ran(StableState state, uint64_t clocks,
                             std::chrono::nanoseconds at_least) override;
    [[nodiscard]] Status set_trst(TrstLevel level) override;
    [[nodiscard]] Status pulsed_trst() override;
    [[nodiscard]] Status set_clock(double hertz) override;
    [[nodiscard]] Status other(std::string_view what) override;
    [[nodiscard]] Status failed(const Error& error) override;

private:
    [[nodiscard]] Status write(play::Step::Kind kind);
    [[nodiscard]] Status write_leg(play::Leg::Kind kind, StableState to);

    Sink sink_;
    Writer writer_;
    play::Step step_; // kept for its memory
    std::string text_;
    std::optional<StableState> at_; // nothing: before the beginning
    Count count_;
    std::map<std::string, uint64_t> losses_;
    std::optional<std::string> incomplete_;
};

} // namespace talvor::svf
