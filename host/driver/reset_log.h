// The reset log in words.
#pragma once

#include "common/result.h"
#include "host/driver/pod.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace talvor {

struct ResetLogEntry {
    uint32_t key = 0;                // VexilResetLogIndex
    std::optional<uint32_t> number;  // of a number entry
    std::optional<std::string> text; // of a text entry

    friend bool operator==(const ResetLogEntry&, const ResetLogEntry&) = default;
};

// What a reset can do; trst pulses TRSTn.
struct ResetRequest {
    bool soft = false;
    bool hard = false;
    bool hidden = false;
    bool trst = false;
};

// Resets and reads the log that it wrote.
[[nodiscard]] Result<std::vector<ResetLogEntry>> reset(Pod& pod, const ResetRequest& request);

// The entries of a log as the library hands it out: a count, the entries, a closing 0. An error
// (ErrorKind::Pod) when it ends within an entry.
[[nodiscard]] Result<std::vector<ResetLogEntry>> parse_reset_log(std::span<const uint32_t> words);

// One sentence, no full stop.
[[nodiscard]] std::string sentence(const ResetLogEntry& entry);

} // namespace talvor
