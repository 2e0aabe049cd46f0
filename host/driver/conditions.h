// The conditions that a pod can wait for.
#pragma once

#include "jsc_external.h"

#include <array>
#include <string_view>

namespace talvor {

// What a pod can wait for, in a user's words.
struct Condition {
    std::string_view word;
    JSC_StatusType type;
};

inline constexpr std::array kConditions{
    Condition{"idle", eJSC_STATUS_TYPE_COMMAND_FINISH},
    Condition{"write-one", eJSC_STATUS_TYPE_WR_BUFFER1_ONE},
    Condition{"write-many", eJSC_STATUS_TYPE_WR_BUFFER1_MANY},
    Condition{"read-one", eJSC_STATUS_TYPE_RD_BUFFER1_ONE},
    Condition{"read-many", eJSC_STATUS_TYPE_RD_BUFFER1_MANY},
    Condition{"ready", eJSC_STATUS_TYPE_ACCESS_READY},
};

} // namespace talvor
