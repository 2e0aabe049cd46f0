#include "host/svf/checker.h"

#include "host/play/checker.h"

namespace talvor::svf {

Result<play::Summary> check(play::ByteSource& source, const JtagPort& port,
                            const CheckOptions& options) {
    Reader reader(source, port, options.reader);
    const play::CheckReport report = TRY(play::check(reader, {options.progress, nullptr}));
    if (!report.can_be_played()) {
        return Failure(report.refusals.front());
    }
    return report.summary;
}

} // namespace talvor::svf
