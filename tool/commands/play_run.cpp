#include "tool/commands/play_run.h"

#include "common/text.h"
#include "host/scan/late_answer.h"
#include "tool/commands/play_program.h"
#include "tool/commands/values.h"
#include "tool/output/progress_bar.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

namespace talvor {

namespace {

Json summary_json(const play::Summary& summary) {
    return Json{{"bytes", summary.bytes},
                {"lines", summary.lines},
                {"statements", summary.statements},
                {"ir_scans", summary.ir_scans},
                {"dr_scans", summary.dr_scans},
                {"ir_bits", summary.ir_bits},
                {"dr_bits", summary.dr_bits},
                {"compared_scans", summary.compared_scans},
                {"run_clocks", summary.run_clocks},
                {"run_seconds", std::chrono::duration<double>(summary.run_time).count()}};
}

std::string summary_text(const play::Summary& summary) {
    return fmt::format("{}, {} of {}, {} compared", count_text(summary.statements, "statement"),
                       count_text(summary.ir_scans + summary.dr_scans, "scan"),
                       count_text(summary.ir_bits + summary.dr_bits, "bit"),
                       summary.compared_scans);
}

Json mismatch_json(const play::Mismatch& mismatch) {
    return Json{{"line", mismatch.line},
                {"expected", hex_text(mismatch.expected)},
                {"got", hex_text(mismatch.got)},
                {"mask", hex_text(mismatch.mask)},
                {"differing_bits", mismatch.differing_bits},
                {"first_bits", Json::array(mismatch.first_bits)}};
}

// In the order of NoteKind.
constexpr std::array<std::string_view, play::kNoteKinds> kNoteKeys{"road", "clocks", "pulse",
                                                                   "no_shift"};

Json notes_json(const play::Notes& notes) {
    Json list = Json::array();
    for (const play::Notes::Listed& one : notes.list) {
        list.push_back(Json{{"line", one.line},
                            {"statement", one.statement},
                            {"kind", kNoteKeys[static_cast<size_t>(one.note.kind)]},
                            {"text", one.note.text}});
    }
    return list;
}

// One line for each kind of note: the first of them, and how many more there are.
void print_notes(const Output& out, const play::Notes& notes) {
    std::array<bool, play::kNoteKinds> told{};
    for (const play::Notes::Listed& one : notes.list) {
        const auto kind = static_cast<size_t>(one.note.kind);
        if (std::exchange(told[kind], true)) {
            continue;
        }
        const uint64_t more = notes.by_kind[kind] - 1;
        out.line("  note: line {}: {}: {}{}", one.line, one.statement, one.note.text,
                 more == 0 ? "" : fmt::format(", and {} more like it", more));
    }
}

void print_refusals(const Output& out, const play::CheckReport& checked) {
    if (checked.refusal_count == 1) {
        return; // the error says it
    }
    for (const Error& error : checked.refusals) {
        out.line("{}", headline(error));
    }
    if (checked.refusal_count > checked.refusals.size()) {
        out.line("... and {} more", checked.refusal_count - checked.refusals.size());
    }
}

Json errors_json(const std::vector<Error>& errors) {
    Json list = Json::array();
    for (const Error& error : errors) {
        list.push_back(to_json(error));
    }
    return list;
}

Json stop_json(const std::string& file, const play::Place& place) {
    Json json{{"file", file}, {"line", place.line}, {"tap_state", name_of(place.tap)}};
    if (!place.statement.empty()) {
        json["statement"] = place.statement;
    }
    return json;
}

std::string stop_text(const std::string& file, const play::Place& place) {
    return fmt::format("{}:{}{}{}, the TAP was last in {}", file, place.line,
                       place.statement.empty() ? "" : ", ", place.statement, name_of(place.tap));
}

std::string verdict(const Output& out, const play::PlayReport& played) {
    if (played.mismatches == 0) {
        return out.tone(Tone::Good, "all scans answered as expected");
    }
    return out.tone(Tone::Bad, fmt::format("{} of {} compared scans answered wrong{}",
                                           played.mismatches, played.summary.compared_scans,
                                           played.complete ? "" : "; stopped there"));
}

void print_played(const Output& out, const PlayRun& run) {
    const play::PlayReport& played = *run.played;
    out.line("{}: {}", run.file,
             run.error     ? out.tone(Tone::Bad, "not played to its end")
             : run.program ? verdict_text(out, *run.program)
                           : verdict(out, played));
    out.line("  {}", summary_text(played.summary));
    if (played.stopped) {
        out.line("  stopped at {}", stop_text(run.file, *played.stopped));
    }
    if (out.watched()) {
        const double seconds = std::chrono::duration<double>(played.elapsed).count();
        out.line("  {:.3f} s, {}/s", seconds,
                 byte_text(static_cast<double>(played.summary.bytes) / std::max(seconds, 1e-9)));
    }
    if (played.overlong_runs != 0) {
        out.line("  {} RUNTEST took longer than its MAXIMUM, the first on line {}",
                 played.overlong_runs, played.first_overlong_line);
    }
}

// A program's way depends on answers, which a check does not have.
std::string_view granted_text(const PlayRun& run) {
    return !run.program              ? ""
           : run.program->open_ended ? " so far as it can be seen without a target"
                                     : ", if the target answers as expected";
}

void add_checked(Json& json, const play::CheckReport& checked) {
    json["playable"] = checked.can_be_played();
    json["refusals"] = errors_json(checked.refusals);
    json["refusal_count"] = checked.refusal_count;
    json["notes"] = notes_json(checked.notes);
    json["note_count"] = checked.notes.count;
}

void add_played(Json& json, const PlayRun& run) {
    const play::PlayReport& played = *run.played;
    json["passed"] = played.mismatches == 0 && !run.error && !played.verdict;
    json["complete"] = played.complete;
    json["mismatches"] = run.mismatches;
    json["mismatch_count"] = played.mismatches;
    json["overlong_runs"] = played.overlong_runs;
    json["seconds"] = std::chrono::duration<double>(played.elapsed).count();
    json["summary"] = summary_json(played.summary);
    if (played.stopped) {
        json["stopped"] = stop_json(run.file, *played.stopped);
    }
}

// The stretch of a value that a file compares, whole.
Bits compared(const Bits& value, const Bits& mask) {
    size_t first = 0;
    size_t end = mask.size();
    while (first < end && !mask[first]) {
        ++first;
    }
    while (end > first && !mask[end - 1]) {
        --end;
    }
    return value.slice(first, end - first);
}

// A device that is another one, or a link delay that is wrong, is met at the first IDCODE.
std::string advice_on_idcodes(const play::Mismatch& mismatch, const PlayRun& run) {
    return run.device.number
               ? fmt::format("device {} is another one: 'talvor chain' lists what is there",
                             *run.device.number)
               : next_step_for_idcodes(compared(mismatch.expected, mismatch.mask),
                                       compared(mismatch.got, mismatch.mask));
}

JunitCase check_case(const PlayRun& run) {
    JunitCase result;
    result.name = "check";
    result.class_name = run.file;
    if (!run.checked) {
        result.outcome = JunitCase::Outcome::Skipped;
    } else if (!run.checked->can_be_played()) {
        result.outcome = JunitCase::Outcome::Failed;
        result.message = headline(play::refusal_of(*run.checked, run.file));
        for (const Error& error : run.checked->refusals) {
            result.text += headline(error) + "\n";
        }
    }
    return result;
}

JunitCase::Outcome outcome_of(const PlayRun& run) {
    if (run.error) {
        return JunitCase::Outcome::Error;
    }
    if (!run.played) {
        return JunitCase::Outcome::Skipped;
    }
    return run.played->mismatches != 0 || run.played->verdict ? JunitCase::Outcome::Failed
                                                              : JunitCase::Outcome::Passed;
}

JunitCase play_case(const PlayRun& run) {
    JunitCase result;
    result.name = "play";
    result.class_name = run.file;
    result.outcome = outcome_of(run);
    if (const std::optional<Error> error = error_of(run)) {
        result.message = headline(*error);
    }
    for (const std::string& line : run.mismatch_lines) {
        result.text += line + "\n";
    }
    if (run.played) {
        result.seconds = std::chrono::duration<double>(run.played->elapsed).count();
    }
    if (run.program) {
        for (const std::string& line : run.program->printed) {
            result.text += line + "\n";
        }
    }
    if (run.played && run.played->stopped) {
        result.text += "stopped at " + stop_text(run.file, *run.played->stopped) + "\n";
    }
    return result;
}

} // namespace

void PlayRun::note(const play::Mismatch& mismatch) {
    if (mismatch_lines.size() < play::kListedMismatches) {
        mismatch_lines.push_back(headline(play::to_error(mismatch, file)));
        mismatches.push_back(mismatch_json(mismatch));
    }
}

std::optional<Error> error_of(const PlayRun& run) {
    std::optional<Error> error = play::first_error(run, run.file);
    const play::Mismatch* const mismatch = play::failed_answer(run);
    if (mismatch != nullptr && mismatch->of_idcode) {
        error->next_step = advice_on_idcodes(*mismatch, run);
    }
    return error;
}

void print(const Output& out, const PlayRun& run) {
    if (run.played) {
        print_played(out, run);
    } else if (run.checked && run.checked->can_be_played()) {
        out.line("{}: can be played{}: {}", run.file, granted_text(run),
                 summary_text(run.checked->summary));
    }
    if (run.device.number && (run.played || run.checked)) {
        out.line("  on device {}{}", *run.device.number,
                 run.device.name.empty() ? "" : ", " + run.device.name);
    }
    if (run.checked) {
        print_notes(out, run.checked->notes);
        print_refusals(out, *run.checked);
    }
}

Json document(const PlayRun& run, const std::optional<Error>& error) {
    Json json{{"file", run.file}};
    if (run.dry_run) {
        json["dry_run"] = true;
    }
    if (run.device.number) {
        json["device"] = Json{{"number", *run.device.number}};
        if (!run.device.name.empty()) {
            json["device"]["name"] = run.device.name;
        }
    }
    if (run.checked) {
        add_checked(json, *run.checked);
    }
    if (run.played) {
        add_played(json, run);
    } else if (run.checked) {
        json["summary"] = summary_json(run.checked->summary);
    }
    if (run.program) {
        add_to_document(json, *run.program);
    }
    if (error) {
        json["error"] = to_json(*error);
    }
    return json;
}

Junit junit_of(const PlayRun& run) {
    Junit suite("talvor " + run.command + " " + run.file);
    suite.add(check_case(run));
    if (!run.dry_run) {
        suite.add(play_case(run));
    }
    return suite;
}

} // namespace talvor
