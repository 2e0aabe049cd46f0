#include "podsim/main/options.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string_view>

namespace talvor::podsim {
namespace {

constexpr int kWrongUsage = 2;
constexpr int64_t kLongestSpinUs = 1'000'000;

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

void add_serve_options(CLI::App& app, Options& options, int64_t& spin_us) {
    app.add_option("DESCRIPTION", options.description,
                   "description file of the pods and their chains; a single pod without it");
    app.add_option("--script", options.script, "file of fault commands at fixed batches");
    app.add_option("--control", options.control, "UNIX socket that takes fault commands");
    app.add_flag("--strict", options.station.strict,
                 "a host's mistake fails the batch instead of a warning");
    app.add_option("--spin", spin_us,
                   "microseconds that a worker spins for the next batch before it sleeps")
        ->check(CLI::Range(int64_t{0}, kLongestSpinUs))
        ->capture_default_str();
    app.add_option("--vcd", options.station.vcd, "Value Change Dump of what the target sees");
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
    app.add_option("--log-file", options.log_file, "the log's file instead of standard error");
    app.add_option("--ready-file", options.ready_file, "file to make when the pods are served");
    app.add_option("--ready-fd", options.ready_fd,
                   "descriptor to write a line to when the pods are served")
        ->check(CLI::NonNegativeNumber);
    app.add_option("--end-with", options.parent,
                   "end when the process PID ends, which must be the parent")
        ->option_text("PID")
        ->check(CLI::PositiveNumber);
    // Taken off the arguments before; here for the help text.
    app.add_flag("--private", options.is_private,
                 "run with COMMAND... in a /dev/shm of their own; last, as in\n"
                 "--private [--] COMMAND ARGUMENTS");
}

CLI::App* add_ctl(CLI::App& app, Options& options, std::vector<std::string>& words) {
    CLI::App* ctl = app.add_subcommand("ctl", "send a fault command to a running simulator");
    ctl->add_option("--control", options.control, "its control socket")
        ->envname(kControlVariable)
        ->required();
    ctl->add_option("COMMAND", words,
                    "power off|on, clock off|on, emu0|emu1 high|low, fail N, "
                    "refuse N, latency MICROSECONDS, loopback FAULT, unplug, "
                    "plug, status; 'pod SERIAL' first chooses a pod")
        ->required();
    ctl->positionals_at_end();
    return ctl;
}

Options finished(int status) {
    Options options;
    options.status = status;
    return options;
}

} // namespace

Options parse_command_line(int argc, char** argv) {
    Options options;
    std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.empty() || arguments[0] != "ctl") {
        take_private_command(arguments, options);
    }
    CLI::App app("A pod proxy with simulated pods and targets.", "talvor-podsim");
    app.set_version_flag("--version", "talvor-podsim " TALVOR_VERSION);
    int64_t spin_us = options.station.spin.count();
    std::vector<std::string> words;
    add_serve_options(app, options, spin_us);
    const CLI::App* ctl = add_ctl(app, options, words);
    try {
        std::reverse(arguments.begin(), arguments.end());
        app.parse(arguments);
    } catch (const CLI::ParseError& error) {
        return finished(app.exit(error) == 0 ? 0 : kWrongUsage);
    }
    options.station.spin = std::chrono::microseconds(spin_us);
    if (ctl->parsed()) {
        options.action = Options::Action::Ask;
        options.question = fmt::format("{}", fmt::join(words, " "));
        return options;
    }
    if (options.is_private && options.command.empty()) {
        std::fputs("talvor-podsim: --private needs a command to run\n"
                   "Run with --help for more information.\n",
                   stderr);
        return finished(kWrongUsage);
    }
    options.action = Options::Action::Serve;
    return options;
}

} // namespace talvor::podsim
