// talvor tclk: test-clock arithmetic, and the search for the highest clock that works.
#include "host/clock/tclk_search.h"
#include "host/session/chain_trial.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"
#include "tool/commands/values.h"
#include "tool/output/progress_bar.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace talvor {
namespace {

struct TclkOptions {
    std::string text;
    std::string start;
    std::string finish;
    std::string minimum;
    std::string maximum;
    uint32_t advance = PLL_TCLK_MARGIN_ADVANCE;
    uint32_t retreat = PLL_TCLK_MARGIN_RETREAT;
    uint32_t bits = 16384;
};

constexpr size_t kBarWidth = 32;

// The driver's own reader takes a number without a unit, and one with a leading 0 for octal.
Result<coord_t> parse_coordinate(const Library::TestClockFunctions& functions,
                                 const std::string& text, const char* what) {
    constexpr double kHertzOfMegahertz = 1e6;
    const double hertz = TRY(parse_frequency(text, what));
    coord_t coordinate = PLL_TCLK_W_NOTHING;
    if (functions.from_text(fmt::format("{:.9f}MHz", hertz / kHertzOfMegahertz).c_str(),
                            &coordinate)) {
        return usage_error(what, fmt::format("{} is no test clock: expected up to 64MHz", text));
    }
    return coordinate;
}

int exponent_of(coord_t coordinate) {
    return static_cast<int8_t>(coordinate >> PLL_TCLK_Y_SHIFT);
}
uint32_t mantissa_of(coord_t coordinate) {
    return coordinate & 0xFFU;
}

std::string coordinate_text(coord_t coordinate) {
    return fmt::format("({}, {})", exponent_of(coordinate), mantissa_of(coordinate));
}

Status convert(Context& context, const TclkOptions& options) {
    const Library library = TRY(context.library());
    const Library::TestClockFunctions functions = TRY(library.test_clock());
    const coord_t coordinate = TRY(parse_coordinate(functions, options.text, "FREQUENCY"));
    const hertz_t hertz = functions.to_hertz(coordinate);
    TextTable table({});
    table.add({"coordinate", fmt::format("{}: 2^{} x (1 + {}/64) MHz", coordinate_text(coordinate),
                                         exponent_of(coordinate), mantissa_of(coordinate))});
    table.add({"packed", fmt::format("0x{:04X}", coordinate)});
    table.add({"as text", functions.to_text(coordinate)});
    table.add({"frequency", fmt::format("{} Hz", hertz)});
    context.out.table(table);
    context.out.result(Json{{"y", exponent_of(coordinate)},
                            {"z", mantissa_of(coordinate)},
                            {"packed", coordinate},
                            {"hertz", hertz}});
    return {};
}

Result<SearchLimits> search_limits(const Library::TestClockFunctions& functions,
                                   const TestClock& clock, const TclkOptions& options) {
    SearchLimits limits;
    // Pods of the first generation do not go down to 500 kHz.
    limits.minimum = coordinate_above(functions.to_hertz, clock.slowest());
    limits.start = limits.minimum;
    // Above what the pod can do all trials would be one.
    limits.maximum = coordinate_below(functions.to_hertz, clock.fastest());
    limits.finish = limits.maximum;
    limits.advance = options.advance;
    limits.retreat = options.retreat;
    struct Given {
        const char* option;
        const std::string& text;
        coord_t& value;
    };
    for (const Given& given : {Given{"--start", options.start, limits.start},
                               Given{"--finish", options.finish, limits.finish},
                               Given{"--minimum", options.minimum, limits.minimum},
                               Given{"--maximum", options.maximum, limits.maximum}}) {
        if (!given.text.empty()) {
            given.value = TRY(parse_coordinate(functions, given.text, given.option));
        }
    }
    return limits;
}

std::string_view phase_text(SearchPhase phase) {
    switch (phase) {
    case SearchPhase::Ramp:
        return "ramp";
    case SearchPhase::Bisection:
        return "bisect";
    case SearchPhase::Margin:
        return "margin";
    }
    return "";
}

// Where a frequency lies between the least and the highest that was tried, on a scale of octaves.
std::string bar(uint64_t hertz, uint64_t least, uint64_t most, bool passed) {
    const double span =
        most > least ? std::log2(static_cast<double>(most) / static_cast<double>(least)) : 1.0;
    const double place = std::log2(static_cast<double>(hertz) / static_cast<double>(least)) / span;
    const auto at = static_cast<size_t>(std::lround(place * (kBarWidth - 1)));
    return std::string(at, '-') + (passed ? "o" : "x");
}

std::string setting_text(const ClockSetting& setting) {
    return fmt::format("{}/{}{}", setting.divider, setting.exponent,
                       setting.predivide ? " pre" : "");
}

Json trial_json(const SearchTrial& trial) {
    Json json{{"phase", phase_text(trial.phase)},
              {"y", exponent_of(trial.coordinate)},
              {"z", mantissa_of(trial.coordinate)},
              {"wanted_hz", trial.wanted_hz},
              {"passed", trial.passed}};
    if (trial.setting) {
        json["actual_hz"] = trial.actual_hz;
        json["divider"] = trial.setting->divider;
        json["exponent"] = trial.setting->exponent;
        json["predivide"] = trial.setting->predivide;
    }
    if (!trial.passed) {
        json["reason"] = trial.failure;
    }
    return json;
}

void print_trials(const Output& out, const SearchResult& result) {
    uint64_t least = UINT64_MAX;
    uint64_t most = 0;
    for (const SearchTrial& trial : result.trials) {
        if (trial.setting) {
            least = std::min(least, trial.actual_hz);
            most = std::max(most, trial.actual_hz);
        }
    }
    TextTable table({"phase", "coordinate", "wanted", "divider", "test clock", "", ""});
    for (const SearchTrial& trial : result.trials) {
        const bool can = trial.setting.has_value();
        table.add({std::string(phase_text(trial.phase)), coordinate_text(trial.coordinate),
                   frequency_text(static_cast<double>(trial.wanted_hz)),
                   can ? setting_text(*trial.setting) : "-",
                   can ? frequency_text(static_cast<double>(trial.actual_hz)) : "-",
                   trial.passed ? "works" : "fails",
                   can ? bar(trial.actual_hz, least, most, trial.passed) : ""});
    }
    out.table(table);
}

void print_choice(const Output& out, const SearchResult& result) {
    const SearchTrial& chosen = *result.chosen;
    out.line("Highest that works: {}. With the margin: {}.",
             frequency_text(static_cast<double>(result.highest->actual_hz)),
             out.tone(Tone::Strong, frequency_text(static_cast<double>(chosen.actual_hz))));
    out.line("To keep it, put this into the table [KELM] of the board file:");
    out.line("  POD_TCKDIV = {}", chosen.setting->divider);
    out.line("  POD_TCKEXP = {}", chosen.setting->exponent);
    out.line("  POD_TCKPREDIVENA = {}", chosen.setting->predivide);
}

// Prints what was found, and what to write into the board file.
Status report(const Output& out, const SearchResult& result) {
    print_trials(out, result);
    if (!result.chosen) {
        const SearchTrial& last = result.trials.back();
        return target_error("test clock",
                            fmt::format("the chain does not work at {}: {}",
                                        frequency_text(static_cast<double>(last.wanted_hz)),
                                        last.failure),
                            "run 'talvor doctor'; a lower --start and --minimum may help");
    }
    print_choice(out, result);
    Json trials = Json::array();
    for (const SearchTrial& trial : result.trials) {
        trials.push_back(trial_json(trial));
    }
    out.result(Json{{"highest_hz", result.highest->actual_hz},
                    {"chosen", trial_json(*result.chosen)},
                    {"trials", std::move(trials)}});
    return {};
}

Status search(Context& context, const TclkOptions& options) {
    Session& session = *TRY(context.session());
    const Library::TestClockFunctions functions = TRY(session.library().test_clock());
    const TestClock clock = session.port().clock();
    const SearchLimits limits = TRY(search_limits(functions, clock, options));
    // What the chain looks like is learnt at a clock that is slow enough for certain.
    const auto slow = clock.at_most(functions.to_hertz(limits.minimum));
    TRY(session.port().set_clock(slow.value_or(*clock.at_most(1e12))));
    const Chain chain = TRY(session.discover());
    ProgressBar progress(false, context.out.reports());
    uint64_t trials = 0;
    const auto run = [&](const ClockSetting& setting) -> Result<std::optional<std::string>> {
        progress.show(fmt::format("trial {}", ++trials), 0, 0);
        const Verdict verdict = TRY(try_clock(session, setting, chain, options.bits));
        return verdict ? std::optional(headline(*verdict)) : std::nullopt;
    };
    return report(context.out, TRY(search_test_clock(functions, clock, limits, run)));
}

void add_convert(Command& clocks, const std::shared_ptr<TclkOptions>& options) {
    Command command =
        clocks.command("convert", "Show a frequency as coordinate and in hertz (needs no pod)",
                       [options](Context& context) { return convert(context, *options); });
    command.option("FREQUENCY", options->text, "As in 10.5MHz, 500kHz").required();
    command.makes_no_use_of(pod_options({"--simulate"}));
}

void add_search(Command& clocks, const std::shared_ptr<TclkOptions>& options) {
    Command command = clocks.command(
        "search", "Find the highest test clock at which the chain works (resets the TAPs)",
        [options](Context& context) { return search(context, *options); });
    command.makes_no_use_of({"--tck"}); // --maximum says it
    const auto frequency = [&command](const char* name, std::string& text, const char* about) {
        command.option(name, text, about).type_name("FREQUENCY");
    };
    frequency("--start", options->start,
              "Where the ramp begins; else 500 kHz, or the pod's slowest");
    frequency("--finish", options->finish, "Where the ramp aims at; else the pod's fastest");
    frequency("--minimum", options->minimum,
              "The lowest clock to end with; else where the ramp begins");
    frequency("--maximum", options->maximum, "The highest clock to try; else the pod's fastest");
    const auto margin = [&command](const char* name, uint32_t& value, const char* about) {
        command.option(name, value, about)
            .range(PLL_TCLK_MARGIN_MIN + 1, PLL_TCLK_MARGIN_MAX)
            .show_default();
    };
    margin("--advance", options->advance, "Margin of a step up, 64ths");
    margin("--retreat", options->retreat, "Margin of a step back, 64ths");
    command.option("--bits", options->bits, "Random bits to send through BYPASS at each trial")
        .range(1U, 1U << 24U)
        .show_default();
}

} // namespace

void add_tclk(Command& program) {
    Command command =
        program.command("tclk", "Test-clock arithmetic, and the highest clock that works", nullptr);
    const auto options = command_options<TclkOptions>();
    add_convert(command, options);
    add_search(command, options);
}

} // namespace talvor
