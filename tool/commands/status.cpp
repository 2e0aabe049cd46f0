// talvor status: pod, cable, power, clock and pins; once, or watched.
#include "common/interrupt.h"
#include "common/text.h"
#include "host/clock/test_clock.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"
#include "tool/commands/values.h"
#include "tool/output/refreshed_text.h"
#include "tool/output/standard_streams.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <utility>

namespace talvor {
namespace {

struct StatusOptions {
    double watch_seconds = 0; // 0: once
    uint32_t count = 0;       // 0: until interrupted
};

struct PodReport {
    JSC_OldStatus old{};
    JSC_PodStatus conditions{};
    bool trst_released = false;
    uint32_t controller_kind = 0;
    uint32_t utility_revision = 0;
    StableState state = StableState::Reset;
};

std::string_view kind_text(uint32_t kind) {
    switch (kind) {
    case eJTI_CONTROL_ID_TBC:
        return "basic";
    case eJTI_CONTROL_ID_EXL:
        return "extended";
    case eJTI_CONTROL_ID_DPM:
        return "extended with dual-port memory";
    default:
        return "unknown";
    }
}

Status read_version(Pod& pod, JSC_FeatureId feature, uint32_t& value) {
    bool known = false;
    return pod.run("reading a version", &JSC_Interface::MultipleVersion, feature, &known, &value);
}

Result<PodReport> read_report(Session& session) {
    PodReport report;
    Pod& pod = session.pod();
    TRY(pod.run("reading the status", &JSC_Interface::OldStatus, &report.old));
    TRY(pod.run("reading TRSTn", &JSC_Interface::StatusTrstn, &report.trst_released));
    TRY(pod.run("reading the pod's conditions", &JSC_Interface::PodStatus, &report.conditions));
    TRY(read_version(pod, eJSC_FEATURE_ID_TBC_VERSION, report.controller_kind));
    TRY(read_version(pod, eJSC_FEATURE_ID_POD_VERSION, report.utility_revision));
    report.state = TRY(session.port().ask_state());
    return report;
}

TextTable report_table(const Output& out, Session& session, const PodReport& report) {
    const auto condition = [&out](bool lost, std::string_view good, std::string_view bad) {
        return lost ? out.tone(Tone::Bad, bad) : out.tone(Tone::Good, good);
    };
    TextTable table({});
    table.add({"pod", fmt::format("serial {}, revision {}", session.record().serial,
                                  revision_text(session.record().revision))});
    table.add({"controller",
               fmt::format("{}, kind {}, utility revision {}, {}",
                           kind_text(report.controller_kind), report.controller_kind,
                           report.utility_revision, report.old.itsAlive ? "alive" : "dead")});
    table.add({"test clock", frequency_text(static_cast<double>(session.port().hertz()))});
    table.add({"cable",
               condition(report.conditions.nearStatus || report.conditions.farStatus, "connected",
                         report.conditions.nearStatus ? "broken near the pod"
                                                      : "broken far from the pod")});
    table.add({"target power", condition(report.conditions.powerStatus, "on", "lost")});
    table.add({"return clock", condition(report.conditions.clockStatus, "there", "lost")});
    table.add({"TRSTn", report.trst_released ? "1" : "0"});
    table.add({"EMU0, EMU1",
               fmt::format("{}, {}", report.old.emuPin0 ? 1 : 0, report.old.emuPin1 ? 1 : 0)});
    table.add({"TAP", std::string(name_of(report.state))});
    return table;
}

Json report_json(Session& session, const PodReport& report) {
    return Json{{"serial", session.record().serial},
                {"revision", revision_text(session.record().revision)},
                {"controller_kind", report.controller_kind},
                {"utility_revision", report.utility_revision},
                {"alive", report.old.itsAlive},
                {"test_clock_hz", session.port().hertz()},
                {"cable_break_near", report.conditions.nearStatus},
                {"cable_break_far", report.conditions.farStatus},
                {"power_lost", report.conditions.powerStatus},
                {"clock_lost", report.conditions.clockStatus},
                {"trstn", report.trst_released},
                {"emu0", report.old.emuPin0},
                {"emu1", report.old.emuPin1},
                {"state", state_word(report.state)}};
}

Status show(const Output& out, Session& session) {
    const PodReport report = TRY(read_report(session));
    out.table(report_table(out, session, report));
    out.result(report_json(session, report));
    return {};
}

// ---- again and again --------------------------------------------------------------------------

// "2026-11-22T12:03:05+0100"
std::string time_now() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    std::array<char, 64> text{};
    localtime_r(&now, &parts);
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S%z", &parts)};
}

// The same for people: "2026-11-22 12:03:05".
std::string readable(std::string time) {
    constexpr size_t kDate = 10;
    constexpr size_t kWithoutZone = 19;
    return time.replace(kDate, 1, " ").substr(0, kWithoutZone);
}

// One look of several. What a look finds wrong is shown in its place.
class Watch {
public:
    explicit Watch(Context& context) : context_(context), text_(context.out.terminal()) {}

