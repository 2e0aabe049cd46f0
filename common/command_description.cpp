#include "common/command_description.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace talvor {
namespace {

constexpr std::array<std::string_view, 7> kFileValues{"FILE",   "FOLDER", "DESCRIPTION", "SCRIPT",
                                                      "SOCKET", "FROM",   "INTO"};

std::vector<std::string> split_at_commas(const std::string& list) {
    std::vector<std::string> words;
    for (size_t at = 0; at < list.size();) {
        const size_t comma = std::min(list.find(',', at), list.size());
        words.push_back(list.substr(at, comma - at));
        at = comma + 1;
    }
    return words;
}

void enter_words(std::vector<OptionDescription>& options, const ValueWords& words) {
    for (OptionDescription& option : options) {
        const auto found = std::find_if(words.begin(), words.end(), [&](const auto& entry) {
            return entry.first == option.value;
        });
        if (option.words.empty() && found != words.end()) {
            option.words = found->second;
        }
    }
}

} // namespace

bool is_file(const OptionDescription& option) {
    return std::find(kFileValues.begin(), kFileValues.end(), option.value) != kFileValues.end();
}

void enter_words(CommandDescription& command, const ValueWords& words) {
    enter_words(command.options, words);
    enter_words(command.positionals, words);
    for (CommandDescription& inner : command.commands) {
        enter_words(inner, words);
    }
}

namespace detail {

void read_value_name(const std::string& text, OptionDescription& option) {
    const size_t colon = text.find(':');
    const std::string name = text.substr(0, colon);
    const bool number = name == "UINT" || name == "INT" || name == "FLOAT";
    option.value = number ? std::string(1, 'N') : name;
    const size_t brace = text.find('{', colon == std::string::npos ? text.size() : colon);
    if (brace != std::string::npos) {
        option.words = split_at_commas(text.substr(brace + 1, text.find('}', brace) - brace - 1));
    }
}

} // namespace detail
} // namespace talvor
