#include "commands/output.h"

#include <algorithm>
#include <cstdlib>
#include <unistd.h>

#include "session/error_text.h"

namespace talvor {
namespace {

constexpr const char* kProgram = "talvor";

std::string toned(Tone tone, std::string_view text) {
    switch (tone) {
    case Tone::Plain:
        return std::string(text);
    case Tone::Strong:
        return fmt::format("\033[1m{}\033[0m", text);
    case Tone::Good:
        return fmt::format("\033[32m{}\033[0m", text);
    case Tone::Bad:
        return fmt::format("\033[31m{}\033[0m", text);
    case Tone::Faint:
        return fmt::format("\033[2m{}\033[0m", text);
    }
    return std::string(text);
}

bool colour_wanted() {
    // By convention only a value that is not empty counts.
    const char* no_colour = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    return (no_colour == nullptr || *no_colour == '\0') &&
           !(terminal != nullptr && std::string_view(terminal) == "dumb");
}

std::string_view kind_name(ErrorKind kind) {
    switch (kind) {
    case ErrorKind::Usage:
        return "usage";
    case ErrorKind::BadFile:
        return "bad file";
    case ErrorKind::Refused:
        return "refused";
    case ErrorKind::Pod:
        return "pod";
    case ErrorKind::Target:
        return "target";
    }
    return "";
}

// Characters of UTF-8 text, each taken as one column wide.
size_t width(std::string_view text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char letter) {
        return (static_cast<unsigned char>(letter) & 0xC0U) != 0x80U;
    }));
}

} // namespace

std::vector<std::string> TextTable::lines() const {
    std::vector<std::vector<std::string>> all;
    if (!heads_.empty()) {
        all.push_back(heads_);
    }
    all.insert(all.end(), rows_.begin(), rows_.end());
    std::vector<size_t> widths;
    for (const auto& row : all) {
        widths.resize(std::max(widths.size(), row.size()));
        for (size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], width(row[i]));
        }
    }
    std::vector<std::string> lines;
    for (const auto& row : all) {
        std::string line;
        for (size_t i = 0; i < row.size(); ++i) {
            line += "  " + row[i] + std::string(widths[i] - width(row[i]), ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        lines.push_back(std::move(line));
    }
    return lines;
}

Output::Output() {
    const bool wanted = colour_wanted();
    colour_ = wanted && isatty(STDOUT_FILENO) == 1;
    error_terminal_ = isatty(STDERR_FILENO) == 1;
    error_colour_ = wanted && error_terminal_;
}

void Output::table(const TextTable& table) const {
    for (const std::string& text : table.lines()) {
        line("{}", text);
    }
}

void Output::result(const Json& document) const {
    if (json_) {
        fmt::print(stdout, "{}\n", document.dump(2));
    }
}

void Output::note(std::string_view text) const {
    std::fflush(stdout);
    fmt::print(stderr, "{}: {}\n", kProgram, text);
}

void Output::error(const Error& error) const {
    if (json_) {
        fmt::print(stdout, "{}\n", Json{{"error", to_json(error)}}.dump(2));
    }
    std::fflush(stdout);
    const std::string head = fmt::format("{}: {}", kProgram, headline(error));
    fmt::print(stderr, "{}\n", error_colour_ ? toned(Tone::Bad, head) : head);
    if (!error.next_step.empty()) {
        fmt::print(stderr, "  next: {}\n", error.next_step);
    }
}

std::string Output::tone(Tone tone, std::string_view text) const {
    return colour_ ? toned(tone, text) : std::string(text);
}

Json to_json(const Error& error) {
    Json json{{"kind", kind_name(error.kind)}, {"thing", error.thing}, {"reason", error.reason}};
    if (!error.next_step.empty()) {
        json["next_step"] = error.next_step;
    }
    if (error.code != 0) {
        json["code"] = error.code;
        if (const CodeText* text = find_code(error.code)) {
            json["name"] = text->name;
        }
    }
    return json;
}

} // namespace talvor
