#include "tool/output/tone.h"

#include <array>
#include <cstdlib>

namespace talvor {
namespace {

// In the order of Tone.
constexpr std::array<std::string_view, 5> kStarts{"", "\033[1m", "\033[32m", "\033[31m", "\033[2m"};
constexpr std::string_view kEnd = "\033[0m";

} // namespace

std::string toned(Tone tone, std::string_view text) {
    std::string all(kStarts[static_cast<size_t>(tone)]);
    all += text;
    if (tone != Tone::Plain) {
        all += kEnd;
    }
    return all;
}

bool colour_wanted() {
    // By convention only a value that is not empty counts.
    const char* no_colour = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    return (no_colour == nullptr || *no_colour == '\0') &&
           !(terminal != nullptr && std::string_view(terminal) == "dumb");
}

} // namespace talvor
