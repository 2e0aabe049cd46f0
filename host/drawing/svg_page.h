// The page that pictures are drawn on: an SVG document, its paper, and the lettering that all of
// them have.
#pragma once

#include <fmt/format.h>

#include <iterator>
#include <string>
#include <string_view>
#include <utility>

namespace talvor {

// Lengths are in pixels, colours as in SVG. What was put later lies above.
class SvgPage {
public:
    static constexpr std::string_view kTitleInk = "#0f172a";
    static constexpr std::string_view kInk = "#334155";
    static constexpr std::string_view kFaintInk = "#94a3b8";

    // Elements as they stand; words of others go through xml_text().
    template <typename... Arguments>
    void put(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
        fmt::format_to(std::back_inserter(elements_), format,
                       std::forward<Arguments>(arguments)...);
    }
    // A line of words; `anchor`: start, middle or end. `more`: attributes, each behind a blank.
    void text(double x, double y, std::string_view anchor, int size, std::string_view ink,
              std::string_view words, std::string_view more = "");
    // What the picture is called, at the head of a page with this margin; nothing where it is "".
    void heading(double margin, std::string_view words);

    // The whole document: everything that was put, on white paper of this size.
    [[nodiscard]] std::string document(double width, double height) const;

private:
    std::string elements_;
};

} // namespace talvor
