// Runs a program and collects what it prints.
#pragma once

#include <string>
#include <vector>

namespace test_support {

struct ProgramRun {
    int exit_status = -1; // 128 + the signal's number when a signal ended it
    std::string output;   // its standard output
    std::string error;    // its standard error
};

// Runs `command` (the program, found along PATH, and its arguments) to its end with `input` as its
// standard input. A program that cannot be started ends with status 127.
ProgramRun run_program(const std::vector<std::string>& command, const std::string& input = "");

} // namespace test_support
