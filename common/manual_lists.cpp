#include "common/manual_lists.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cctype>

namespace talvor {
namespace {

// No line begins with a control character.
std::string guarded(std::string line) {
    return line.starts_with('.') || line.starts_with('\'') ? "\\&" + line : line;
}

// As roff prints it: a minus is one.
std::string roff(std::string_view text) {
    std::string result;
    for (const char letter : text) {
        if (letter == '\n') {
            result += ' ';
        } else if (letter == '-') {
            result += "\\-";
        } else if (letter == '\\') {
            result += "\\e";
        } else {
            result += letter;
        }
    }
    return guarded(result);
}

// A whole sentence, in lines of a width that tools accept.
std::string sentence(std::string text) {
    constexpr size_t kWidth = 72;
    if (text.empty()) {
        return "";
    }
    text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
    std::string rest = roff(text + (text.back() == '.' ? "" : "."));
    std::string lines;
    while (rest.size() > kWidth) {
        size_t blank = rest.rfind(' ', kWidth);
        blank = blank == std::string::npos ? rest.find(' ') : blank;
        if (blank == std::string::npos) {
            break;
        }
        lines += rest.substr(0, blank) + "\n";
        rest = guarded(rest.substr(blank + 1));
    }
    return lines + rest + "\n";
}

// "--tck FREQUENCY", "-h, --help", "[COUNT]".
std::string heading(const OptionDescription& option) {
    if (option.names.empty()) {
        return fmt::format("\\fI{}\\fR", roff(option.value));
    }
    std::string text =
        fmt::format("\\fB{}\\fR", roff(fmt::format("{}", fmt::join(option.names, ", "))));
    if (option.value.empty()) {
        return text;
    }
    const std::string value = fmt::format("\\fI{}\\fR", roff(option.value));
    return text + (option.value_optional ? "[=" + value + "]" : " " + value);
}

std::string item(const OptionDescription& option) {
    std::string text = option.text;
    if (!option.words.empty() && text.find(option.words.back()) == std::string::npos) {
        text += fmt::format(": {}", fmt::join(option.words, ", "));
    }
    if (!option.preset.empty()) {
        text += fmt::format("; {} without it", option.preset);
    }
    return fmt::format(".TP\n{}\n{}", heading(option), sentence(text));
}

std::string items(const std::vector<OptionDescription>& options) {
    std::string text;
    for (const OptionDescription& option : options) {
        // The help of a command tells what the page tells.
        if (option.names.empty() || option.names.front() != "--help") {
            text += item(option);
        }
    }
    return text;
}

std::string synopsis(const std::string& name, const CommandDescription& command) {
    std::string text = roff(name);
    for (const OptionDescription& value : command.positionals) {
        text += value.required ? " " + roff(value.value) : " [" + roff(value.value) + "]";
    }
    return text + (command.takes_command ? " COMMAND" : "");
}

std::string subsections(const CommandDescription& command, const std::string& before) {
    std::string text;
    for (const CommandDescription& inner : command.commands) {
        const std::string name = before + inner.name;
        text += fmt::format(".SS {}\n{}{}{}", synopsis(name, inner), sentence(inner.text),
                            items(inner.positionals), items(inner.options));
        text += subsections(inner, name + " ");
    }
    return text;
}

} // namespace

std::string manual_lists(const CommandDescription& program) {
    std::string text = ".SH OPTIONS\n" + items(program.positionals) + items(program.options);
    if (!program.commands.empty()) {
        text += ".SH COMMANDS\n" + subsections(program, "");
    }
    return text;
}

} // namespace talvor
