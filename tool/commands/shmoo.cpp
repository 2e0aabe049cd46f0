// talvor shmoo: at which test clocks and with which link delays the chain works.
#include "host/clock/shmoo.h"

#include "common/text.h"
#include "host/session/chain_trial.h"
#include "host/session/shmoo_trials.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"
#include "tool/commands/values.h"
#include "tool/output/standard_streams.h"
#include "tool/output/terminal.h"
#include "tool/output/text_file.h"

#include <numeric>
#include <optional>

namespace talvor {
namespace {

struct ShmooOptions {
    std::string least;
    std::string most;
    std::string delays;
    std::string svg;
    uint32_t clocks = 16;
    uint32_t bits = 1024;
};

constexpr size_t kLabelWidth = 13;
constexpr size_t kNumberedDelays = 4; // every so manieth has its number at the axis

// "0-8", or one number.
Result<std::vector<uint32_t>> delays_of(const std::string& text, uint32_t maximum) {
    uint32_t first = 0;
    uint32_t last = maximum;
    if (!text.empty()) {
        const size_t dash = text.find('-');
        first = TRY(parse_number(text.substr(0, dash), maximum, "--delays"));
        last = dash == std::string::npos
                   ? first
                   : TRY(parse_number(text.substr(dash + 1), maximum, "--delays"));
    }
    if (last < first) {
        return usage_error("--delays", fmt::format("{} ends before it begins", text),
                           "write the smaller one first, as in 0-8");
    }
    std::vector<uint32_t> delays(last - first + 1);
    std::iota(delays.begin(), delays.end(), first);
    return delays;
}

Result<std::vector<ShmooClock>> clocks_of(const TestClock& clock, const ShmooOptions& options) {
    std::optional<double> least;
    std::optional<double> most;
    if (!options.least.empty()) {
        least = TRY(parse_frequency(options.least, "--minimum"));
    }
    if (!options.most.empty()) {
        most = TRY(parse_frequency(options.most, "--maximum"));
    }
    return shmoo_clocks(clock, least, most, options.clocks);
}

// The drawing in the terminal, cell by cell.
class Drawing final : public ShmooWatcher {
public:
    explicit Drawing(const Output& out)
        : out_(out), works_(speaks_utf8() ? "██" : "##"), fails_(speaks_utf8() ? " ·" : " .") {}

    void begin(const Shmoo& shmoo) override {
        std::string axis;
        for (size_t i = 0; i < shmoo.delays.size(); i += kNumberedDelays) {
            axis += fmt::format("{:>2}{:{}}", shmoo.delays[i], "", 2 * kNumberedDelays - 2);
        }
        put(fmt::format("{:<{}}{}\n", "link delay", kLabelWidth,
                        axis.substr(0, axis.find_last_not_of(' ') + 1)));
    }
    void row(const ShmooClock& clock) override {
        put(fmt::format("{:>{}}  ", frequency_text(static_cast<double>(clock.hertz)),
                        kLabelWidth - 2));
    }
    [[nodiscard]] bool cell(bool works) override {
        put(works ? out_.tone(Tone::Good, works_) : out_.tone(Tone::Faint, fails_));
        if (out_.terminal()) {
            (void)flush_output();
        }
        return true;
    }
    void end_row() override { put("\n"); }

private:
    void put(const std::string& text) const {
        if (!out_.json()) {
            write_output(text);
        }
    }

