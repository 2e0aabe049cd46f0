#include "tool/output/terminal.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>

namespace talvor {
namespace {

std::string_view variable(const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

// 0: says nothing.
size_t number_of_environment(const char* name) {
    constexpr size_t kMost = 10000;
    const std::string_view text = variable(name);
    size_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() && number <= kMost ? number : 0;
}

// What the environment says, else the terminal, else `standard`.
size_t places(const char* name, unsigned short winsize::*of_terminal, int descriptor,
              size_t standard) {
    if (const size_t number = number_of_environment(name); number != 0) {
        return number;
    }
    winsize size{};
    return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.*of_terminal != 0 ? size.*of_terminal
                                                                               : standard;
}

} // namespace

size_t terminal_width() {
    constexpr size_t kStandard = 100;
    return places("COLUMNS", &winsize::ws_col, STDOUT_FILENO, kStandard);
}

size_t terminal_height(int descriptor) {
    constexpr size_t kStandard = 24;
    return places("LINES", &winsize::ws_row, descriptor, kStandard);
}

bool speaks_utf8() {
    std::string locale;
    for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        if (locale.empty()) {
            locale = variable(name);
        }
    }
    std::ranges::transform(locale, locale.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return locale.find("utf-8") != std::string::npos || locale.find("utf8") != std::string::npos;
}

size_t places_of(std::string_view line) {
    size_t places = 0;
    bool escape = false;
    for (const char c : line) {
        if (escape) {
            escape = std::isalpha(static_cast<unsigned char>(c)) == 0;
        } else if (c == '\033') {
            escape = true;
        } else {
            places += (static_cast<unsigned char>(c) & 0xC0U) != 0x80U ? 1 : 0;
        }
    }
    return places;
}

} // namespace talvor
