#include "tool/commands/app.h"

#include "common/interrupt.h"
#include "common/text.h"
#include "host/board/configuration.h"
#include "tool/commands/commands.h"
#include "tool/commands/gang.h"
#include "tool/commands/values.h"
#include "tool/output/standard_streams.h"

#include <algorithm>
#include <chrono>
#include <csignal>

#ifndef TALVOR_VERSION
#define TALVOR_VERSION "unknown"
#endif

namespace talvor {
namespace {

constexpr const char* kFooter =
    "Exit status: 0 done, 1 the target or pod says no, 2 usage or bad file, 124 --timeout.\n"
    "Without a pod on the desk: talvor --simulate chain";

// A year, which a count of nanoseconds has room for.
constexpr double kLongestTimeout = 366.0 * 86400;

constexpr const char* kDescriptionOption = "--simulate-description";

void add_board_options(Command& program, CommonOptions& options) {
    Option board = program.option("--board", options.board,
                                  "Board file (TOML); else $TALVOR_BOARD, talvor.toml here or "
                                  "above, or in ~/.config/talvor");
    board.type_name("FILE");
    program.flag("--no-board", options.no_board, "No board file, also where one would be found")
        .excludes(board);
    program.option("--library", options.library, "Driver library; else the one beside this program")
        .type_name("FILE");
    Option pod =
        program.option("--pod", options.pod, "Serial number of the pod; else the first one");
    pod.type_name("SERIAL");
    add_gang_options(program, options, pod);
    program
        .option("--wait", options.wait_seconds,
                "Wait so many seconds for a pod that another host uses; else that is an error")
        .type_name("SECONDS")
        .not_negative();
    program.flag("--share", options.share,
                 "Go on beside a host that uses the pod: the two must never work at one time");
}

void add_simulation_options(Command& program, CommonOptions& options) {
    program.flag("--simulate", options.simulate,
                 "Start a simulated pod for this command; --simulate=FILE.toml describes "
                 "it, else it is a chain of five devices");
    const auto describe = [&options](const std::string& file) -> Status {
        if (file.empty()) {
            return usage_error("--simulate=", "names no description file; without = it is a chain "
                                              "of five devices");
        }
        options.simulate = true;
        options.description = file;
        return {};
    };
    program.option(kDescriptionOption, describe, "").hidden("--simulate");
}

void add_target_options(Command& program, CommonOptions& options) {
    program
        .option("--link", options.link_delay,
                "Link delay in test clocks, before that of the board file")
        .type_name("CLOCKS")
        .range(0, kMaximumLinkDelay);
    const auto take_clock = [&options](const std::string& text) -> Status {
        options.max_hertz = TRY(parse_frequency(text, "--tck"));
        return {};
    };
    program
        .option("--tck", take_clock,
                "Highest test clock, as in 10MHz; before the board file's divider")
        .type_name("FREQUENCY");
    const auto take_lengths = [&options](const std::string& list) -> Status {
        options.instruction_lengths = TRY(parse_lengths(list, "--ir-lengths"));
        return {};
    };
    program
        .option("--ir-lengths", take_lengths, "Instruction lengths, nearest TDI first, as in 4,5,8")
        .type_name("BITS,...");
    program
        .option("--bsdl", options.descriptions,
                "Folder of BSDL files, which describe the devices whose IDCODE they have")
        .type_name("FOLDER");
}

// What timeout(1) ends with.
constexpr int kTimeIsOver = 124;

// Whatever else went wrong by then is a consequence, or may be one.
int end_of_time(const Context& context, const Error& error) {
    const Error over = check_interrupt().error();
    if (error.reason == over.reason) {
        context.report(error);
        return kTimeIsOver;
    }
    context.report(over);
    context.out.note("meanwhile: " + headline(error));
    return kTimeIsOver;
}

int finish(Context& context, const Status& status) {
    if (status) {
        return 0;
    }
    if (time_is_over()) {
        return end_of_time(context, status.error());
    }
    context.report(status.error());
    return status.error().exit_status();
}

} // namespace

std::vector<std::string> join_simulate(std::vector<std::string> arguments) {
    std::vector<std::string> joined;
    for (size_t i = 0; i < arguments.size(); ++i) {
        constexpr std::string_view kSimulate = "--simulate";
        constexpr std::string_view kWithValue = "--simulate=";
        std::string& argument = arguments[i];
        if (argument == kSimulate && i + 1 < arguments.size() &&
            arguments[i + 1].ends_with(".toml")) {
            joined.emplace_back(kDescriptionOption);
            joined.push_back(std::move(arguments[++i]));
        } else if (argument.starts_with(kWithValue)) {
            joined.emplace_back(kDescriptionOption);
            joined.push_back(argument.substr(kWithValue.size()));
        } else {
            joined.push_back(std::move(argument));
        }
    }
    return joined;
}

void add_session_commands(Command& program) {
    for (const auto add :
         {add_info,    add_chain, add_ir,    add_dr,           add_state, add_reset, add_status,
          add_link,    add_reg,   add_pins,  add_interconnect, add_tclk,  add_shmoo, add_play,
          add_convert, add_bsdl,  add_bench, add_doctor,       add_init,  add_run}) {
        add(program);
    }
}

std::vector<std::string> pod_options(std::vector<std::string> more) {
    more.insert(more.end(), {"--pod", "--wait", "--share", "--link", "--tck", "--ir-lengths",
                             "--bsdl", "--patience"});
    return more;
}

void build_command_line(CommandLine& line, CommonOptions& options) {
    line.set_version("talvor " TALVOR_VERSION);
    Command program = line.program();
    program.footer(kFooter);
    add_board_options(program, options);
    add_simulation_options(program, options);
    add_target_options(program, options);
    program
        .option("--patience", options.patience_seconds,
                "Seconds that the proxy may take for one answer; 0 is for ever")
        .type_name("SECONDS")
        .not_negative()
        .show_default();
    program
        .option("--timeout", options.timeout_seconds,
                "End the command after so many seconds, with the exit status 124")
        .type_name("SECONDS")
        .positive();
    program.flag("-v,--verbose", options.verbose, "Say which board file is taken");
    program.flag("--json", options.json, "Print one JSON document instead of text");
    add_session_commands(program);
    // These begin with a connection, or a simulated pod, of their own.
    for (const auto add : {add_shell, add_serve, add_trace, add_record, add_completion}) {
        add(program);
    }
}

namespace {

void limit_time(double seconds) {
    if (seconds > 0) {
        interrupt_after(std::chrono::duration_cast<std::chrono::nanoseconds>(
                            std::chrono::duration<double>(std::min(seconds, kLongestTimeout))),
                        fmt::format("the {} that --timeout gives {} over", seconds_text(seconds),
                                    seconds == 1 ? "is" : "are"));
    }
}

// Parses and runs; the exit status.
int run(Context& context, std::vector<std::string> arguments) {
    CommandLine line("talvor", kProgramSummary);
    build_command_line(line, context.options);
    arguments = join_simulate(std::move(arguments));
    // Errors before the parsing has come to --json are reported as it asks all the same.
    context.out.set_json(std::find(arguments.begin(), arguments.end(), "--json") !=
                         arguments.end());
    const auto outcome = line.parse(arguments);
    if (!outcome) {
        context.out.error(outcome.error());
        return outcome.error().exit_status();
    }
    if (*outcome == CommandLine::Outcome::Printed) {
        write_output(line.printed());
        return 0;
    }
    context.out.set_json(context.options.json);
    limit_time(context.options.timeout_seconds);
    if (context.options.member) {
        serve_the_gang(context);
    }
    int status =
        finish(context, context.options.gang.pods ? run_gang(context, line.chosen_path(), arguments)
                                                  : line.chosen()(context));
    if (const Status closed = context.close(); !closed && status == 0) {
        status = finish(context, closed);
    }
    return status;
}

// The exit status once it is known whether what was printed got where it should.
int with_output(Context& context, int status) {
    const Status written = flush_output();
    if (written) {
        return status;
    }
    if (output_pipe_broken()) {
        // Whoever read has heard enough; everything was cleaned up.
        end_by_signal(SIGPIPE);
    }
    // A document cannot be told of on the same stream.
    context.out.set_json(false);
    context.out.error(written.error());
    return status != 0 ? status : written.error().exit_status();
}

} // namespace

int run_program(Context& context, std::vector<std::string> arguments) {
    const int status = with_output(context, run(context, std::move(arguments)));
    if (const int signal = interrupt_signal(); signal != 0 && !time_is_over()) {
        // The shell is to see that the program was stopped.
        end_by_signal(signal);
    }
    return status;
}

} // namespace talvor
