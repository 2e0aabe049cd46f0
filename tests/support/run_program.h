// Runs a program and collects what it prints.
#pragma once

#include <string>
#include <vector>

namespace test_support {

struct ProgramResult {
    int status = -1;    // exit status, or 128 plus the number of the signal that ended it
    std::string output; // its standard output
    std::string errors; // its standard error
};

// Runs `command` (the program, found along PATH, and its arguments) to its end with `input` as its
// standard input. A program that cannot be started ends with status 127.
ProgramResult run_program(const std::vector<std::string>& command, const std::string& input = "");

} // namespace test_support
