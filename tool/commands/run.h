// A script: commands over one connection.
#pragma once

#include "common/result.h"

#include <string>

namespace talvor {

class Context;

// Runs the lines of the script at `path` ("-": the standard input) up to the first that fails.
// Errors: the script's, or those of a command, with the script's name and line.
[[nodiscard]] Status run_script(Context& context, const std::string& path);

} // namespace talvor
