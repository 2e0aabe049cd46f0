#include "podsim/main/options.h"

#include "common/completion.h"
#include "podsim/control/command.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <string_view>

namespace talvor::podsim {
namespace {

constexpr int kWrongUsage = 2;
constexpr int64_t kLongestSpinUs = 1'000'000;
constexpr std::array kLoopFaults{LoopFault::None,      LoopFault::HighOnes, LoopFault::LowOnes,
                                 LoopFault::HighZeros, LoopFault::LowZeros, LoopFault::Corrupt};

// Takes `--private [--] COMMAND...` off the end of the arguments. Options may stand between
// --private and an explicit `--`.
void take_private_command(std::vector<std::string>& arguments, Options& options) {
    const auto place = std::find(arguments.begin(), arguments.end(), "--private");
    if (place == arguments.end() || std::find(arguments.begin(), place, "--") != place) {
        return;
    }
    options.is_private = true;
    auto command = std::next(place);
    std::vector<std::string> between;
    if (command != arguments.end() && command->starts_with('-')) {
        const auto dashes = std::find(command, arguments.end(), "--");
        between.assign(command, dashes);
        command = dashes == arguments.end() ? dashes : std::next(dashes);
    }
    options.command.assign(command, arguments.end());
    arguments.erase(place, arguments.end());
    arguments.insert(arguments.end(), between.begin(), between.end());
}

// The command line while it is parsed.
struct CommandLine {
    CLI::App app{"A pod proxy with simulated pods and targets.", "talvor-podsim"};
    Options options;
    int64_t spin_us = options.station.spin.count();
    std::string shell;              // for a completion script; empty: none is wanted
    std::vector<std::string> words; // of the fault command
    const CLI::App* ctl = nullptr;
};

void add_serve_options(CommandLine& line) {
    CLI::App& app = line.app;
    Options& options = line.options;
    CLI::Option* const description =
        app.add_option("DESCRIPTION", options.description,
                       "description file of the pods and their chains; a single pod without it");
    app.add_flag("--print-description{single}", options.built_in,
                 "print a description to begin with: =single, what is served without a file, or "
                 "=five, what talvor --simulate serves")
        ->excludes(description);
    app.add_option("--script", options.script, "file of fault commands at fixed batches")
        ->type_name("FILE");
    app.add_option("--control", options.control, "UNIX socket that takes fault commands")
        ->type_name("SOCKET");
    app.add_flag("--strict", options.station.strict,
                 "a host's mistake fails the batch instead of a warning");
    app.add_option("--spin", line.spin_us,
                   "microseconds that a worker spins for the next batch before it sleeps")
        ->check(CLI::Range(int64_t{0}, kLongestSpinUs))
        ->capture_default_str();
    app.add_option("--vcd", options.station.vcd, "Value Change Dump of what the target sees")
        ->type_name("FILE");
    app.add_option("--vcd-bytes", options.station.vcd_limits.bytes,
                   "largest size of the dump, 0: no limit")
        ->capture_default_str();
    app.add_option("--vcd-clocks", options.station.vcd_limits.clocks,
                   "largest number of test clocks in the dump, 0: no limit")
        ->capture_default_str();
    app.add_flag("--vcd-last", options.station.vcd_limits.keep_last,
                 "at a limit the dump loses its beginning instead of ending");
    app.add_flag("--vcd-plain", options.station.vcd_limits.plain,
                 "wires of one bit only in the dump, no names of states");
    app.add_flag("--log", options.station.log_batches, "print each batch, decoded, to the log");
    app.add_option("--log-file", options.log_file, "the log's file instead of standard error")
        ->type_name("FILE");
    app.add_option("--ready-file", options.ready_file, "file to make when the pods are served")
        ->type_name("FILE");
    app.add_option("--ready-fd", options.ready_fd,
                   "descriptor to write a line to when the pods are served")
        ->check(CLI::NonNegativeNumber);
    app.add_option("--end-with", options.parent,
                   "end when the process PID ends, which must be the parent")
        ->type_name("PID")
        ->check(CLI::PositiveNumber);
    app.add_option("--completion", line.shell, "print a completion script for a shell")
        ->check(CLI::IsMember({"bash", "zsh", "fish"}));
    // Taken off the arguments before; here for the help text.
    app.add_flag("--private", options.is_private,
                 "run with COMMAND... in a /dev/shm of their own; last, behind\n"
                 "DESCRIPTION, as in --private [--] COMMAND ARGUMENTS");
}

void add_ctl(CommandLine& line) {
    CLI::App* ctl = line.app.add_subcommand("ctl", "send a fault command to a running simulator");
    ctl->add_option("--control", line.options.control, "its control socket")
        ->type_name("SOCKET")
        ->envname(kControlVariable)
        ->required();
    ctl->add_option("COMMAND", line.words,
                    "power off|on, clock off|on, emu0|emu1 high|low, fail N, "
                    "refuse N, latency MICROSECONDS, loopback FAULT, "
                    "cable ok, cable tck|tms|tdi|tdo|trst ok|open|0|1, unplug, "
                    "plug, status; of the board: fault open|short|stuck|dead|swapped PLACE..., "
                    "mend all|KIND PLACE..., core PIN 0|1|Z, drive NET 0|1|Z, level PLACE, board, "
                    "registers, register DEVICE NAME VALUE; "
                    "'pod SERIAL' first chooses a pod")
        ->required();
    ctl->positionals_at_end();
    line.ctl = ctl;
}

void build(CommandLine& line) {
    line.app.set_version_flag("--version", "talvor-podsim " TALVOR_VERSION);
    add_serve_options(line);
    add_ctl(line);
}

// The words of fault commands, each of which may be what comes next.
ValueWords fault_words() {
    std::vector<std::string> words{"power",  "clock",    "emu0", "emu1",   "fail",
                                   "refuse", "latency",  "plug", "unplug", "status",
                                   "pod",    "loopback", "cable"};
    words.insert(words.end(), {"on", "off", "high", "low"});
    words.insert(words.end(), {"fault", "mend", "core", "drive", "level", "board", "all", "open",
                               "short", "stuck", "dead", "swapped", "wired-and", "wired-or",
                               "strong", "registers", "register"});
    words.insert(words.end(), kWireNames.begin(), kWireNames.end());
    for (const LoopFault fault : kLoopFaults) {
        words.emplace_back(control::name_of(fault));
    }
    return {{"COMMAND", std::move(words)}};
}

// Whether --private has a command; says what is wrong where it has none.
bool has_command(const Options& options) {
    if (options.command.empty()) {
        std::fputs("talvor-podsim: --private needs a command to run\n"
                   "Run with --help for more information.\n",
                   stderr);
        return false;
    }
    const std::string& word = options.command.front();
    if (word.ends_with(".toml")) {
        fmt::print(stderr,
                   "talvor-podsim: {0} stands where --private has its command: the description "
                   "goes before --private\n"
                   "  next: talvor-podsim {0} --private COMMAND ARGUMENTS\n",
                   word);
        return false;
    }
    return true;
}

Options finished(int status) {
    Options options;
    options.status = status;
    return options;
}

// What a command line asks for that is right so far.
Options chosen(CommandLine& line) {
    Options& options = line.options;
    options.station.spin = std::chrono::microseconds(line.spin_us);
    if (line.ctl->parsed()) {
        options.action = Options::Action::Ask;
        options.question = fmt::format("{}", fmt::join(line.words, " "));
        return std::move(options);
    }
    if (options.is_private && !has_command(options)) {
        return finished(kWrongUsage);
    }
    options.action = options.built_in.empty() ? Options::Action::Serve : Options::Action::Print;
    return std::move(options);
}

} // namespace

CommandDescription describe_command_line() {
    CommandLine line;
    build(line);
    CommandDescription program = describe_app(line.app);
    enter_words(program, fault_words());
    for (OptionDescription& option : program.options) {
        option.takes_program = option.names.front() == "--private";
    }
    return program;
}

Options parse_command_line(int argc, char** argv) {
    CommandLine line;
    build(line);
    std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.empty() || arguments[0] != "ctl") {
        take_private_command(arguments, line.options);
    }
    try {
        std::reverse(arguments.begin(), arguments.end());
        line.app.parse(arguments);
    } catch (const CLI::ParseError& error) {
        return finished(line.app.exit(error) == 0 ? 0 : kWrongUsage);
    }
    if (!line.shell.empty()) {
        std::fputs(completion_script(*shell_named(line.shell), describe_command_line()).c_str(),
                   stdout);
        return finished(0);
    }
    return chosen(line);
}

} // namespace talvor::podsim
