// Writes steps of any format as an SVF file.
#pragma once

#include "common/result.h"
#include "host/play/step.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::svf {

// A file that begins where its player does, in Test-Logic-Reset. Headers and trailers become part
// of the scans; values of many digits are broken into lines.
class Writer {
public:
    static constexpr size_t kDigitsInLine = 64;

    // Adds `step` to the end of `text`. Answers what of it SVF has no words for, to be told to a
    // person; nothing when the step is there whole.
    [[nodiscard]] std::optional<std::string> add(const play::Step& step, std::string& text);

private:
    void add_scan(const play::ScanStep& scan, std::string& text);
    void add_path(const play::Step& step, std::string& text);
    void add_run(const play::RunStep& run, std::string& text);
    void set_end(ScanPath path, StableState end, std::string& text);

    StableState end_dr_ = StableState::Idle;
    StableState end_ir_ = StableState::Idle;
};

} // namespace talvor::svf
