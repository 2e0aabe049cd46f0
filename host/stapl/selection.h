// What of a STAPL file is to be run.
#pragma once

#include "common/result.h"
#include "host/stapl/program.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace talvor::stapl {

// What a person asks for. Names are in any case.
struct Choices {
    std::string action;               // "": the only one
    std::vector<std::string> enable;  // optional procedures that are wanted
    std::vector<std::string> disable; // recommended procedures that are not
    // "NAME=VALUE", where NAME is a variable whose first value is another one, or a procedure that
    // is enabled (by anything but 0) or disabled.
    std::vector<std::string> values;
};

struct Selection {
    const Action* action = nullptr;
    std::vector<uint32_t> procedures;             // blocks, one after the other
    std::unordered_map<uint32_t, int32_t> values; // by variable
};

// Errors (ErrorKind::Usage): no such action, procedure or variable, more than one action and none
// named, a procedure that is no choice, a value that is none.
[[nodiscard]] Result<Selection> select(const Program& program, const Choices& choices);

// "PROGRAM, VERIFY".
[[nodiscard]] std::string action_names(const Program& program);

} // namespace talvor::stapl
