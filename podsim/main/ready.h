// The word that the pods are served, in the ways that were asked for.
#pragma once

#include "common/ready_file.h"
#include "common/result.h"
#include "podsim/main/options.h"

#include <string>

namespace talvor::podsim {

// Prints a line with `summary`, makes the ready file and writes to the ready descriptor, as the
// options say. A private command has the standard output to itself: the line then goes to the
// standard error stream.
[[nodiscard]] Status tell_ready(const Options& options, const std::string& summary,
                                ReadyFile& file);

} // namespace talvor::podsim
