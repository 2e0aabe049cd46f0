// A status for what is called several times for each statement of a file.
#pragma once

#include "common/result.h"

namespace talvor::svf {

struct Done {};
// Says what Status says. It holds a value of no size instead of none at all: a Status that went
// well clears the room of the error that it does not have, which took a third of the time of
// reading.
using Quick = Result<Done>;

[[nodiscard]] inline Quick success() {
    return Done{};
}

} // namespace talvor::svf
