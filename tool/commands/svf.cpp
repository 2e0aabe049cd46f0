// talvor svf: checks and plays an SVF file.
#include "common/interrupt.h"
#include "common/text.h"
#include "host/svf/checker.h"
#include "host/svf/player.h"
#include "host/svf/source.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"
#include "tool/commands/values.h"
#include "tool/output/progress_bar.h"

#include <algorithm>
#include <chrono>

namespace talvor {
namespace {

struct SvfOptions {
    std::string file;
    bool keep_going = false;
    bool dry_run = false;
    bool no_reset = false;
    bool no_check = false;
    bool exact = false;
    std::string progress = "auto";
};

Json summary_json(const svf::Summary& summary) {
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

std::string summary_text(const svf::Summary& summary) {
    return fmt::format("{}, {} of {}, {} compared", count_text(summary.statements, "statement"),
                       count_text(summary.ir_scans + summary.dr_scans, "scan"),
                       count_text(summary.ir_bits + summary.dr_bits, "bit"),
                       summary.compared_scans);
}

Json mismatch_json(const svf::Mismatch& mismatch) {
    return Json{{"line", mismatch.line},
                {"expected", hex_text(mismatch.expected)},
                {"got", hex_text(mismatch.got)},
                {"mask", hex_text(mismatch.mask)},
                {"differing_bits", mismatch.differing_bits},
                {"first_bits", Json::array(mismatch.first_bits)}};
}

svf::ProgressHook progress_hook(ProgressBar& bar) {
    return [&bar](const svf::Progress& progress) {
        bar.show(progress.pass == svf::Pass::Check ? "check" : "play", progress.bytes_done,
                 progress.bytes_total);
        return interrupt_signal() == 0;
    };
}

// What to tell about a failed reading. The progress hook can only say stop; the reason is the
// user's.
Failure told(Error error) {
    if (Status stopped = check_interrupt(); !stopped) {
        return Failure(std::move(stopped).error());
    }
    if (error.kind == ErrorKind::BadFile && error.next_step.empty()) {
        error.next_step = "correct the file there; --dry-run checks it and shifts nothing";
    }
    return Failure(std::move(error));
}

Status dry_run(Context& context, svf::ByteSource& source, const JtagPort& port, ProgressBar& bar) {
    svf::CheckOptions check;
    check.progress = progress_hook(bar);
    const Result<svf::Summary> summary = svf::check(source, port, check);
    bar.clear();
    if (!summary) {
        return told(summary.error());
    }
    context.out.line("{}: can be played: {}", source.name(), summary_text(*summary));
    context.out.result(
        Json{{"file", source.name()}, {"dry_run", true}, {"summary", summary_json(*summary)}});
    return {};
}

std::string verdict(const Output& out, const svf::PlayReport& played) {
    if (played.mismatches == 0) {
        return out.tone(Tone::Good, "all scans answered as expected");
    }
    return out.tone(Tone::Bad, fmt::format("{} of {} compared scans answered wrong{}",
                                           played.mismatches, played.summary.compared_scans,
                                           played.complete ? "" : "; stopped there"));
}

// Prints what a run came to, as text or as a document.
void report(const Output& out, const std::string& name, const svf::PlayReport& played,
            Json mismatches) {
    const double seconds = std::chrono::duration<double>(played.elapsed).count();
    out.line("{}: {}", name, verdict(out, played));
    out.line("  {}", summary_text(played.summary));
    if (out.watched()) {
        out.line("  {:.3f} s, {}/s", seconds,
                 byte_text(static_cast<double>(played.summary.bytes) / std::max(seconds, 1e-9)));
    }
    if (played.overlong_runs != 0) {
        out.line("  {} RUNTEST took longer than its MAXIMUM, the first on line {}",
                 played.overlong_runs, played.first_overlong_line);
    }
    out.result(Json{{"file", name},
                    {"passed", played.mismatches == 0},
                    {"complete", played.complete},
                    {"mismatches", std::move(mismatches)},
                    {"mismatch_count", played.mismatches},
                    {"overlong_runs", played.overlong_runs},
                    {"seconds", seconds},
                    {"summary", summary_json(played.summary)}});
}

// Notes each mismatch in `list`, and prints it where the playing goes on.
svf::PlayOptions play_options(const Output& out, const std::string& name, const SvfOptions& options,
                              ProgressBar& bar, Json& list) {
    svf::PlayOptions play;
    play.keep_going = options.keep_going;
    play.reset_first = !options.no_reset;
    play.progress = progress_hook(bar);
    play.on_mismatch = [&](const svf::Mismatch& mismatch) {
        // A file may have any number of mismatches; the document lists the first ones.
        constexpr size_t kListed = 1000;
        if (list.size() < kListed) {
            list.push_back(mismatch_json(mismatch));
        }
        if (options.keep_going && !out.json()) {
            bar.clear();
            out.line("{}", headline(svf::to_error(mismatch, name)));
        }
    };
    return play;
}

Status play(Context& context, svf::ByteSource& source, JtagPort& port, const SvfOptions& options,
            ProgressBar& bar) {
    Json mismatches = Json::array();
    const svf::PlayOptions how = play_options(context.out, source.name(), options, bar, mismatches);
    const Result<svf::PlayReport> played =
        options.no_check ? svf::play(source, port, how) : svf::check_and_play(source, port, how);
    bar.clear();
    if (!played) {
        return told(played.error());
    }
    TRY(port.flush());
    report(context.out, source.name(), *played, std::move(mismatches));
    if (!played->first_mismatch) {
        return {};
    }
    // The report has been printed, as a document too: the error says what went wrong first.
    context.out.set_json(false);
    Error error = svf::to_error(*played->first_mismatch, source.name());
    if (error.next_step.empty() && !options.exact) {
        error.next_step =
            "if the file has scans that are longer than the chain, play it with --exact";
    }
    return Failure(std::move(error));
}

Status svf_command(Context& context, const SvfOptions& options) {
    const auto source = TRY(svf::FileSource::open(options.file));
    PodPort& port = TRY(context.session())->port();
    port.set_receive_mode(options.exact ? PodPort::ReceiveMode::Exact
                                        : PodPort::ReceiveMode::Adjusted);
    const bool bar_shown =
        options.progress == "always" || (options.progress == "auto" && context.out.watched());
    ProgressBar bar(bar_shown);
    return options.dry_run ? dry_run(context, *source, port, bar)
                           : play(context, *source, port, options, bar);
}

} // namespace

void add_svf(Command& program) {
    const auto options = command_options<SvfOptions>();
    Command command =
        program.command("svf", "Check an SVF file, then play it",
                        [options](Context& context) { return svf_command(context, *options); });
    command.option("FILE", options->file, "SVF file; - is the standard input").required();
    command.flag("--keep-going", options->keep_going, "Go on after a scan answers wrong");
    command.flag("--dry-run", options->dry_run, "Only check whether the pod can play it");
    command.flag("--no-check", options->no_check,
                 "Play at once, without checking the whole file first");
    command.flag("--no-reset", options->no_reset,
                 "Do not begin in Test-Logic-Reset, but where the TAP stands");
    command.flag("--exact", options->exact,
                 "For scans longer than their path: shift each one that is compared twice");
    command
        .option("--progress", options->progress,
                "Progress bar: always, never, or auto: on a terminal")
        .one_of({"always", "never", "auto"})
        .show_default();
}

} // namespace talvor
