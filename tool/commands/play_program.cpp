#include "tool/commands/play_program.h"

#include "common/interrupt.h"
#include "common/text.h"
#include "host/stapl/compiler.h"
#include "host/stapl/exit_code.h"
#include "tool/commands/values.h"

#include <fmt/format.h>

#include <utility>
#include <variant>

namespace talvor {

namespace {

bool goes_on() {
    return interrupt_signal() == 0;
}

// The reading knows only that it was to stop; the reason is the user's.
template <typename T>
Result<T> unless_interrupted(Result<T> read) {
    if (!read) {
        TRY(check_interrupt());
    }
    return read;
}

std::string_view need_text(stapl::Action::Need need) {
    switch (need) {
    case stapl::Action::Need::Always:
        return "";
    case stapl::Action::Need::Recommended:
        return "recommended: --disable leaves it out";
    case stapl::Action::Need::Optional:
        return "optional: --enable takes it in";
    }
    return "";
}

std::string_view need_word(stapl::Action::Need need) {
    return need == stapl::Action::Need::Always        ? "always"
           : need == stapl::Action::Need::Recommended ? "recommended"
                                                      : "optional";
}

Json notes_json(const stapl::Program& program) {
    Json notes = Json::array();
    for (const stapl::Note& note : program.notes) {
        notes.push_back(Json{{"key", note.key}, {"text", note.text}});
    }
    return notes;
}

Json actions_json(const stapl::Program& program) {
    Json actions = Json::array();
    for (const stapl::Action& action : program.actions) {
        Json procedures = Json::array();
        for (const stapl::Action::Item& item : action.items) {
            procedures.push_back(Json{{"name", program.blocks[item.block].name},
                                      {"runs", std::string(need_word(item.need))}});
        }
        actions.push_back(Json{{"name", action.name},
                               {"description", action.description},
                               {"procedures", std::move(procedures)}});
    }
    return actions;
}

void print_actions(const Output& out, const stapl::Program& program) {
    for (const stapl::Action& action : program.actions) {
        out.line("{}{}{}", action.name, action.description.empty() ? "" : ": ", action.description);
        for (const stapl::Action::Item& item : action.items) {
            const std::string_view need = need_text(item.need);
            out.line("  {}{}{}", program.blocks[item.block].name, need.empty() ? "" : "  ", need);
        }
    }
}

std::string crc_text(const stapl::Program& program) {
    if (!program.expected_crc) {
        return "no checksum";
    }
    return program.crc_is_right() ? fmt::format("checksum {:04X}, right", program.crc)
                                  : fmt::format("checksum {:04X}, WRONG: the file says {:04X}",
                                                program.crc, *program.expected_crc);
}

Json exports_json(const stapl::ProgramRun& run) {
    Json exports = Json::array();
    for (const stapl::ProgramRun::Export& one : run.exports) {
        const Bits* const bits = std::get_if<Bits>(&one.value);
        exports.push_back(Json{{"key", one.key},
                               {"value", bits != nullptr ? Json(hex_text(*bits))
                                                         : Json(std::get<int32_t>(one.value))}});
    }
    return exports;
}

} // namespace

void add_program_options(Command& command, stapl::PlayableOptions& options) {
    command
        .option("--action", options.choices.action,
                "STAPL: what to do; not needed where the file has one action only")
        .type_name("ACTION");
    command
        .option("--enable", options.choices.enable,
                "STAPL: run this optional procedure, too; can be repeated")
        .type_name("PROCEDURE");
    command
        .option("--disable", options.choices.disable,
                "STAPL: leave this recommended procedure out; can be repeated")
        .type_name("PROCEDURE");
    command
        .option("-D,--define", options.choices.values,
                "STAPL: another first value for a variable; 1 and 0 enable and disable a "
                "procedure; can be repeated")
        .type_name("NAME=VALUE");
    command.flag("--ignore-crc", options.ignore_crc,
                 "STAPL: play the file though its checksum is wrong");
}

std::string verdict_text(const Output& out, const stapl::ProgramRun& run) {
    if (!run.outcome) {
        return out.tone(Tone::Bad, fmt::format("{}: not played to its end", run.action));
    }
    return out.tone(run.outcome->code == 0 ? Tone::Good : Tone::Bad,
                    fmt::format("{}: EXIT {}, {}", run.action, run.outcome->code,
                                stapl::meaning_of_exit(run.outcome->code)));
}

void add_to_document(Json& json, const stapl::ProgramRun& run) {
    Json printed = Json::array();
    for (const std::string& text : run.printed) {
        printed.push_back(text);
    }
    Json program{{"action", run.action},
                 {"printed", std::move(printed)},
                 {"exports", exports_json(run)},
                 {"check_open_ended", run.open_ended}};
    if (run.outcome) {
        program["exit_code"] = run.outcome->code;
        program["exit_meaning"] = std::string(stapl::meaning_of_exit(run.outcome->code));
        program["statements"] = run.statements;
    }
    json["program"] = std::move(program);
}

Result<std::unique_ptr<stapl::Playable>> open_program(play::ByteSource& source,
                                                      const JtagPort& port,
                                                      const stapl::PlayableOptions& options) {
    return unless_interrupted(stapl::Playable::open(source, port, options, goes_on));
}

stapl::Listener listener(const Output& out, ProgressBar& bar, stapl::ProgramRun& run) {
    return run.listener([&](std::string_view text) {
        bar.clear();
        out.line("{}", text);
    });
}

Status list_program(const Output& out, play::ByteSource& source) {
    const stapl::Program program = TRY(unless_interrupted(stapl::compile(source, {}, goes_on)));
    for (const stapl::Note& note : program.notes) {
        out.line("note {}: {}", note.key, note.text);
    }
    print_actions(out, program);
    out.line("{}: {}, {}", program.file, count_text(program.blocks.size(), "block"),
             crc_text(program));
    Json document{{"file", program.file},
                  {"notes", notes_json(program)},
                  {"actions", actions_json(program)},
                  {"crc_right", program.crc_is_right()}};
    if (program.expected_crc) {
        document["crc"] = fmt::format("{:04X}", program.crc);
    }
    out.result(document);
    return {};
}

} // namespace talvor
