#include "tool/output/output.h"

#include "host/driver/error_text.h"
#include "tool/output/standard_streams.h"

#include <unistd.h>

namespace talvor {
namespace {

constexpr const char* kProgram = "talvor";

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

} // namespace

Output::Output() {
    const bool wanted = colour_wanted();
    terminal_ = isatty(STDOUT_FILENO) == 1;
    colour_ = wanted && terminal_;
    error_terminal_ = isatty(STDERR_FILENO) == 1;
    error_colour_ = wanted && error_terminal_;
}

void Output::write_line(std::string_view text) {
    write_output(fmt::format("{}\n", text));
}

void Output::table(const TextTable& table) const {
    for (const std::string& text : table.lines()) {
        line("{}", text);
    }
}

void Output::write_document(std::string_view name, const Json& document) const {
    Json whole = frame_;
    if (whole.size() == 0) {
        whole = document;
    } else {
        whole[name] = document;
    }
    write_line(json_lines_ ? whole.line() : whole.text());
}

void Output::result(const Json& document) const {
    if (on_result_) {
        on_result_(document);
    }
    if (json_) {
        write_document("result", document);
    }
}

void Output::event(std::string_view text, const Json& document) const {
    write_line(json_ ? document.line() : std::string(text));
    (void)flush_output();
}

void Output::note(std::string_view text) const {
    (void)flush_output();
    write_error(fmt::format("{}: {}\n", kProgram, text));
}

void Output::error(const Error& error) const {
    if (json_) {
        // Without a frame the document is the member's only place.
        write_document("error",
                       frame_.size() == 0 ? Json{{"error", to_json(error)}} : to_json(error));
    }
    (void)flush_output();
    const std::string head = fmt::format("{}: {}", kProgram, headline(error));
    write_error(fmt::format("{}\n", error_colour_ ? toned(Tone::Bad, head) : head));
    if (!error.next_step.empty()) {
        write_error(fmt::format("  next: {}\n", error.next_step));
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
