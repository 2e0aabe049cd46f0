// talvor trace: runs another command on a simulated pod with a waveform, and draws it.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/ioctl.h>
#include <unistd.h>

#include "commands/app.h"
#include "commands/command_set.h"
#include "waveform/svg.h"
#include "waveform/text.h"
#include "waveform/vcd.h"

namespace talvor {
namespace {

struct TraceOptions {
    std::string svg;
    std::string vcd;
    std::string title;
    bool text = false;
    uint64_t first = 0;
    uint64_t count = 200;
    bool last = false;
    std::vector<std::string> command;
};

// A file of our own for the waveform, gone with the object.
class ScratchFile {
public:
    static Result<ScratchFile> make() {
        std::error_code error;
        std::string path = (std::filesystem::temp_directory_path(error) / "talvor-XXXXXX").string();
        const int fd = mkstemp(path.data());
        if (fd < 0) {
            return Error{ErrorKind::BadFile, 0, path, "cannot be made", "set TMPDIR"};
        }
        close(fd);
        return ScratchFile(std::move(path));
    }
    ~ScratchFile() {
        if (!path_.empty()) {
            unlink(path_.c_str());
        }
    }
    ScratchFile(ScratchFile&& other) noexcept : path_(std::exchange(other.path_, "")) {}
    ScratchFile& operator=(ScratchFile&&) = delete;

    [[nodiscard]] const std::string& path() const noexcept { return path_; }

private:
    explicit ScratchFile(std::string path) : path_(std::move(path)) {}
    std::string path_;
};

size_t terminal_width() {
    constexpr size_t kStandard = 100;
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col
                                                                            : kStandard;
}

Status write_file(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file) {
        return Error{ErrorKind::BadFile, 0, path, "cannot be written", ""};
    }
    return {};
}

// Parses the inner command with the options that stand before it, and answers what it does.
Result<Action> inner_action(Context& context, const std::vector<std::string>& words) {
    auto app = std::make_shared<CLI::App>("", "talvor");
    auto commands = std::make_shared<CommandSet>(*app);
    build_command_line(*app, *commands, context.options);
    try {
        const std::vector<std::string> arguments = join_simulate(words);
        app->parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::ParseError& error) {
        Error usage = parse_error(*app, error);
        usage.next_step = "write the command and its options last, as in: talvor trace chain";
        return usage;
    }
    // The options live as long as the action is kept.
    return Action([app, commands](Context& inner) { return commands->chosen()(inner); });
}

Status draw(const Output& out, const std::string& vcd, const TraceOptions& options) {
    waveform::Window window{options.first, options.count};
    if (options.last) {
        // How many there are is only known at the end.
        const Result<waveform::Waveform> size = waveform::read_vcd_file(vcd, {0, 0});
        if (!size) {
            return size.error();
        }
        window.first_tck = size->total_tcks - std::min(size->total_tcks, options.count);
    }
    const Result<waveform::Waveform> trace = waveform::read_vcd_file(vcd, window);
    if (!trace) {
        return trace.error();
    }
    if (!options.svg.empty()) {
        if (Status status =
                write_file(options.svg, waveform::to_svg(*trace, {.title = options.title}));
            !status) {
            return status;
        }
        out.line("{}: TCKs {} to {} of {}", options.svg, trace->first_tck,
                 trace->first_tck + trace->samples.size(), trace->total_tcks);
    }
    // A document stays one, unless the drawing is asked for beside it.
    if (options.text || (options.svg.empty() && !out.json())) {
        fmt::print("{}",
                   waveform::to_text(*trace, {.width = terminal_width(), .color = out.coloured()}));
    }
    return {};
}

Status trace(Context& context, const TraceOptions& options) {
    if (!context.options.simulate) {
        // Only the simulated pod sees every edge.
        context.options.simulate = true;
    }
    if (options.command.empty()) {
        return Error{ErrorKind::Usage, 0, "", "A command is required",
                     "write the command and its options last, as in: talvor trace chain"};
    }
    const Result<Action> action = inner_action(context, options.command);
    if (!action) {
        return action.error();
    }
    context.out.set_json(context.options.json);
    Result<ScratchFile> scratch = ScratchFile::make();
    if (!scratch) {
        return std::move(scratch).error();
    }
    const std::string vcd = options.vcd.empty() ? scratch->path() : options.vcd;
    if (Status status = context.start_simulator(vcd); !status) {
        return status;
    }
    Status status = (*action)(context);
    // Only then the waveform is whole.
    if (Status closed = context.close(); !closed && status) {
        status = closed;
    }
    // What went wrong is worth looking at, too.
    if (Status drawn = draw(context.out, vcd, options); !drawn && status) {
        status = drawn;
    }
    return status;
}

} // namespace

void add_trace(CommandSet& commands) {
    const auto options = command_options<TraceOptions>();
    CLI::App& command = commands.add(
        "trace", "Run another command on a simulated pod, and draw what its target saw",
        [options](Context& context) { return trace(context, *options); });
    command.add_option("--svg", options->svg, "Draw into this file")->type_name("FILE");
    command.add_option("--title", options->title, "Title of the picture");
    command.add_flag("--text", options->text, "Draw in the terminal, also beside --svg");
    command.add_option("--vcd", options->vcd, "Keep the whole waveform in this file")
        ->type_name("FILE");
    command.add_option("--first", options->first, "First TCK to draw")->capture_default_str();
    command.add_option("--count", options->count, "How many TCKs to draw")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    command.add_flag("--last", options->last, "Draw the last TCKs instead of the first");
    // Everything from the inner command on is its own.
    command.fallthrough(false);
    command.prefix_command();
    command.footer("COMMAND and its options stand last: talvor trace --svg scan.svg chain");
    command.parse_complete_callback(
        [options, &command] { options->command = command.remaining(); });
}

} // namespace talvor
