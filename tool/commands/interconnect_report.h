// What is told about a test of connections: text, a document, JUnit.
#pragma once

#include "host/interconnect/board_test.h"
#include "tool/output/junit.h"
#include "tool/output/output.h"

#include <optional>
#include <string>
#include <vector>

namespace talvor {

struct InterconnectRun {
    std::string netlist;              // the file
    std::vector<std::string> devices; // names of the chain's, nearest TDI first
    interconnect::TestPlan plan;
    std::optional<interconnect::TestResult> result; // nothing: only planned
    double seconds = 0;                             // of the test
};

// The error that the command ends with, if it does: what is wrong first of all.
[[nodiscard]] std::optional<Error> error_of(const InterconnectRun& run);
// As text, but for the error that follows. With `all`, or where nothing was tested, every net's
// driver and receivers.
void print(const Output& out, const InterconnectRun& run, bool all);
[[nodiscard]] Json document(const InterconnectRun& run, const std::optional<Error>& error);
// A case for each net.
[[nodiscard]] Junit junit_of(const InterconnectRun& run);

} // namespace talvor
