// Runs talvor as a user does.
#pragma once

#include <string>
#include <vector>

#include "support/podsim_process.h"
#include "support/run_program.h"

namespace talvor::cli {

using test_support::PodsimProcess;

struct Outcome {
    int status = -1; // the exit status, or 128 and the signal
    std::string out;
    std::string err;
};

// Runs talvor; `input` is what it reads.
Outcome talvor(std::vector<std::string> arguments, const std::string& input = "");
// Runs talvor with a simulated pod of its own.
Outcome simulated(std::vector<std::string> arguments, const std::string& input = "");

// The description of the chain of five that --simulate starts, for a simulator beside.
std::string five();
// A file with `text` in the test program's temporary directory; its path.
std::string file_with(const std::string& name, const std::string& text);
// A file of the source tree.
std::string source_file(const std::string& name);
std::string read_file(const std::string& path);

} // namespace talvor::cli
