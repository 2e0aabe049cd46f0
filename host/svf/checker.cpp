#include "host/svf/checker.h"

#include "host/svf/planner.h"
#include "host/svf/reading.h"

namespace talvor::svf {

Result<Summary> check(ByteSource& source, const JtagPort& port, const CheckOptions& options) {
    Summary summary;
    TRY(read_steps(source, port, Pass::Check, options.limits, options.progress, summary,
                   [](const Step&) { return Status(); }));
    return summary;
}

} // namespace talvor::svf
