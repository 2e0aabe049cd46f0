#include "host/session/board_search.h"

#include "common/system_calls.h"

#include <fmt/format.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace talvor {
namespace {

namespace fs = std::filesystem;

struct SourceName {
    std::string_view text;
    std::string_view word;
};

// In the order of BoardSource.
constexpr std::array kSourceNames{
    SourceName{"", "nowhere"},
    SourceName{"from --board", "option"},
    SourceName{"from $TALVOR_BOARD", "variable"},
    SourceName{"found in this folder or above it", "upwards"},
    SourceName{"found in the user's settings", "settings"},
};

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::string settings_folder() {
    const std::string settings = variable("XDG_CONFIG_HOME");
    if (settings.starts_with('/')) {
        return settings + "/talvor";
    }
    const std::string home = variable("HOME");
    return home.starts_with('/') ? home + "/.config/talvor" : "";
}

// Why a file is not to be trusted; "" when it is.
std::string distrust(const struct stat& file) {
    if (file.st_uid != geteuid() && file.st_uid != 0) {
        return fmt::format("belongs to another user ({})", file.st_uid);
    }
    return (file.st_mode & S_IWOTH) != 0 ? "can be written by everybody" : "";
}

// Whether there is a file that is to be taken; one that is not goes to `passed_over`.
bool takes(const std::string& path, std::vector<std::string>& passed_over) {
    struct stat file {};
    if (system_calls.stat(path.c_str(), &file) != 0 || !S_ISREG(file.st_mode)) {
        return false;
    }
    if (const std::string why = distrust(file); !why.empty()) {
        passed_over.push_back(fmt::format("{}: {}", path, why));
        return false;
    }
    return true;
}

} // namespace

BoardPlaces board_places() {
    std::error_code error;
    const fs::path working = fs::current_path(error);
    return {variable("TALVOR_BOARD"), error ? "" : working.string(), settings_folder()};
}

FoundBoard find_board(const BoardPlaces& places) {
    FoundBoard found;
    if (!places.variable.empty()) {
        found.path = places.variable;
        found.source = BoardSource::Variable;
        return found;
    }
    fs::path folder = places.working_folder;
    while (!folder.empty()) {
        const std::string path = (folder / kBoardFileName).string();
        if (takes(path, found.passed_over)) {
            found.path = path;
            found.source = BoardSource::Upwards;
            return found;
        }
        folder = folder == folder.parent_path() ? fs::path() : folder.parent_path();
    }
    const std::string path = places.settings_folder + "/" + kBoardFileName;
    if (!places.settings_folder.empty() && takes(path, found.passed_over)) {
        found.path = path;
        found.source = BoardSource::Settings;
    }
    return found;
}

std::string_view source_text(BoardSource source) noexcept {
    return kSourceNames[static_cast<size_t>(source)].text;
}

std::string_view source_word(BoardSource source) noexcept {
    return kSourceNames[static_cast<size_t>(source)].word;
}

} // namespace talvor
