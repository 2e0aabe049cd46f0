// What the program prints: text for people, one JSON document for programs.
#pragma once

#include "common/result.h"
#include "tool/output/json.h"
#include "tool/output/text_table.h"
#include "tool/output/tone.h"

#include <fmt/core.h>

#include <string>
#include <string_view>

namespace talvor {

class Output {
public:
    // Colour where both the stream is a terminal and the environment has no NO_COLOR.
    Output();

    // With --json: text is left out, and result() prints.
    void set_json(bool json) noexcept { json_ = json; }
    [[nodiscard]] bool json() const noexcept { return json_; }
    // Whether the standard output goes to a terminal.
    [[nodiscard]] bool terminal() const noexcept { return terminal_; }
    // Whether error output goes to a person who watches.
    [[nodiscard]] bool watched() const noexcept { return error_terminal_; }

    // A line of text on the standard output.
    template <typename... Arguments>
    void line(fmt::format_string<Arguments...> format, Arguments&&... arguments) const {
        if (!json_) {
            write_line(fmt::format(format, std::forward<Arguments>(arguments)...));
        }
    }
    void table(const TextTable& table) const;
    // The command's result, when --json was given; once a command.
    void result(const Json& document) const;
    // A remark on the standard error.
    void note(std::string_view text) const;
    // An error: "talvor: thing: reason" and what to do next on the standard error; with --json also
    // {"error": ...} on the standard output.
    void error(const Error& error) const;

    // Whether the standard output takes colour.
    [[nodiscard]] bool coloured() const noexcept { return colour_; }
    // `text` in a tone, for the standard output.
    [[nodiscard]] std::string tone(Tone tone, std::string_view text) const;

private:
    static void write_line(std::string_view text);

    bool json_ = false;
    bool terminal_ = false;
    bool colour_ = false;
    bool error_colour_ = false;
    bool error_terminal_ = false;
};

// The error as --json prints it.
[[nodiscard]] Json to_json(const Error& error);

} // namespace talvor
