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
size_t width_of_environment() {
    constexpr size_t kMost = 10000;
    const std::string_view text = variable("COLUMNS");
    size_t width = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), width);
    return error == std::errc() && end == text.data() + text.size() && width <= kMost ? width : 0;
}

} // namespace

size_t terminal_width() {
    constexpr size_t kStandard = 100;
    if (const size_t width = width_of_environment(); width != 0) {
        return width;
    }
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col
                                                                            : kStandard;
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
