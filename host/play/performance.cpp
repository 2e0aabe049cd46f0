#include "host/play/performance.h"

#include "host/play/mismatch.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace talvor::play {

bool Performer::check(ProgressHook progress, bool plays) {
    const bool plans = plays && source_.fixed();
    Result<CheckReport> checked =
        play::check(source_, {std::move(progress), plans ? &plan_ : nullptr});
    planned_ = checked && plans && plan_.whole();
    if (!checked) {
        performance_.error = std::move(checked).error();
        return false;
    }
    performance_.checked = *std::move(checked);
    return performance_.checked->can_be_played();
}

bool Performer::play(JtagPort& port, PlayOptions options) {
    Player player(port, std::move(options));
    PlanReader planned(plan_, source_);
    Status status = player.play(planned_ ? static_cast<StepSource&>(planned) : source_);
    performance_.played = player.report();
    if (!status) {
        performance_.error = std::move(status).error();
        return false;
    }
    return true;
}

const Mismatch* failed_answer(const Performance& performance) noexcept {
    const bool before =
        performance.error || (performance.checked && !performance.checked->can_be_played());
    return !before && performance.played && performance.played->first_mismatch
               ? &*performance.played->first_mismatch
               : nullptr;
}

std::optional<Error> first_error(const Performance& performance, const std::string& file) {
    if (performance.error) {
        return performance.error;
    }
    if (performance.checked && !performance.checked->can_be_played()) {
        return refusal_of(*performance.checked, file);
    }
    if (const Mismatch* const mismatch = failed_answer(performance)) {
        return to_error(*mismatch, file);
    }
    return performance.played ? performance.played->verdict : std::nullopt;
}

Error refusal_of(const CheckReport& checked, const std::string& file) {
    Error error = checked.refusals.front();
    if (checked.refusal_count == 1) {
        return error;
    }
    const bool bad = std::any_of(checked.refusals.begin(), checked.refusals.end(),
                                 [](const Error& one) { return one.kind == ErrorKind::BadFile; });
    return {bad ? ErrorKind::BadFile : ErrorKind::Refused, 0, file,
            fmt::format("{} statements cannot be played; the first: {}", checked.refusal_count,
                        headline(error)),
            error.next_step};
}

} // namespace talvor::play
