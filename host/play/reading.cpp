#include "host/play/reading.h"

namespace talvor::play {

Failure plays_nothing(const std::string& file, uint64_t bytes) {
    return file_error(file, bytes == 0 ? "is empty" : "has no statement, only blanks and comments",
                      "check that this is the file you mean, and that it is whole");
}

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
            return plays_nothing(source_.name(), summary_.bytes);
        }
    }
    return more;
}

} // namespace talvor::play
