// The words of a command line, as the programs of a gang get them.
#pragma once

#include "common/result.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvor {

// What stands for a pod's serial number in a word.
inline constexpr std::string_view kSerialMark = "{serial}";

// A command line without what the gang itself takes care of.
struct GangWords {
    std::vector<std::string> kept; // the command, its values and options
    std::string progress = "auto"; // of --progress
    std::string junit;             // of --junit
};

// `words` as they were parsed, simulation options joined (see join_simulate).
[[nodiscard]] GangWords take_gang_words(const std::vector<std::string>& words);

// An error where a word is an option of `refused`, or something to read that only one program
// could: the standard input, a pipe.
[[nodiscard]] Status check_words(const std::vector<std::string>& words,
                                 const std::vector<std::string_view>& refused);

// `word` with the serial number in the place of each mark.
[[nodiscard]] std::string with_serial(std::string word, uint32_t serial);

// The board file of a pod: `path` with the serial number, or SERIAL.toml where it is a folder.
[[nodiscard]] std::string board_of(const std::string& path, uint32_t serial);

// "all": nothing; else the serial numbers of "5,7,9". Errors (ErrorKind::Usage): no such list; one
// that is named twice.
[[nodiscard]] Result<std::optional<std::vector<uint32_t>>> parse_pods(const std::string& text);

} // namespace talvor
