// The lines that were typed before, from one run of the program to the next.
#pragma once

#include "common/result.h"

#include <string>
#include <string_view>
#include <vector>

namespace talvor {

class HistoryFile {
public:
    // So many lines are read; the file is cut to them when it has twice as many.
    static constexpr size_t kLines = 1000;

    // "": nothing is kept.
    explicit HistoryFile(std::string path) : path_(std::move(path)) {}
    // $XDG_STATE_HOME/talvor/history, else ~/.local/state/talvor/history; "" when neither is known.
    [[nodiscard]] static std::string default_path();

    // The lines, the oldest first; none when there is no file.
    [[nodiscard]] std::vector<std::string> load() const;
    // Adds a line, and makes the file and its folders where they are missing, for this user alone.
    [[nodiscard]] Status append(std::string_view line) const;

private:
    std::string path_;
};

} // namespace talvor
