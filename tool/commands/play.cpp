// talvor play, svf, xsvf, stapl: check and play a file, whatever its format.
#include "common/interrupt.h"
#include "host/format/format.h"
#include "host/play/performance.h"
#include "host/play/player.h"
#include "host/play/source.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"
#include "tool/commands/play_device.h"
#include "tool/commands/play_picture.h"
#include "tool/commands/play_program.h"
#include "tool/commands/play_run.h"
#include "tool/commands/unanswered.h"
#include "tool/output/progress_bar.h"

#include <fmt/format.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace talvor {
namespace {

struct PlayFileOptions {
    std::string command;              // as the user calls it
    std::optional<FileFormat> format; // nothing: the file's content tells
    std::string file;
    std::string device; // name or number; "": the whole chain
    std::string junit;
    stapl::PlayableOptions program; // STAPL; `strict` is that of every format
    bool list = false;
    PictureOptions picture;
    bool keep_going = false;
    bool dry_run = false;
    bool no_reset = false;
    bool no_check = false;
    bool exact = false;
    bool fast = false;
    std::string progress = "auto";
};

play::ProgressHook progress_hook(ProgressBar& bar) {
    return [&bar](const play::Progress& progress) {
        bar.show(progress.pass == play::Pass::Check ? "check" : "play", progress.bytes_done,
                 progress.bytes_total);
        return interrupt_signal() == 0;
    };
}

// Why a pass ended. The progress hook can only say stop; the reason is the user's.
Error told(Error error, const PlayFileOptions& options) {
    Status interrupted = check_interrupt();
    if (!interrupted) {
        return std::move(interrupted).error();
    }
    return options.fast ? error : unanswered(std::move(error));
}

// What to do about it, where the error does not say.
Error advised(Error error) {
    if (error.kind == ErrorKind::BadFile && error.next_step.empty()) {
        error.next_step = "correct the file there; --dry-run checks it and shifts nothing";
    }
    return error;
}

// Notes each mismatch, and prints it where the playing goes on.
play::PlayOptions play_options(const Output& out, const PlayFileOptions& options, ProgressBar& bar,
                               PlayRun& run, std::optional<PlayPicture>& picture) {
    play::PlayOptions how;
    how.keep_going = options.keep_going;
    how.reset_first = !options.no_reset;
    how.progress = progress_hook(bar);
    if (picture) {
        how.on_statement = [&picture](uint64_t line) { picture->begin_statement(line); };
    }
    how.on_mismatch = [&](const play::Mismatch& mismatch) {
        run.note(mismatch);
        if (picture) {
            picture->fail();
        }
        if (options.keep_going && !out.json()) {
            bar.clear();
            out.line("{}", headline(play::to_error(mismatch, run.file)));
        }
    };
    return how;
}

PlayDevice::Look look_of(const PlayFileOptions& options) {
    return options.dry_run    ? PlayDevice::Look::ShiftsNothing
           : options.no_reset ? PlayDevice::Look::ResetsNothing
                              : PlayDevice::Look::Yes;
}

// Checks the file unless the options say no. Whether it is played then.
bool check_first(play::Performer& performer, const PlayFileOptions& options, ProgressBar& bar) {
    if (!options.dry_run && options.no_check) {
        return true;
    }
    return performer.check(progress_hook(bar), !options.dry_run) && !options.dry_run;
}

// Checks and plays as the options say, and notes in `run` what came of it. `program`, where the
// file is one, is null otherwise.
void check_and_play(play::StepSource& source, stapl::Playable* program, PlayDevice& device,
                    const PlayFileOptions& options, const Output& out, ProgressBar& bar,
                    PlayRun& run, std::optional<PlayPicture>& picture) {
    play::Performer performer(source, run);
    if (check_first(performer, options, bar)) {
        if (Status found = device.find(); !found) {
            run.error = std::move(found).error();
            return;
        }
        if (program != nullptr) {
            program->perform(listener(out, bar, *run.program));
        }
        const bool played =
            performer.play(device.port(), play_options(out, options, bar, run, picture));
        if (Status left = played ? device.leave() : Status(); !left) {
            run.error = std::move(left).error();
        }
    }
    if (run.error) {
        run.error = told(*std::move(run.error), options);
    }
}

// The same with the reader of the format. An error: the program of a STAPL file cannot be read.
Status play_format(play::ByteSource& source, FileFormat format, PlayDevice& device,
                   const PlayFileOptions& options, const Output& out, ProgressBar& bar,
                   PlayRun& run, std::optional<PlayPicture>& picture) {
    if (format != FileFormat::Stapl) {
        const auto steps = open_steps(format, source, device.port(), options.program.strict);
        check_and_play(*steps, nullptr, device, options, out, bar, run, picture);
        return {};
    }
    const auto program = TRY(open_program(source, device.port(), options.program));
    run.program.emplace();
    check_and_play(program->steps(), program.get(), device, options, out, bar, run, picture);
    program->tell(*run.program, run.played && run.played->complete);
    return {};
}

Status report(Context& context, const PlayRun& run, const PlayFileOptions& options) {
    print(context.out, run);
    std::optional<Error> error = error_of(run);
    if (error) {
        error = advised(*std::move(error));
    }
    context.out.result(document(run, error));
    if (!options.junit.empty()) {
        TRY(junit_of(run).write(options.junit));
    }
    if (!error) {
        return {};
    }
    // The document, where one was asked for, has been printed: the error is only said.
    context.out.set_json(false);
    return Failure(*std::move(error));
}

Status check_picture(const PlayFileOptions& options) {
    if (options.picture.line != 0 && options.picture.svg.empty()) {
        return usage_error("--around", "there is no picture that it is about",
                           "name one with --svg");
    }
    if (options.dry_run && !options.picture.svg.empty()) {
        return usage_error("--svg", "nothing is played with --dry-run", "give one of them");
    }
    return {};
}

Status play_command(Context& context, const PlayFileOptions& options) {
    TRY(check_picture(options));
    const auto source = TRY(play::FileSource::open(options.file));
    const FileFormat format = options.format ? *options.format : TRY(format_by_content(*source));
    if (format != FileFormat::Stapl) {
        TRY(stapl::check_no_choices(options.program, options.file, name_of(format)));
    }
    if (options.list) {
        return list_program(context.out, *source);
    }
    std::optional<PlayPicture> picture;
    if (!options.picture.svg.empty()) {
        picture.emplace(TRY(PlayPicture::prepare(context, options.picture, options.keep_going)));
    }
    Session& session = *TRY(context.session());
    session.port().set_receive_mode(options.fast ? PodPort::ReceiveMode::Adjusted
                                                 : PodPort::ReceiveMode::Exact);
    PlayDevice device(session, options.device, look_of(options));
    TRY(device.describe(context));
    const bool bar_shown =
        options.progress == "always" || (options.progress == "auto" && context.out.watched());
    ProgressBar bar(bar_shown, context.out.reports());
    PlayRun run;
    run.command = options.command;
    run.file = source->name();
    run.dry_run = options.dry_run;
    TRY(play_format(*source, format, device, options, context.out, bar, run, picture));
    run.device = {device.number(), device.name()};
    bar.clear();
    const Status reported = report(context, run, options);
    const Status drawn =
        picture && run.played ? picture->draw(run.file, run.error.has_value()) : Status();
    return reported ? drawn : reported;
}

// With --dry-run nothing is played, so that none of these has a say.
void add_ways_to_play(Command& command, PlayFileOptions& options, const Option& dry_run) {
    const auto flag = [&](const char* name, bool& value, const char* about) {
        return command.flag(name, value, about).excludes(dry_run);
    };
    flag("--keep-going", options.keep_going, "Go on after a scan answers wrong");
    flag("--no-check", options.no_check, "Play at once, without checking the whole file first");
    flag("--no-reset", options.no_reset,
         "Do not begin in Test-Logic-Reset, but where the TAP stands");
    const Option exact =
        flag("--exact", options.exact,
             "Every answer is that of the same clocks on a bare TAP; this is the default");
    flag("--fast", options.fast,
         "Leave the pod's return path to the driver: wrong for scans that are longer or "
         "shorter than their path")
        .excludes(exact);
}

void add_picture(Command& command, PlayFileOptions& options) {
    command
        .option("--svg", options.picture.svg,
                "With --simulate: draw the statement that fails into this file")
        .type_name("FILE");
    command.option("--around", options.picture.line, "Draw the statement at this line instead")
        .type_name("LINE")
        .positive();
}

// One of the commands that play: all of them have the same options.
void add_play_command(Command& program, const char* name, std::optional<FileFormat> format,
                      const char* about, const char* file) {
    const auto options = command_options<PlayFileOptions>();
    options->command = name;
    options->format = format;
    Command command = program.command(
        name, about, [options](Context& context) { return play_command(context, *options); });
    command.option("FILE", options->file, file).required();
    Option dry_run =
        command.flag("--dry-run", options->dry_run, "Only check whether the pod can play it");
    add_ways_to_play(command, *options, dry_run);
    command
        .option("--device", options->device,
                "The file is for this device alone, by its name or its number from 1, nearest TDI "
                "first; the others are in BYPASS")
        .type_name("DEVICE");
    command.option("--junit", options->junit, "Write the results as JUnit XML into this file")
        .type_name("FILE");
    add_picture(command, *options);
    if (format.value_or(FileFormat::Stapl) == FileFormat::Stapl) {
        add_program_options(command, options->program);
    }
    if (format == FileFormat::Stapl) {
        command.flag("--list", options->list,
                     "Print notes, actions and procedures of the file, and play nothing");
    }
    command
        .option("--progress", options->progress,
                "Progress bar: always, never, or auto: on a terminal")
        .one_of({"always", "never", "auto"})
        .show_default();
    command.flag("--strict", options->program.strict,
                 "Refuse what the pod can only play otherwise than written, to the same effect");
}

} // namespace

void add_play(Command& program) {
    add_play_command(program, "play", std::nullopt,
                     "Check a file of any known format, then play it",
                     "SVF, XSVF or STAPL file, told apart by the content; - is the standard input");
    add_play_command(program, "svf", FileFormat::Svf, "Check an SVF file, then play it",
                     "SVF file; - is the standard input");
    add_play_command(program, "xsvf", FileFormat::Xsvf, "Check an XSVF file, then play it",
                     "XSVF file; - is the standard input");
    add_play_command(program, "stapl", FileFormat::Stapl,
                     "Check a STAPL file (JESD71), then play one of its actions",
                     "STAPL file; - is the standard input");
}

} // namespace talvor
