#include "commands/app.h"

#include <csignal>

#include "commands/values.h"
#include "session/configuration.h"
#include "session/interrupt.h"

#ifndef TALVOR_VERSION
#define TALVOR_VERSION "unknown"
#endif

namespace talvor {
namespace {

constexpr const char* kFooter =
    "Exit status: 0 done, 1 the target or pod says no, 2 usage or bad file.\n"
    "Without a pod on the desk: talvor --simulate chain";

// "4,5,8"; what is none is refused in CLI11's way, since it happens while it parses.
std::vector<uint32_t> parse_lengths(const std::string& list) {
    constexpr uint32_t kLongest = 65536;
    std::vector<uint32_t> lengths;
    for (const std::string& text : CLI::detail::split(list, ',')) {
        uint32_t length = 0;
        if (!parse_unsigned(text, length) || length < 2 || length > kLongest) {
            throw CLI::ValidationError(
                "--ir-lengths",
                fmt::format("{}: expected lengths from 2 to {}, as in 4,5,8", list, kLongest));
        }
        lengths.push_back(length);
    }
    return lengths;
}

void add_common_options(CLI::App& app, CommonOptions& options) {
    app.set_version_flag("--version", "talvor " TALVOR_VERSION);
    const auto text = [&app](const char* name, std::optional<std::string>& value,
                             const char* description, const char* kind) {
        app.add_option_function<std::string>(
               name, [&value](const std::string& given) { value = given; }, description)
            ->type_name(kind);
    };
    text("--board", options.board, "Board file (TOML); else what the pod itself suggests", "FILE");
    text("--library", options.library, "Driver library; else the one beside this program", "FILE");
    app.add_option_function<uint32_t>(
           "--pod", [&options](uint32_t serial) { options.pod = serial; },
           "Serial number of the pod; else the first one")
        ->type_name("SERIAL");
    app.add_flag_callback(
        "--simulate", [&options] { options.simulate = true; },
        "Start a simulated pod for this command; --simulate=FILE.toml describes "
        "it, else it is a chain of five devices");
    app.add_option_function<std::string>(
           "--simulate-description",
           [&options](const std::string& file) {
               options.simulate = true;
               options.description = file;
           },
           "")
        ->group("");
    app.add_option_function<int32_t>(
           "--link", [&options](int32_t delay) { options.link_delay = delay; },
           "Link delay in test clocks, before that of the board file")
        ->type_name("CLOCKS")
        ->check(CLI::Range(0, 31));
    app.add_option("--tck", options.test_clock,
                   "Highest test clock, as in 10MHz; before the board file's divider")
        ->type_name("FREQUENCY");
    app.add_option_function<std::string>(
           "--ir-lengths",
           [&options](const std::string& list) {
               options.instruction_lengths = parse_lengths(list);
           },
           "Instruction lengths, nearest TDI first, as in 4,5,8")
        ->type_name("BITS,...");
    app.add_option("--patience", options.patience_seconds,
                   "Seconds that the proxy may take for one call; 0 is for ever")
        ->type_name("SECONDS")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    app.add_flag("--json", options.json, "Print one JSON document instead of text");
}

// What CLI11 says about a word that it cannot place does not name the word.
// `met`: the level that could not place it; `deepest`: that to which the command line had come.
Error usage_error(const CLI::App& met, const CLI::App& deepest, const CLI::ParseError& error) {
    const std::vector<std::string> left = met.remaining();
    if (left.empty()) {
        return Error{ErrorKind::Usage, 0, "", error.what(), ""};
    }
    const bool wants_command = deepest.get_require_subcommand_min() != 0;
    return Error{ErrorKind::Usage, 0, left.front(),
                 wants_command && !left.front().starts_with('-') ? "is no command"
                                                                 : "is not expected here",
                 ""};
}

// CLI11's own codes are its affair: help and version are done, everything else is usage.
int report_parse_error(const Output& out, const CLI::App& app, const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
        return app.exit(error);
    }
    out.error(parse_error(app, error));
    return 2;
}

int finish(Context& context, const Status& status) {
    if (status) {
        return 0;
    }
    context.out.error(status.error());
    if (status.error().kind == ErrorKind::Pod) {
        if (const std::string words = context.simulator_words(); !words.empty()) {
            context.out.note("the simulator said: " + words);
        }
    }
    return status.error().exit_status();
}

} // namespace

Error parse_error(const CLI::App& app, const CLI::ParseError& error) {
    const CLI::App* at = &app;
    std::string name = app.get_name();
    while (!at->get_subcommands().empty()) {
        at = at->get_subcommands().front();
        name += " " + at->get_name();
    }
    Error usage = usage_error(at->remaining().empty() ? app : *at, *at, error);
    usage.next_step = fmt::format("run '{} --help'", name);
    return usage;
}

std::vector<std::string> join_simulate(std::vector<std::string> arguments) {
    std::vector<std::string> joined;
    for (size_t i = 0; i < arguments.size(); ++i) {
        constexpr std::string_view kSimulate = "--simulate";
        std::string& argument = arguments[i];
        if (argument == kSimulate && i + 1 < arguments.size() &&
            arguments[i + 1].ends_with(".toml")) {
            joined.emplace_back("--simulate-description");
            joined.push_back(std::move(arguments[++i]));
        } else if (argument.starts_with(fmt::format("{}=", kSimulate))) {
            joined.emplace_back("--simulate-description");
            joined.push_back(argument.substr(kSimulate.size() + 1));
        } else {
            joined.push_back(std::move(argument));
        }
    }
    return joined;
}

void build_command_line(CLI::App& app, CommandSet& commands, CommonOptions& options) {
    app.footer(kFooter);
    app.require_subcommand(1);
    add_common_options(app, options);
    for (const auto add :
         {add_info, add_chain, add_ir, add_dr, add_state, add_reset, add_status, add_link, add_reg,
          add_tclk, add_svf, add_trace, add_bench, add_doctor, add_completion}) {
        add(commands);
    }
}

int run_program(Context& context, std::vector<std::string> arguments) {
    CLI::App app("Drives JTAG targets through emulator pods.", "talvor");
    CommandSet commands(app);
    build_command_line(app, commands, context.options);
    arguments = join_simulate(std::move(arguments));
    // Errors before the parsing has come to --json are reported as it asks all the same.
    context.out.set_json(std::find(arguments.begin(), arguments.end(), "--json") !=
                         arguments.end());
    try {
        // CLI11 takes the arguments from the back.
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::ParseError& error) {
        return report_parse_error(context.out, app, error);
    }
    context.out.set_json(context.options.json);
    int status = finish(context, commands.chosen()(context));
    if (Status closed = context.close(); !closed && status == 0) {
        status = finish(context, closed);
    }
    if (const int signal = interrupt_signal(); signal != 0) {
        // The shell is to see that the program was stopped.
        std::fflush(nullptr);
        raise(signal);
    }
    return status;
}

} // namespace talvor
