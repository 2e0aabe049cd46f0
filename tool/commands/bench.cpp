// talvor bench: how fast pod, proxy and library are together.
#include "common/interrupt.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"
#include "tool/commands/rate_text.h"
#include "tool/output/progress_bar.h"

#include <chrono>
#include <functional>

namespace talvor {
namespace {

struct BenchOptions {
    double seconds = 0.5;
    uint32_t bits = 524288;
};

struct Measurement {
    uint64_t count = 0;
    double seconds = 0;

    [[nodiscard]] double rate() const noexcept { return static_cast<double>(count) / seconds; }
};

// What a rate counts, and how much of it there is in one turn.
struct Unit {
    const char* name;
    double factor;
};

constexpr Unit kTurns{"1/s", 1};
// The short scans.
constexpr uint32_t kWordBits = 32;

using Turn = std::function<Status()>;

// Takes turns until the time is over.
Result<Measurement> measure(double seconds, const Turn& turn) {
    using Clock = std::chrono::steady_clock;
    Measurement measurement;
    const auto start = Clock::now();
    do {
        TRY(turn());
        TRY(check_interrupt());
        ++measurement.count;
        measurement.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    } while (measurement.seconds < seconds);
    return measurement;
}

class Bench {
public:
    Bench(Context& context, Session& session, const BenchOptions& options)
        : out_(context.out), session_(session), options_(options),
          progress_(false, context.out.reports()) {}

    Status run() {
        TRY(measure_driver());
        TRY(measure_exact_scans());
        out_.table(table_);
        out_.result(Json{{"measurements", std::move(json_)}});
        return {};
    }

private:
    // What driver, proxy and pod can do, whatever the target is.
    Status measure_driver() {
        session_.port().set_receive_mode(PodPort::ReceiveMode::Adjusted);
        TRY(session_.port().reset_tap());
        // With the TAP reset only IDCODE and BYPASS see these bits.
        const Bits word = Bits::ones(kWordBits);
        const Bits block = Bits::ones(options_.bits);
        TRY(rate("round trips", kTurns, [this] { return ask_state(); }));
        TRY(rate(fmt::format("{}-bit scans, both ways", kWordBits), kTurns,
                 [&] { return scan_both_ways(word); }));
        TRY(rate(fmt::format("{}-bit scans, both ways", options_.bits), megabits(),
                 [&] { return scan_both_ways(block); }));
        return rate(fmt::format("{}-bit scans, out only", options_.bits), megabits(),
                    [&] { return scan_out(block); });
    }

    // What commands get from it, through BYPASS: these need a chain that answers.
    Status measure_exact_scans() {
        session_.port().set_receive_mode(PodPort::ReceiveMode::Exact);
        if (const auto chain = session_.discover(); !chain) {
            out_.note("exact scans are not measured: " + headline(chain.error()));
            return chain.error().kind == ErrorKind::Target ? Status() : Failure(chain.error());
        }
        const Bits word = Bits::ones(kWordBits);
        const Bits block = Bits::ones(options_.bits);
        TRY(rate(fmt::format("{}-bit scans, exact", kWordBits), kTurns,
                 [&] { return scan_both_ways(word); }));
        return rate(fmt::format("{}-bit scans, exact", options_.bits), megabits(),
                    [&] { return scan_both_ways(block); });
    }

    [[nodiscard]] Unit megabits() const { return {"Mbit/s", options_.bits / 1e6}; }

    Status ask_state() {
        JSC_JtagState state = eJSC_JTAG_STATE_INVALID_FIRST;
        return session_.pod().run("asking for the state", &JSC_Interface::GetState, &state);
    }

    Status scan_both_ways(const Bits& out) {
        return session_.port().scan({ScanPath::Dr, &out, &in_, StableState::Idle});
    }

    Status scan_out(const Bits& out) {
        TRY(session_.port().scan({ScanPath::Dr, &out, nullptr, StableState::Idle}));
        return session_.port().flush();
    }

    Status rate(const std::string& name, const Unit& unit, const Turn& turn) {
        progress_.show("measure", json_.size(), kMeasurements);
        const Measurement measured = TRY(measure(options_.seconds, turn));
        const double value = measured.rate() * unit.factor;
        table_.add({name, rate_text(value, unit.name)});
        json_.push_back(Json{{"name", name},
                             {"rate", value},
                             {"unit", unit.name},
                             {"count", measured.count},
                             {"seconds", measured.seconds}});
        return {};
    }

    static constexpr uint64_t kMeasurements = 6;

    const Output& out_;
    Session& session_;
    const BenchOptions& options_;
    ProgressBar progress_;
    Bits in_;
    TextTable table_{{}};
    Json json_ = Json::array();
};

Status bench(Context& context, const BenchOptions& options) {
    return Bench(context, *TRY(context.session()), options).run();
}

} // namespace

void add_bench(Command& program) {
    const auto options = command_options<BenchOptions>();
    Command command =
        program.command("bench", "Measure round trips and scan rates (resets the TAPs)",
                        [options](Context& context) { return bench(context, *options); });
    command.option("--seconds", options->seconds, "How long to measure each")
        .positive()
        .show_default();
    command.option("--bits", options->bits, "Length of the long scans")
        .range(1U, 1U << 28U)
        .show_default();
}

} // namespace talvor
