#include "host/session/chain_trial.h"

#include <utility>

namespace talvor {
namespace {

constexpr uint64_t kPatternSeed = 20;

Status find_and_check(Session& session, size_t bits, Chain& chain) {
    chain = TRY(session.discover());
    return check_chain(session.port(), chain, bits, kPatternSeed);
}

} // namespace

Result<Verdict> verdict_of(Status answered) {
    if (answered) {
        return Verdict();
    }
    if (answered.error().kind != ErrorKind::Target) {
        return Failure(std::move(answered).error());
    }
    return Verdict(std::move(answered).error());
}

Result<Verdict> try_chain(Session& session, const Chain& chain, size_t bits) {
    return verdict_of(check_chain(session.port(), chain, bits, kPatternSeed));
}

Result<Verdict> try_clock(Session& session, const ClockSetting& setting, const Chain& chain,
                          size_t bits) {
    const Verdict moved = TRY(verdict_of(session.port().set_clock(setting)));
    return moved ? moved : TRY(try_chain(session, chain, bits));
}

Result<LinkDelay> read_link_delay(Pod& pod) {
    LinkDelay delay;
    TRY(pod.run("reading the link delay", &JSC_Interface::GetLinkDelay, &delay.standard,
                &delay.maximum, &delay.sum));
    return delay;
}

Status apply_link_delay(Session& session, uint32_t wanted) {
    Pod& pod = session.pod();
    const LinkDelay delay = TRY(read_link_delay(pod));
    // The driver adds; the sum is unsigned and wraps.
    TRY(pod.run("setting the link delay", &JSC_Interface::PutLinkDelay,
                static_cast<int32_t>(wanted - delay.sum)));
    return session.port().tell("a link delay that was set");
}

Result<Chain> discover_with_any_delay(Session& session, size_t bits) {
    Chain chain;
    Verdict verdict = TRY(verdict_of(find_and_check(session, bits, chain)));
    const uint32_t maximum = TRY(read_link_delay(session.pod())).maximum;
    for (uint32_t delay = 0; verdict && delay <= maximum; ++delay) {
        TRY(apply_link_delay(session, delay));
        verdict = TRY(verdict_of(find_and_check(session, bits, chain)));
    }
    if (verdict) {
        return target_error("link delay", "the chain answers right with none",
                            "run 'talvor chain' with a slow clock, as in --tck 500kHz, to see what "
                            "is wrong with the chain");
    }
    return chain;
}

} // namespace talvor
