// Writes steps of any format as an XSVF file.
#pragma once

#include "common/result.h"
#include "host/play/step.h"
#include "host/xsvf/instruction.h"

#include <optional>
#include <string>

namespace talvor::xsvf {

// Answers are asked for once, as in the file that the steps come from, unless a step says
// otherwise. Waits are XWAIT: as many microseconds as the step has clocks, or its time where that
// is longer.
class Writer {
public:
    // Adds `step` to the end of `bytes`. Answers what of it XSVF has no instruction for, to be told
    // to a person; nothing when the step is there whole.
    [[nodiscard]] std::optional<std::string> add(const play::Step& step, std::string& bytes);
    // To be called behind the last step.
    void finish(std::string& bytes);

private:
    [[nodiscard]] std::optional<std::string> add_scan(const play::ScanStep& scan,
                                                      std::string& bytes);
    void add_dr(const play::ScanStep& scan, std::string& bytes);
    [[nodiscard]] std::optional<std::string> add_wait(StableState state, uint64_t clocks,
                                                      std::chrono::nanoseconds time,
                                                      StableState end, std::string& bytes);
    [[nodiscard]] std::optional<std::string> add_path(const play::Step& step, std::string& bytes);
    void begin(std::string& bytes);
    void set_repeat(uint32_t times, std::string& bytes);

    bool begun_ = false;
    uint64_t size_ = 0;
    Bits mask_;             // as the player has it; of size_ bits or empty
    bool compared_ = false; // a TDO has been given since the size was
    uint32_t repeat_ = 32;
    StableState end_ir_ = StableState::Idle;
    StableState end_dr_ = StableState::Idle;
};

} // namespace talvor::xsvf
