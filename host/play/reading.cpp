#include "host/play/reading.h"

#include "common/text.h"

#include <fmt/format.h>

namespace talvor::play {
namespace {

// A file that plays nothing is the wrong one, or was cut off.
Failure no_statement(const StepSource& source) {
    return file_error(source.name(),
                      source.total_bytes() == 0
                          ? "is empty"
                          : fmt::format("has no statement: {} with blanks and comments only",
                                        count_text(source.line(), "line")),
                      "check that this is the file you mean, and that it is whole");
}

} // namespace

bool Reading::told() const {
    return !progress_ ||
           progress_({pass_, source_.bytes_taken(), source_.total_bytes(), source_.line(),
                      summary_.statements, summary_.ir_bits + summary_.dr_bits,
                      mismatches_ == nullptr ? 0 : *mismatches_});
}

Status Reading::tell() const {
    return told() ? Status() : usage_error(source_.name(), "stopped on request");
}

Status Reading::begin() {
    TRY(source_.rewind());
    source_.on_chunk([this] { return told(); });
    return {};
}

Result<bool> Reading::next(Step& step) {
    const Result<bool> more = source_.next(step);
    if (more && *more) {
        summary_.count(step);
        return more;
    }
    summary_.bytes = source_.bytes_taken();
    summary_.lines = source_.line();
    if (more) {
        TRY(tell());
        if (summary_.statements == 0 && source_.fixed()) {
            return no_statement(source_);
        }
    }
    return more;
}

} // namespace talvor::play
