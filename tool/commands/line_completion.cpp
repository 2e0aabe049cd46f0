#include "tool/commands/line_completion.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace talvor {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> words_in(std::string_view text) {
    std::vector<std::string> words;
    std::string word;
    for (const char c : text) {
        if (c != ' ' && c != '\t') {
            word += c;
        } else if (!word.empty()) {
            words.push_back(std::move(word));
            word.clear();
        }
    }
    words.push_back(std::move(word)); // the one that is being typed, maybe empty
    return words;
}

std::vector<std::string> files_like(const std::string& word) {
    const size_t slash = word.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : word.substr(0, slash + 1);
    const std::string beginning = word.substr(folder.size());
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator at(folder.empty() ? "." : folder, error), end; !error && at != end;
         at.increment(error)) {
        const std::string name = at->path().filename().string();
        const bool hidden = name.starts_with('.') && !beginning.starts_with('.');
        if (name.starts_with(beginning) && !hidden) {
            std::error_code unknown;
            names.push_back(folder + name + (at->is_directory(unknown) ? "/" : ""));
        }
    }
    return names;
}

std::vector<std::string> words_of(const Command& command, bool options) {
    std::vector<std::string> words = options ? command.option_names() : std::vector<std::string>();
    for (const Command& inner : command.commands()) {
        words.push_back(inner.name());
    }
    return words;
}

} // namespace

std::vector<std::string> complete_line(const Command& program, std::string_view before) {
    std::vector<std::string> words = words_in(before);
    const std::string last = std::move(words.back());
    words.pop_back();
    Command at = program;
    for (const std::string& word : words) {
        const std::vector<Command> inner = at.commands();
        const auto next = std::find_if(inner.begin(), inner.end(),
                                       [&word](const Command& one) { return one.name() == word; });
        at = next != inner.end() ? *next : at;
    }
    std::vector<std::string> candidates = words_of(at, last.starts_with('-'));
    std::erase_if(candidates, [&last](const std::string& one) { return !one.starts_with(last); });
    if (candidates.empty() && !words.empty() && !last.starts_with('-')) {
        candidates = files_like(last);
    }
    std::sort(candidates.begin(), candidates.end());
    return candidates;
}

} // namespace talvor
