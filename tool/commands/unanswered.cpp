#include "tool/commands/unanswered.h"

namespace talvor {

Error unanswered(Error error) {
    if (error.kind != ErrorKind::Target) {
        return error;
    }
    error.reason += "; the data were shifted in all the same, the answer is not certain";
    error.next_step += error.next_step.empty() ? "" : "; ";
    error.next_step +=
        "where the register streams or counts clocks instead of shifting, take --fast";
    return error;
}

} // namespace talvor
