// Which board file is meant where none is named.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvor {

// What a board file is called where it is looked for.
inline constexpr const char* kBoardFileName = "talvor.toml";

// Where to look, in this order.
struct BoardPlaces {
    std::string variable;        // the value of $TALVOR_BOARD; "" when it has none
    std::string working_folder;  // absolute: its own file, then those of the folders above it
    std::string settings_folder; // absolute; "" when there is none
};

enum class BoardSource : uint8_t {
    Nowhere,
    Option,   // named on the command line
    Variable, // $TALVOR_BOARD
    Upwards,  // in the working folder or above it
    Settings, // in the user's settings folder
};

struct FoundBoard {
    std::optional<std::string> path; // nothing: the pod's own defaults
    BoardSource source = BoardSource::Nowhere;
    // Found, but not to be trusted: why, as "/tmp/talvor.toml: belongs to another user".
    std::vector<std::string> passed_over;
};

// The places of this process: its environment ($TALVOR_BOARD, $XDG_CONFIG_HOME or ~/.config) and
// its working folder.
[[nodiscard]] BoardPlaces board_places();
// The first board file in `places`. A file that nobody has named can name a library to load, so it
// is passed over when somebody else than this user or root owns it or may write to it.
[[nodiscard]] FoundBoard find_board(const BoardPlaces& places);
// "from $TALVOR_BOARD" and the like; "" for Nowhere.
[[nodiscard]] std::string_view source_text(BoardSource source) noexcept;
// A word for programs: "option", "variable", "upwards", "settings", "nowhere".
[[nodiscard]] std::string_view source_word(BoardSource source) noexcept;

} // namespace talvor
