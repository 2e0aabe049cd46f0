#include "common/bsdl/draft.h"

#include "common/bsdl/number.h"

#include <fmt/format.h>

namespace talvor::bsdl {

std::string title(const Attribute& attribute) {
    std::string text(attribute.name);
    for (char& c : text) {
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return text;
}

const JoinedText* text_of(const Attribute& attribute, Report& report) {
    if (!attribute.value.is_text) {
        report.error(attribute.value.place,
                     fmt::format("expected a string as the value of {}", title(attribute)));
        return nullptr;
    }
    return &attribute.value.text;
}

std::optional<size_t> count_of(const Attribute& attribute, size_t most, Report& report) {
    const auto number = integer_value(attribute.value.words);
    if (!number || *number < 1 || static_cast<uint64_t>(*number) > most) {
        report.error(attribute.value.place,
                     fmt::format("expected a whole number from 1 to {} as the value of {}", most,
                                 title(attribute)));
        return std::nullopt;
    }
    return static_cast<size_t>(*number);
}

std::optional<Pattern> pattern_of(const std::string& text, Place place, Report& report) {
    Pattern pattern{text};
    for (char& c : pattern.text) {
        c = c == 'x' ? 'X' : c;
        if (c != '0' && c != '1' && c != 'X') {
            report.error(place,
                         fmt::format("expected a pattern of 0, 1 and X, found {}", shown(text)));
            return std::nullopt;
        }
    }
    return pattern;
}

} // namespace talvor::bsdl
