// What the program prints: text for people, one JSON document for programs.
#pragma once

#include "common/result.h"
#include "tool/output/json.h"
#include "tool/output/text_table.h"
#include "tool/output/tone.h"

#include <fmt/core.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace talvor {

class Output {
public:
    // Colour where both the stream is a terminal and the environment has no NO_COLOR.
    Output();

    using ResultHook = std::function<void(const Json&)>;

    // With --json: text is left out, and result() prints.
    void set_json(bool json) noexcept { json_ = json; }
    // Every document becomes one line, for programs that print many.
    void set_json_lines(bool lines) noexcept { json_lines_ = lines; }
    // What every document is wrapped into, as its member "result" or "error"; null: nothing.
    void set_frame(Json frame) { frame_ = std::move(frame); }
    // How far a command is goes to that descriptor, for a program that runs several.
    void report_progress_to(int descriptor) { reports_ = descriptor; }
    [[nodiscard]] std::optional<int> reports() const noexcept { return reports_; }
    // Is given each result, printed or not; may be empty.
    void on_result(ResultHook hook) { on_result_ = std::move(hook); }
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
    // The command's result, which is printed when --json was given; once a command, or, in lines,
    // as often as there is something to tell.
    void result(const Json& document) const;
    // Something that happens while a command goes on, at once: a line of text, or with --json a
    // document in one line.
    void event(std::string_view text, const Json& document) const;
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
    // `document` as the member `name` of the frame.
    void write_document(std::string_view name, const Json& document) const;

    ResultHook on_result_;
    Json frame_;
    std::optional<int> reports_;
    bool json_ = false;
    bool terminal_ = false;
    bool json_lines_ = false;
    bool colour_ = false;
    bool error_colour_ = false;
    bool error_terminal_ = false;
};

// The error as --json prints it.
[[nodiscard]] Json to_json(const Error& error);

} // namespace talvor
