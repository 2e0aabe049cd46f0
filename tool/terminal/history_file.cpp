#include "tool/terminal/history_file.h"

#include "common/file_descriptor.h"
#include "common/system_calls.h"
#include "tool/output/text_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

namespace talvor {
namespace {

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::vector<std::string> lines_of(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        lines.push_back(std::move(line));
    }
    return lines;
}

// What cannot be written stays long.
void rewrite(const std::string& path, const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    (void)write_text_file(path, text, Existing::Replaced, S_IRUSR | S_IWUSR);
}

} // namespace

std::string HistoryFile::default_path() {
    const std::string state = variable("XDG_STATE_HOME");
    if (state.starts_with('/')) {
        return state + "/talvor/history";
    }
    const std::string home = variable("HOME");
    return home.starts_with('/') ? home + "/.local/state/talvor/history" : "";
}

std::vector<std::string> HistoryFile::load() const {
    std::vector<std::string> lines = lines_of(path_);
    if (lines.size() > kLines) {
        const bool much = lines.size() > 2 * kLines;
        lines.erase(lines.begin(), lines.end() - kLines);
        if (much) {
            rewrite(path_, lines);
        }
    }
    return lines;
}

Status HistoryFile::append(std::string_view line) const {
    if (path_.empty()) {
        return {};
    }
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::path(path_).parent_path();
    if (std::filesystem::create_directories(folder, error)) {
        std::filesystem::permissions(folder, std::filesystem::perms::owner_all, error);
    }
    const FileDescriptor file(system_calls.open(
        path_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file.is_open() || !write_all(file.get(), fmt::format("{}\n", line))) {
        return file_error(path_, fmt::format("cannot be written: {}", std::strerror(errno)),
                          "what is typed is not kept; XDG_STATE_HOME names another place");
    }
    return {};
}

} // namespace talvor
