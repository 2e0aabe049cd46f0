// talvor svf: checks and plays an SVF file.
#include "commands/command_set.h"
#include "commands/progress_bar.h"
#include "session/interrupt.h"
#include "svf/checker.h"
#include "svf/player.h"
#include "svf/source.h"

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
    return fmt::format("{} statements, {} scans of {} bits, {} compared", summary.statements,
                       summary.ir_scans + summary.dr_scans, summary.ir_bits + summary.dr_bits,
                       summary.compared_scans);
}

Json mismatch_json(const svf::Mismatch& mismatch) {
    return Json{{"line", mismatch.line},
                {"expected", "0x" + mismatch.expected.to_hex()},
                {"got", "0x" + mismatch.got.to_hex()},
                {"mask", "0x" + mismatch.mask.to_hex()},
                {"differing_bits", mismatch.differing_bits},
                {"first_bits", mismatch.first_bits}};
}

svf::ProgressHook progress_hook(ProgressBar& bar) {
    return [&bar](const svf::Progress& progress) {
        bar.show(progress.pass == svf::Pass::Check ? "check" : "play", progress.bytes_done,
                 progress.bytes_total);
        return interrupt_signal() == 0;
    };
}

// The reading hook can only say stop; the reason is the user's.
Status told(Error error) {
    if (const Status stopped = check_interrupt(); !stopped) {
        return stopped;
    }
    if (error.kind == ErrorKind::BadFile && error.next_step.empty()) {
        error.next_step = "correct the file there; --dry-run checks it and shifts nothing";
    }
    return error;
}

Status dry_run(Context& context, svf::ByteSource& source, const JtagPort& port, const SvfOptions&,
               ProgressBar& bar) {
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

// What a run came to: printed, and as a status.
Status report(Context& context, const std::string& name, const svf::PlayReport& played,
              Json mismatches) {
    const double seconds = std::chrono::duration<double>(played.elapsed).count();
    const bool good = played.mismatches == 0;
    const std::string verdict =
        good ? context.out.tone(Tone::Good, "all scans answered as expected")
             : context.out.tone(Tone::Bad,
                                fmt::format("{} of {} compared scans answered wrong{}",
                                            played.mismatches, played.summary.compared_scans,
                                            played.complete ? "" : "; stopped there"));
    context.out.line("{}: {}", name, verdict);
    context.out.line("  {}", summary_text(played.summary));
    if (context.out.watched()) {
        context.out.line(
            "  {:.3f} s, {}/s", seconds,
            byte_text(static_cast<double>(played.summary.bytes) / std::max(seconds, 1e-9)));
    }
    if (played.overlong_runs != 0) {
        context.out.line("  {} RUNTEST took longer than its MAXIMUM, the first on line {}",
                         played.overlong_runs, played.first_overlong_line);
    }
    Json document{{"file", name},
                  {"passed", good},
                  {"complete", played.complete},
                  {"mismatches", std::move(mismatches)},
                  {"mismatch_count", played.mismatches},
                  {"overlong_runs", played.overlong_runs},
                  {"seconds", seconds},
                  {"summary", summary_json(played.summary)}};
    context.out.result(document);
    return {};
}

Status play(Context& context, svf::ByteSource& source, JtagPort& port, const SvfOptions& options,
            ProgressBar& bar) {
    // A file may have any number of mismatches; the document lists the first ones.
    constexpr size_t kListed = 1000;
    Json mismatches = Json::array();
    svf::PlayOptions play;
    play.keep_going = options.keep_going;
    play.reset_first = !options.no_reset;
    play.progress = progress_hook(bar);
    play.on_mismatch = [&](const svf::Mismatch& mismatch) {
        if (mismatches.size() < kListed) {
            mismatches.push_back(mismatch_json(mismatch));
        }
        if (options.keep_going && !context.out.json()) {
            bar.clear();
            context.out.line("{}", headline(svf::to_error(mismatch, source.name())));
        }
    };
    Result<svf::PlayReport> played =
        options.no_check ? svf::play(source, port, play) : svf::check_and_play(source, port, play);
    bar.clear();
    if (!played) {
        return told(played.error());
    }
    if (Status status = port.flush(); !status) {
        return status;
    }
    if (Status status = report(context, source.name(), *played, std::move(mismatches)); !status) {
        return status;
    }
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
    return error;
}

Status svf_command(Context& context, const SvfOptions& options) {
    auto source = svf::FileSource::open(options.file);
    if (!source) {
        return std::move(source).error();
    }
    const Result<Session*> session = context.session();
    if (!session) {
        return session.error();
    }
    (*session)->port().set_receive_mode(options.exact ? PodPort::ReceiveMode::Exact
                                                      : PodPort::ReceiveMode::Adjusted);
    const bool bar_shown =
        options.progress == "always" || (options.progress == "auto" && context.out.watched());
    ProgressBar bar(bar_shown);
    if (options.dry_run) {
        return dry_run(context, **source, (*session)->port(), options, bar);
    }
    return play(context, **source, (*session)->port(), options, bar);
}

} // namespace

void add_svf(CommandSet& commands) {
    const auto options = command_options<SvfOptions>();
    CLI::App& command =
        commands.add("svf", "Check an SVF file, then play it",
                     [options](Context& context) { return svf_command(context, *options); });
    command.add_option("FILE", options->file, "SVF file; - is the standard input")->required();
    command.add_flag("--keep-going", options->keep_going, "Go on after a scan answers wrong");
    command.add_flag("--dry-run", options->dry_run, "Only check whether the pod can play it");
    command.add_flag("--no-check", options->no_check,
                     "Play at once, without checking the whole file first");
    command.add_flag("--no-reset", options->no_reset,
                     "Do not begin in Test-Logic-Reset, but where the TAP stands");
    command.add_flag("--exact", options->exact,
                     "For scans longer than their path: shift each one that is compared twice");
    command
        .add_option("--progress", options->progress,
                    "Progress bar: always, never, or auto: on a terminal")
        ->check(CLI::IsMember({"always", "never", "auto"}))
        ->capture_default_str();
}

} // namespace talvor
