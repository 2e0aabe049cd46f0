// talvor link: the link delay, which makes up for the cable's.
#include "host/session/chain_trial.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"
#include "tool/commands/values.h"

namespace talvor {
namespace {

constexpr size_t kPatternBits = 4096;
constexpr uint64_t kPatternSeed = 1;

// One delay, and what the chain said with it.
struct Trial {
    uint32_t delay = 0;
    Verdict failure; // nothing: it answers right

    [[nodiscard]] bool works() const noexcept { return !failure.has_value(); }
};

// Whether the chain can be found and answers right.
Status probe(Session& session) {
    const Chain chain = TRY(session.discover());
    return check_chain(session.port(), chain, kPatternBits, kPatternSeed);
}

// Errors of the pod end the trial; what the target says is its outcome.
Result<Trial> try_delay(Session& session, uint32_t delay) {
    TRY(apply_link_delay(session, delay));
    return Trial{delay, TRY(verdict_of(probe(session)))};
}

void print_trial(const Output& out, const Trial& trial, Tone bad) {
    out.line("{:>2}  {}", trial.delay,
             trial.works() ? out.tone(Tone::Good, "works")
                           : out.tone(bad, headline(*trial.failure)));
}

Json to_json(const Trial& trial) {
    Json json{{"delay", trial.delay}, {"works", trial.works()}};
    if (!trial.works()) {
        json["reason"] = headline(*trial.failure);
    }
    return json;
}

Status show(Context& context) {
    Session& session = *TRY(context.session());
    const LinkDelay delay = TRY(read_link_delay(session.pod()));
    TextTable table({});
    table.add({"applied", fmt::format("{} test clocks", delay.applied())});
    table.add({"default", fmt::format("{}", delay.standard)});
    table.add({"maximum", fmt::format("{}", delay.maximum)});
    context.out.table(table);
    context.out.result(Json{{"applied", delay.applied()},
                            {"sum", delay.sum},
                            {"default", delay.standard},
                            {"maximum", delay.maximum}});
    return {};
}

Status set(Context& context, uint32_t wanted) {
    Session& session = *TRY(context.session());
    const Trial trial = TRY(try_delay(session, wanted));
    print_trial(context.out, trial, Tone::Bad);
    if (!trial.works()) {
        Error error = *trial.failure;
        error.thing = fmt::format("link delay {}: {}", wanted, error.thing);
        error.next_step = "find the right one with 'talvor link find'";
        return Failure(std::move(error));
    }
    context.out.line("It holds until the pod is disconnected; to keep it, put "
                     "LINKDLY = {} into the table [VEXIL] of the board file.",
                     wanted);
    context.out.result(to_json(trial));
    return {};
}

Status find(Context& context) {
    Session& session = *TRY(context.session());
    const uint32_t maximum = TRY(read_link_delay(session.pod())).maximum;
    Json trials = Json::array();
    std::optional<uint32_t> best;
    for (uint32_t delay = 0; delay <= maximum; ++delay) {
        const Trial trial = TRY(try_delay(session, delay));
        print_trial(context.out, trial, Tone::Faint);
        trials.push_back(to_json(trial));
        // More than one is only possible where the chain cannot tell; the least is the safest.
        if (trial.works() && !best) {
            best = delay;
        }
    }
    if (!best) {
        return target_error("link delay", "the chain answers right with none",
                            "run 'talvor chain' with a slow clock, as in --tck 500kHz, to see what "
                            "is wrong with the chain");
    }
    context.out.line("The right link delay is {}: put LINKDLY = {} into the table [VEXIL] of the "
                     "board file.",
                     context.out.tone(Tone::Strong, fmt::format("{}", *best)), *best);
    context.out.result(Json{{"delay", *best}, {"trials", std::move(trials)}});
    return {};
}

} // namespace

void add_link(Command& program) {
    Command command = program.command(
        "link", "Show, set or find the link delay, which makes up for the cable", show);
    command.command("show", "Show the link delay", show);
    const auto wanted = command_options<uint32_t>();
    Command setter =
        command.command("set", "Set the link delay and see whether the chain answers right with it",
                        [wanted](Context& context) { return set(context, *wanted); });
    setter.option("CLOCKS", *wanted, "Test clocks")
        .required()
        .range(0U, static_cast<uint32_t>(kMaximumLinkDelay));
    command.command("find", "Try every link delay and name the right one (resets the TAPs)", find);
}

} // namespace talvor
