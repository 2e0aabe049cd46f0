#include "tool/commands/gang_words.h"

#include "common/system_calls.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>

namespace talvor {
namespace {

// Options with a value.
constexpr std::array<std::string_view, 10> kTaken{
    "--pods",   "--retry",   "--log",     "--junit",
    "--board",  "--pod",     "--timeout", "--simulate-description",
    "--member", "--progress"};
constexpr std::array<std::string_view, 6> kTakenFlags{"--stop-on-first", "--json", "--simulate",
                                                      "--no-board",      "-v",     "--verbose"};

// The option of a word, as in "--log" of "--log=x".
std::string_view option_of(std::string_view word) {
    return word.starts_with("--") ? word.substr(0, word.find('=')) : word;
}

bool read_by_one_alone(const std::string& word) {
    struct stat facts {};
    return word == "-" || word == "/dev/stdin" ||
           (!word.starts_with('-') && system_calls.stat(word.c_str(), &facts) == 0 &&
            (S_ISFIFO(facts.st_mode) || S_ISSOCK(facts.st_mode)));
}

} // namespace

GangWords take_gang_words(const std::vector<std::string>& words) {
    GangWords taken;
    for (size_t i = 0; i < words.size(); ++i) {
        if (words[i] == "--") {
            taken.kept.insert(taken.kept.end(), words.begin() + static_cast<ptrdiff_t>(i),
                              words.end());
            break;
        }
        const std::string_view option = option_of(words[i]);
        if (std::ranges::count(kTakenFlags, words[i]) != 0) {
            continue;
        }
        if (std::ranges::count(kTaken, option) == 0) {
            taken.kept.push_back(words[i]);
            continue;
        }
        const bool joined = words[i].size() > option.size();
        std::string value = joined                 ? words[i].substr(option.size() + 1)
                            : i + 1 < words.size() ? words[i + 1]
                                                   : "";
        i += joined ? 0 : 1;
        if (option == "--progress") {
            taken.progress = std::move(value);
        } else if (option == "--junit") {
            taken.junit = std::move(value);
        }
    }
    return taken;
}

Status check_words(const std::vector<std::string>& words,
                   const std::vector<std::string_view>& refused) {
    for (const std::string& word : words) {
        const std::string_view option = option_of(word);
        if (std::ranges::count(refused, option) != 0) {
            return usage_error(std::string(option), "is for one pod alone",
                               "leave it away, or name one pod with --pod");
        }
        if (read_by_one_alone(word)) {
            return usage_error(word, "can be read by one program alone, and each pod has its own",
                               "save what it gives into a file first");
        }
    }
    return {};
}

std::string with_serial(std::string word, uint32_t serial) {
    const std::string number = fmt::format("{}", serial);
    for (size_t at = 0; (at = word.find(kSerialMark, at)) != std::string::npos;
         at += number.size()) {
        word.replace(at, kSerialMark.size(), number);
    }
    return word;
}

std::string board_of(const std::string& path, uint32_t serial) {
    struct stat facts {};
    const bool folder = system_calls.stat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode);
    return folder ? (std::filesystem::path(path) / fmt::format("{}.toml", serial)).string()
                  : with_serial(path, serial);
}

Result<std::optional<std::vector<uint32_t>>> parse_pods(const std::string& text) {
    if (text == "all") {
        return std::nullopt;
    }
    std::vector<uint32_t> serials;
    for (size_t at = 0; at <= text.size();) {
        const size_t comma = std::min(text.find(',', at), text.size());
        uint32_t serial = 0;
        const auto [end, error] = std::from_chars(text.data() + at, text.data() + comma, serial);
        if (error != std::errc() || end != text.data() + comma || serial == 0) {
            return usage_error("--pods",
                               fmt::format("{}: expected 'all', or serial numbers as in "
                                           "5,7,9",
                                           text),
                               "'talvor info' lists the pods");
        }
        if (std::ranges::count(serials, serial) != 0) {
            return usage_error("--pods", fmt::format("{}: pod {} is named twice", text, serial),
                               "name each pod once");
        }
        serials.push_back(serial);
        at = comma + 1;
    }
    return serials;
}

} // namespace talvor