    // The error that was shown, if the look was in vain.
    Status look() {
        const Output& out = context_.out;
        const std::string time = time_now();
        std::vector<std::string> lines{out.tone(Tone::Strong, readable(time))};
        Json document{{"alive", false}};
        Status done = read(lines, document);
        if (interrupt_signal() != 0) {
            return {};
        }
        if (!done) {
            lines.push_back(out.tone(Tone::Bad, headline(done.error())));
            if (!done.error().next_step.empty()) {
                lines.push_back("  next: " + done.error().next_step);
            }
            document["error"] = to_json(done.error());
            recover();
        }
        document["time"] = time;
        if (!out.json()) {
            text_.show(lines);
        }
        out.result(document);
        return done;
    }

private:
    Status read(std::vector<std::string>& lines, Json& document) {
        Session& session = *TRY(context_.session());
        const PodReport report = TRY(read_report(session));
        for (std::string& line : report_table(context_.out, session, report).lines()) {
            lines.push_back(std::move(line));
        }
        document = report_json(session, report);
        return {};
    }

    // A pod, or a proxy, that comes back wants to be connected anew; a simulated one goes on.
    void recover() {
        if (!context_.options.simulate) {
            (void)context_.close();
        }
    }

    Context& context_;
    RefreshedText text_;
};

Status watch(Context& context, const StatusOptions& options) {
    const std::chrono::nanoseconds period = duration_of(options.watch_seconds);
    context.out.set_json_lines(true);
    Watch watching(context);
    Status last;
    for (uint32_t i = 0; options.count == 0 || i < options.count; ++i) {
        if (i != 0) {
            sleep_unless_interrupted(period);
        }
        if (interrupt_signal() != 0) {
            return time_is_over() ? check_interrupt() : Status();
        }
        last = watching.look();
        if (!flush_output()) {
            return {}; // nobody can see any more; the end of the program tells it
        }
    }
    // It has been shown, also as a document.
    context.out.set_json(false);
    return last;
}

Status status(Context& context, const StatusOptions& options) {
    // What is wrong from the start is an error; what happens later is watched.
    Session& session = *TRY(context.session());
    return options.watch_seconds > 0 ? watch(context, options) : show(context.out, session);
}

} // namespace

void add_status(Command& program) {
    const auto options = command_options<StatusOptions>();
    Command command =
        program.command("status", "Show pod, cable, power, clock and pins",
                        [options](Context& context) { return status(context, *options); });
    Option watch =
        command.option("--watch", options->watch_seconds,
                       "Show it again every so many seconds, whatever happens to the pod");
    watch.type_name("SECONDS").positive();
    command.option("--count", options->count, "With --watch: so many times, then end").needs(watch);
}

} // namespace talvor
