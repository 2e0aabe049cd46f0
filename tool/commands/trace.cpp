// talvor trace: runs another command on a simulated pod with a waveform, and draws it.
#include "common/temporary.h"
#include "host/session/shift_passes.h"
#include "host/waveform/svg.h"
#include "host/waveform/text.h"
#include "host/waveform/vcd.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"
#include "tool/commands/inner_command.h"
#include "tool/output/standard_streams.h"
#include "tool/output/terminal.h"
#include "tool/output/text_file.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvor {
namespace {

constexpr const char* kNextStep =
    "write the command and its options last, as in: talvor trace chain";

struct TraceOptions {
    std::string svg;
    std::string vcd;
    std::string title;
    bool text = false;
    uint64_t first = 0;
    uint64_t count = 200;
    bool last = false;
    bool vcd_plain = false;
    uint64_t vcd_bytes = WaveformFile::kDefaultBytes;
    std::vector<std::string> command;
};

Result<waveform::Window> window_of(const std::string& vcd, const TraceOptions& options) {
    if (!options.last) {
        return waveform::Window{options.first, options.count};
    }
    // How many there are is only known at the end.
    const uint64_t total = TRY(waveform::read_vcd_file(vcd, {0, 0})).total_tcks;
    return waveform::Window{total - std::min(total, options.count), options.count};
}

using Passes = std::vector<waveform::ShiftPass>;

// What somebody would look for and not find, in the drawing or in the file that is kept.
void tell_what_is_missing(const Output& out, const TraceOptions& options,
                          const waveform::Waveform& trace) {
    if (trace.samples.empty() && trace.total_tcks != 0) {
        out.note(fmt::format("nothing is drawn: the waveform ends before TCK {}, and --first is {}",
                             trace.total_tcks, options.first));
    }
    if (trace.ends_early && (trace.samples.empty() || !options.vcd.empty())) {
        out.note(fmt::format("the waveform reached its {} bytes, and what followed TCK {} is not "
                             "in it: see --vcd-bytes and --last",
                             options.vcd_bytes, trace.total_tcks));
    }
    if (trace.missing_tcks != 0 && !options.vcd.empty()) {
        out.note(fmt::format("{} begins with TCK {}: it reached its {} bytes, see --vcd-bytes",
                             options.vcd, trace.missing_tcks, options.vcd_bytes));
    }
}

Status draw(const Output& out, const std::string& vcd, const TraceOptions& options, Passes passes) {
    const waveform::Window window = TRY(window_of(vcd, options));
    waveform::Waveform trace = TRY(waveform::read_vcd_file(vcd, window));
    trace.passes = std::move(passes);
    if (!options.svg.empty()) {
        TRY(write_text_file(options.svg, waveform::to_svg(trace, {.title = options.title})));
        out.line("{}: TCKs {} to {} of {}{}", options.svg, trace.first_tck,
                 trace.first_tck + trace.samples.size(), trace.ends_early ? "more than " : "",
                 trace.total_tcks);
    }
    // A document stays one, unless the drawing is asked for beside it.
    if (options.text || (options.svg.empty() && !out.json())) {
        write_output(waveform::to_text(
            trace, {.width = terminal_width(), .unicode = speaks_utf8(), .color = out.coloured()}));
    }
    tell_what_is_missing(out, options, trace);
    return {};
}

// Runs the inner command on a simulated pod that writes `vcd`, and draws that.
Status run_and_draw(Context& context, const Action& action, const std::string& vcd,
                    const TraceOptions& options) {
    TRY(context.start_simulator(WaveformFile{.path = vcd,
                                             .bytes = options.vcd_bytes,
                                             .keep_last = options.last,
                                             .plain = options.vcd_plain}));
    Passes passes;
    context.on_shift = [&passes](const ShiftMark& mark) { add_pass(passes, mark); };
    const Status done = action(context);
    // Only then the waveform is whole.
    const Status closed = context.close();
    context.on_shift = nullptr;
    // The last clocks of a waveform that was cut short are not those that were asked for.
    if (!closed && options.last) {
        return done ? closed : done;
    }
    // What went wrong is worth looking at, too.
    const Status drawn = draw(context.out, vcd, options, std::move(passes));
    TRY(done);
    TRY(closed);
    return drawn;
}

Status trace(Context& context, const TraceOptions& options) {
    // Only the simulated pod sees every edge.
    context.options.simulate = true;
    if (options.command.empty()) {
        return usage_error("", "A command is required", kNextStep);
    }
    if (options.vcd_plain && options.vcd.empty()) {
        return usage_error("--vcd-plain", "there is no file that it is about",
                           "name one with --vcd");
    }
    const Action action = TRY(inner_action(context, options.command, kNextStep));
    if (!action) {
        return {};
    }
    context.out.set_json(context.options.json);
    if (!options.vcd.empty()) {
        return run_and_draw(context, action, options.vcd, options);
    }
    const Result<TemporaryFile> scratch = TemporaryFile::create();
    if (!scratch) {
        return file_error(scratch.error().thing, scratch.error().reason, "set TMPDIR");
    }
    return run_and_draw(context, action, scratch->path(), options);
}

} // namespace

void add_trace(Command& program) {
    const auto options = command_options<TraceOptions>();
    Command command = program.command(
        "trace", "Run another command on a simulated pod, and draw what its target saw",
        [options](Context& context) { return trace(context, *options); });
    Option svg = command.option("--svg", options->svg, "Draw into this file");
    svg.type_name("FILE");
    command.option("--title", options->title, "Title of the picture").needs(svg);
    command.flag("--text", options->text, "Draw in the terminal, also beside --svg");
    command.option("--vcd", options->vcd, "Keep the whole waveform in this file").type_name("FILE");
    command
        .option("--vcd-bytes", options->vcd_bytes,
                "Largest size of the waveform, 0: no limit; beyond it the clocks that follow are "
                "lost, with --last those at the beginning")
        .type_name("N")
        .show_default();
    command.flag("--vcd-plain", options->vcd_plain,
                 "Wires of one bit only in that file, no names of states, as sigrok likes it");
    Option first = command.option("--first", options->first, "First TCK to draw");
    first.show_default();
    command.option("--count", options->count, "How many TCKs to draw").positive().show_default();
    command.flag("--last", options->last, "Draw the last TCKs instead of the first")
        .excludes(first);
    command.footer("COMMAND and its options stand last: talvor trace --svg scan.svg chain");
    // Everything from the inner command on is its own.
    command.take_rest(options->command);
}

} // namespace talvor
