#include "svf/reading.h"

#include "svf/planner.h"

namespace talvor::svf {

Status read_steps(ByteSource& source, const JtagPort& port, Pass pass, const ParserLimits& limits,
                  const ProgressHook& progress, Summary& summary, const StepHandler& handle,
                  const uint64_t* mismatches) {
    if (Status status = source.rewind(); !status) {
        return status;
    }
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
        Result<bool> more = parser.next(statement);
        if (!more) {
            return std::move(more).error();
        }
        summary.bytes = parser.bytes_taken();
        summary.lines = parser.line();
        if (!*more) {
            return {};
        }
        if (Status status = planner.plan(statement, step); !status) {
            return status;
        }
        summary.count(step);
        if (Status status = handle(step); !status) {
            return status;
        }
        if (!report()) {
            return Error{ErrorKind::Usage, 0, source.name(), "stopped on request", ""};
        }
    }
}

} // namespace talvor::svf
