#include "host/svf/reading.h"

#include "common/text.h"
#include "host/svf/planner.h"

#include <fmt/format.h>

namespace talvor::svf {
namespace {

// A file that plays nothing is the wrong one, or was cut off.
Failure no_statement(const ByteSource& source, const Summary& summary) {
    return file_error(source.name(),
                      source.total_bytes() == 0
                          ? "is empty"
                          : fmt::format("has no statement: {} with blanks and comments only",
                                        count_text(summary.lines, "line")),
                      "check that this is the file you mean, and that it is whole");
}

} // namespace

Status read_steps(ByteSource& source, const JtagPort& port, Pass pass, const ParserLimits& limits,
                  const ProgressHook& progress, Summary& summary, const StepHandler& handle,
                  const uint64_t* mismatches) {
    TRY(source.rewind());
    Parser parser(source, limits);
    Planner planner(port, source.name());
    const auto report = [&]() -> bool {
        return !progress ||
               progress({pass, parser.bytes_taken(), source.total_bytes(), parser.line(),
                         summary.statements, summary.ir_bits + summary.dr_bits,
                         mismatches == nullptr ? 0 : *mismatches});
    };
    parser.on_chunk(report);
    Statement statement;
    Step step;
    while (true) {
        const bool more = TRY(parser.next(statement));
        summary.bytes = parser.bytes_taken();
        summary.lines = parser.line();
        if (!more) {
            return summary.statements != 0 ? Status() : no_statement(source, summary);
        }
        TRY(planner.plan(statement, step));
        summary.count(step);
        TRY(handle(step));
        if (!report()) {
            return usage_error(source.name(), "stopped on request");
        }
    }
}

} // namespace talvor::svf