    const Output& out_;
    std::string_view works_;
    std::string_view fails_;
};

std::string margin_text(const Shmoo& shmoo, const ShmooChoice& choice) {
    const auto above = margin_above(shmoo, choice);
    return above ? fmt::format(
                       "{:.0f} % below {}, which fails", 100 - 100 / (1 + *above),
                       frequency_text(static_cast<double>(shmoo.clocks[choice.fastest - 1].hertz)))
                 : "nothing above it was seen to fail";
}

void print_choice(const Output& out, const Shmoo& shmoo, const ShmooChoice& choice) {
    const ShmooClock& clock = shmoo.clocks[choice.clock];
    const uint32_t delay = shmoo.delays[choice.delay];
    const auto hertz = [&shmoo](size_t index) {
        return frequency_text(static_cast<double>(shmoo.clocks[index].hertz));
    };
    out.line("");
    out.line("Best: {} with link delay {}", out.tone(Tone::Strong, hertz(choice.clock)),
             out.tone(Tone::Strong, fmt::format("{}", delay)));
    out.line("  test clock  works from {} to {}; {}", hertz(choice.slowest), hertz(choice.fastest),
             margin_text(shmoo, choice));
    out.line("  link delay  {} less and {} more work at that clock", choice.delays_below,
             choice.delays_above);
    out.line("For the board file:");
    out.line("  [VEXIL]\n  LINKDLY = {}", delay);
    out.line("  [KELM]\n  POD_TCKDIV = {}\n  POD_TCKEXP = {}\n  POD_TCKPREDIVENA = {}",
             clock.setting.divider, clock.setting.exponent, clock.setting.predivide);
}

Json clock_json(const ShmooClock& clock) {
    return Json{{"hertz", clock.hertz},
                {"divider", clock.setting.divider},
                {"exponent", clock.setting.exponent},
                {"predivide", clock.setting.predivide}};
}

Json best_json(const Shmoo& shmoo, const ShmooChoice& choice) {
    Json json = clock_json(shmoo.clocks[choice.clock]);
    json["delay"] = shmoo.delays[choice.delay];
    json["slowest_hertz"] = shmoo.clocks[choice.slowest].hertz;
    json["fastest_hertz"] = shmoo.clocks[choice.fastest].hertz;
    if (choice.fastest != 0) {
        json["fails_at_hertz"] = shmoo.clocks[choice.fastest - 1].hertz;
    }
    json["delays_below"] = choice.delays_below;
    json["delays_above"] = choice.delays_above;
    return json;
}

Json document(const Shmoo& shmoo, uint32_t bits, const ShmooChoice& choice) {
    Json clocks = Json::array();
    for (size_t clock = 0; clock < shmoo.clocks.size(); ++clock) {
        Json row = clock_json(shmoo.clocks[clock]);
        row["works"] = Json::array();
        for (size_t delay = 0; delay < shmoo.delays.size(); ++delay) {
            row["works"].push_back(static_cast<bool>(shmoo.at(clock, delay)));
        }
        clocks.push_back(std::move(row));
    }
    Json json{{"bits", bits}};
    json["delays"] = Json::array({shmoo.delays.begin(), shmoo.delays.end()});
    json["clocks"] = std::move(clocks);
    json["best"] = best_json(shmoo, choice);
    return json;
}

Status report(const Output& out, const Shmoo& shmoo, const ShmooOptions& options) {
    if (!options.svg.empty()) {
        TRY(write_text_file(options.svg, to_svg(shmoo, "Test clock and link delay")));
        out.line("{}: {}", options.svg, count_text(shmoo.works.size(), "trial"));
    }
    const auto choice = choose(shmoo);
    if (!choice) {
        return target_error("chain", "it works in no cell",
                            "try slower clocks with --minimum, or other delays with --delays");
    }
    print_choice(out, shmoo, *choice);
    out.result(document(shmoo, options.bits, *choice));
    return {};
}

Status run_shmoo(Context& context, const ShmooOptions& options) {
    Session& session = *TRY(context.session());
    const uint32_t maximum = TRY(read_link_delay(session.pod())).maximum;
    Shmoo shmoo(TRY(clocks_of(session.port().clock(), options)),
                TRY(delays_of(options.delays, maximum)));
    Drawing drawing(context.out);
    TRY(try_shmoo(session, options.bits, shmoo, drawing));
    return report(context.out, shmoo, options);
}

} // namespace

void add_shmoo(Command& program) {
    const auto options = command_options<ShmooOptions>();
    Command command = program.command(
        "shmoo", "Try the chain at each test clock with each link delay (resets the TAPs)",
        [options](Context& context) { return run_shmoo(context, *options); });
    command
        .option("--minimum", options->least,
                "The slowest clock; else 500 kHz, or the pod's slowest")
        .type_name("FREQUENCY");
    command.option("--maximum", options->most, "The fastest clock; else the pod's")
        .type_name("FREQUENCY");
    command.option("--clocks", options->clocks, "How many clocks, at most")
        .range(1U, 200U)
        .show_default();
    command.option("--delays", options->delays, "Link delays, as in 0-8; else all")
        .type_name("FROM-TO");
    command.option("--bits", options->bits, "Random bits to send through BYPASS at each trial")
        .range(1U, 1U << 24U)
        .show_default();
    command.option("--svg", options->svg, "Draw into this file, too").type_name("FILE");
}

} // namespace talvor
