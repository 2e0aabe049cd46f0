#include "svf/checker.h"

#include "svf/planner.h"
#include "svf/reading.h"

namespace talvor::svf {

Result<Summary> check(ByteSource& source, const JtagPort& port, const CheckOptions& options) {
    Summary summary;
    Status status = read_steps(source, port, Pass::Check, options.limits, options.progress, summary,
                               [](const Step&) { return Status(); });
    if (!status) {
        return std::move(status).error();
    }
    return summary;
}

} // namespace talvor::svf
