// talvor link: the link delay, which makes up for the cable's.
#include "commands/chain_text.h"
#include "commands/command_set.h"
#include "hardware/tbc_registers.h"
#include "session/interrupt.h"

namespace talvor {
namespace {

constexpr size_t kPatternBits = 4096;
constexpr uint64_t kPatternSeed = 1;
constexpr uint32_t kDelays = LINK_DELAY_MAXIMUM + 1;

struct LinkDelay {
    uint32_t standard = 0;
    uint32_t maximum = 0;
    uint32_t sum = 0; // what the driver reports; applied is this modulo maximum + 1

    [[nodiscard]] uint32_t applied() const noexcept { return sum % (maximum + 1); }
};

Result<LinkDelay> read_delay(Pod& pod) {
    LinkDelay delay;
    if (Status status = pod.run("reading the link delay", &JSC_Interface::GetLinkDelay,
                                &delay.standard, &delay.maximum, &delay.sum);
        !status) {
        return std::move(status).error();
    }
    return delay;
}

Status apply_delay(Pod& pod, uint32_t wanted) {
    const Result<LinkDelay> delay = read_delay(pod);
    if (!delay) {
        return delay.error();
    }
    // The driver adds; the sum is unsigned and wraps.
    return pod.run("setting the link delay", &JSC_Interface::PutLinkDelay,
                   static_cast<int32_t>(wanted - delay->sum));
}

// Whether the chain can be found and answers right; else why not. Errors of the pod end the trial.
Result<std::optional<Error>> trial(Session& session) {
    const auto told_target = [](const Error& error) -> Result<std::optional<Error>> {
        if (error.kind == ErrorKind::Target) {
            return std::optional<Error>(error);
        }
        return error;
    };
    const Result<Chain> chain = session.discover();
    if (!chain) {
        return told_target(chain.error());
    }
    if (Status status = check_chain(session.port(), *chain, kPatternBits, kPatternSeed); !status) {
        return told_target(status.error());
    }
    return std::optional<Error>();
}

Status show(Context& context) {
    const Result<Session*> session = context.session();
    if (!session) {
        return session.error();
    }
    const Result<LinkDelay> delay = read_delay((*session)->pod());
    if (!delay) {
        return delay.error();
    }
    TextTable table({});
    table.add({"applied", fmt::format("{} test clocks", delay->applied())});
    table.add({"default", fmt::format("{}", delay->standard)});
    table.add({"maximum", fmt::format("{}", delay->maximum)});
    context.out.table(table);
    context.out.result(Json{{"applied", delay->applied()},
                            {"sum", delay->sum},
                            {"default", delay->standard},
                            {"maximum", delay->maximum}});
    return {};
}

Status set(Context& context, uint32_t wanted) {
    const Result<Session*> session = context.session();
    if (!session) {
        return session.error();
    }
    if (Status status = apply_delay((*session)->pod(), wanted); !status) {
        return status;
    }
    const auto failure = trial(**session);
    if (!failure) {
        return failure.error();
    }
    const bool works = !failure->has_value();
    context.out.line("{:>2}  {}", wanted,
                     works ? context.out.tone(Tone::Good, "works")
                           : context.out.tone(Tone::Bad, headline(**failure)));
    if (works) {
        context.out.line("It holds until the pod is disconnected; to keep it, put "
                         "LINKDLY = {} into the table [VEXIL] of the board file.",
                         wanted);
        context.out.result(Json{{"delay", wanted}, {"works", true}});
        return {};
    }
    Error error = **failure;
    error.thing = fmt::format("link delay {}: {}", wanted, error.thing);
    error.next_step = "find the right one with 'talvor link find'";
    return error;
}

Status find(Context& context) {
    const Result<Session*> opened = context.session();
    if (!opened) {
        return opened.error();
    }
    Session& session = **opened;
    Json trials = Json::array();
    std::vector<uint32_t> working;
    for (uint32_t delay = 0; delay < kDelays; ++delay) {
        if (Status status = apply_delay(session.pod(), delay); !status) {
            return status;
        }
        const auto failure = trial(session);
        if (!failure) {
            return failure.error();
        }
        const bool works = !failure->has_value();
        context.out.line("{:>2}  {}", delay,
                         works ? context.out.tone(Tone::Good, "works")
                               : context.out.tone(Tone::Faint, headline(**failure)));
        Json json{{"delay", delay}, {"works", works}};
        if (works) {
            working.push_back(delay);
        } else {
            json["reason"] = headline(**failure);
        }
        trials.push_back(std::move(json));
    }
    if (working.empty()) {
        return Error{ErrorKind::Target, 0, "link delay", "the chain answers right with none",
                     "run 'talvor chain' with a slow clock, as in --tck 500kHz, to see what is "
                     "wrong with the chain"};
    }
    // More than one is only possible where the chain cannot tell; the least is the safest.
    const uint32_t best = working.front();
    context.out.line("The right link delay is {}: put LINKDLY = {} into the table [VEXIL] of the "
                     "board file.",
                     context.out.tone(Tone::Strong, fmt::format("{}", best)), best);
    context.out.result(Json{{"delay", best}, {"trials", std::move(trials)}});
    return {};
}

} // namespace

void add_link(CommandSet& commands) {
    CLI::App& command = commands.add(
        "link", "Show, set or find the link delay, which makes up for the cable", show);
    commands.add("show", "Show the link delay", show, &command);
    const auto wanted = command_options<uint32_t>();
    CLI::App& setter = commands.add(
        "set", "Set the link delay and see whether the chain answers right with it",
        [wanted](Context& context) { return set(context, *wanted); }, &command);
    setter.add_option("CLOCKS", *wanted, "Test clocks")
        ->required()
        ->check(CLI::Range(0U, kDelays - 1));
    commands.add("find", "Try every link delay and name the right one (resets the TAPs)", find,
                 &command);
}

} // namespace talvor
