#include "host/svf/reader.h"

namespace talvor::svf {

Reader::Reader(play::ByteSource& source, const JtagPort& port, ReaderOptions options)
    : source_(source), port_(port), options_(options) {
    start();
}

void Reader::start() {
    parser_.emplace(source_, options_.limits);
    planner_.emplace(port_, source_.name(), options_.strict);
}

Status Reader::rewind() {
    TRY(source_.rewind());
    start();
    return {};
}

Result<bool> Reader::next(play::Step& step) {
    const bool more = TRY(parser_->next(statement_));
    step.notes.clear();
    step.refusal.reset();
    Status status = more ? planner_->plan(statement_, step) : planner_->finish(step);
    step.bytes = parser_->bytes_taken();
    if (!status) {
        step.kind = play::Step::Kind::Nothing;
        step.refusal = std::move(status).error();
    }
    return more || step.refusal.has_value();
}

} // namespace talvor::svf
