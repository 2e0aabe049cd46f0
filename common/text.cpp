#include "common/text.h"

#include "hardware/pod_revision.h"

#include <fmt/format.h>

namespace talvor {

std::string count_text(uint64_t count, std::string_view noun, std::string_view plural) {
    if (count == 1) {
        return fmt::format("1 {}", noun);
    }
    return plural.empty() ? fmt::format("{} {}s", count, noun)
                          : fmt::format("{} {}", count, plural);
}

std::string revision_text(uint16_t revision) {
    return fmt::format("{:x}.{:x}", pod_revision_major(revision), pod_revision_minor(revision));
}

std::string xml_text(std::string_view text) {
    std::string xml;
    for (const char c : text) {
        switch (c) {
        case '&':
            xml += "&amp;";
            break;
        case '<':
            xml += "&lt;";
            break;
        case '>':
            xml += "&gt;";
            break;
        case '"':
            xml += "&quot;";
            break;
        default:
            xml += (c >= '\0' && c < ' ' && c != '\n' && c != '\t') || c == '\x7F' ? '?' : c;
        }
    }
    return xml;
}

} // namespace talvor
