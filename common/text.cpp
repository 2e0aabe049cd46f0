#include "common/text.h"

#include "common/utf8.h"
#include "hardware/pod_revision.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvor {

std::string count_text(uint64_t count, std::string_view noun, std::string_view plural) {
    if (count == 1) {
        return fmt::format("1 {}", noun);
    }
    return plural.empty() ? fmt::format("{} {}s", count, noun)
                          : fmt::format("{} {}", count, plural);
}

std::string seconds_text(double seconds) {
    return fmt::format("{} second{}", seconds, seconds == 1 ? "" : "s");
}

std::string revision_text(uint16_t revision) {
    return fmt::format("{:x}.{:x}", pod_revision_major(revision), pod_revision_minor(revision));
}

namespace {

char folded(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Nothing: XML holds the character itself.
std::string_view entity_of(char c) noexcept {
    switch (c) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    default:
        return (c >= '\0' && c < ' ' && c != '\n' && c != '\t') || c == '\x7F' ? "?" : "";
    }
}

// U+FFFE and U+FFFF are characters of UTF-8 and none of XML.
bool is_forbidden(std::string_view character) noexcept {
    return character == "\xEF\xBF\xBE" || character == "\xEF\xBF\xBF";
}

} // namespace

bool same_name(std::string_view one, std::string_view other) noexcept {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](char a, char b) { return folded(a) == folded(b); });
}

std::string xml_text(std::string_view text) {
    std::string xml;
    for (size_t at = 0; at < text.size();) {
        const size_t bytes = utf8_bytes(text, at);
        const std::string_view character = text.substr(at, bytes);
        if (bytes == 0 || is_forbidden(character)) {
            xml += '?';
        } else if (const std::string_view entity = entity_of(character[0]); !entity.empty()) {
            xml += entity;
        } else {
            xml += character;
        }
        at += bytes == 0 ? 1 : bytes;
    }
    return xml;
}

} // namespace talvor
