// talvor bench: how fast pod, proxy and library are together.
#include <chrono>

#include "commands/command_set.h"
#include "session/interrupt.h"

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

// Runs `once` until the time is over.
template <typename Once>
Result<Measurement> measure(double seconds, Once once) {
    using Clock = std::chrono::steady_clock;
    Measurement measurement;
    const auto start = Clock::now();
    do {
        if (Status status = once(); !status) {
            return std::move(status).error();
        }
        if (Status status = check_interrupt(); !status) {
            return std::move(status).error();
        }
        ++measurement.count;
        measurement.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    } while (measurement.seconds < seconds);
    return measurement;
}

class Bench {
public:
    Bench(Context& context, Session& session, const BenchOptions& options)
        : out_(context.out), session_(session), options_(options) {}

    Status run() {
        PodPort& port = session_.port();
        port.set_receive_mode(PodPort::ReceiveMode::Adjusted);
        if (Status status = port.reset_tap(); !status) {
            return status;
        }
        JSC_JtagState state = eJSC_JTAG_STATE_INVALID_FIRST;
        const auto round_trip = [&] {
            return session_.pod().run("asking for the state", &JSC_Interface::GetState, &state);
        };
        Status status = rate("round trips", "1/s", 1, round_trip);
        // With the TAP reset only IDCODE and BYPASS see these bits.
        const Bits word = Bits::ones(32);
        const Bits block = Bits::ones(options_.bits);
        Bits in;
        if (status) {
            status = rate("32-bit scans, both ways", "1/s", 1, [&] {
                return port.scan({ScanPath::Dr, &word, &in, StableState::Idle});
            });
        }
        if (status) {
            status = rate(fmt::format("{}-bit scans, both ways", options_.bits), "Mbit/s",
                          options_.bits / 1e6, [&] {
                              return port.scan({ScanPath::Dr, &block, &in, StableState::Idle});
                          });
        }
        if (status) {
            status = rate(
                fmt::format("{}-bit scans, out only", options_.bits), "Mbit/s", options_.bits / 1e6,
                [&] {
                    Status sent = port.scan({ScanPath::Dr, &block, nullptr, StableState::Idle});
                    return sent ? port.flush() : sent;
                });
        }
        if (!status) {
            return status;
        }
        out_.table(table_);
        out_.result(Json{{"measurements", std::move(json_)}});
        return {};
    }

private:
    template <typename Once>
    Status rate(const std::string& name, const std::string& unit, double factor, Once once) {
        const Result<Measurement> measured = measure(options_.seconds, once);
        if (!measured) {
            return measured.error();
        }
        const double value = measured->rate() * factor;
        table_.add({name, fmt::format("{:.1f} {}", value, unit)});
        json_.push_back(Json{{"name", name},
                             {"rate", value},
                             {"unit", unit},
                             {"count", measured->count},
                             {"seconds", measured->seconds}});
        return {};
    }

    const Output& out_;
    Session& session_;
    const BenchOptions& options_;
    TextTable table_{{}};
    Json json_ = Json::array();
};

Status bench(Context& context, const BenchOptions& options) {
    const Result<Session*> session = context.session();
    if (!session) {
        return session.error();
    }
    return Bench(context, **session, options).run();
}

} // namespace

void add_bench(CommandSet& commands) {
    const auto options = command_options<BenchOptions>();
    CLI::App& command =
        commands.add("bench", "Measure round trips and scan rates (resets the TAPs)",
                     [options](Context& context) { return bench(context, *options); });
    command.add_option("--seconds", options->seconds, "How long to measure each")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    command.add_option("--bits", options->bits, "Length of the long scans")
        ->check(CLI::Range(1U, 1U << 28))
        ->capture_default_str();
}

} // namespace talvor
