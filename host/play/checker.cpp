#include "host/play/checker.h"

#include "host/play/reading.h"

namespace talvor::play {

namespace {

void refuse(CheckReport& report, const Error& error) {
    ++report.refusal_count;
    if (report.refusals.size() < CheckReport::kListed) {
        report.refusals.push_back(error);
    }
}

} // namespace

void Notes::add(const Step& step, std::string_view statement) {
    for (const Note& note : step.notes) {
        ++count;
        ++by_kind[static_cast<size_t>(note.kind)];
        if (list.size() < kListed) {
            list.push_back({step.line, std::string(statement), note});
        }
    }
}

Result<CheckReport> check(StepSource& source, const CheckOptions& options) {
    CheckReport report;
    Reading reading(Pass::Check, source, report.summary, options.progress);
    if (options.plan != nullptr) {
        options.plan->clear();
    }
    TRY(reading.begin());
    Step step;
    while (true) {
        const Result<bool> more = reading.next(step);
        if (!more && more.error().kind == ErrorKind::Usage) {
            return Failure(more.error());
        }
        if (!more) {
            refuse(report, more.error());
        }
        if (!more || !*more) {
            return report;
        }
        if (step.refusal) {
            refuse(report, *step.refusal);
        } else if (!step.notes.empty()) {
            report.notes.add(step, source.statements()[step.statement]);
        }
        if (options.plan != nullptr) {
            options.plan->add(step);
        }
    }
}

} // namespace talvor::play
