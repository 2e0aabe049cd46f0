// A BSDL file as it is printed.
#pragma once

#include "common/bsdl/reader.h"
#include "tool/output/output.h"

#include <string>

namespace talvor {

// "FILE:12:5: warning: TEXT"; without a place where a finding has none.
[[nodiscard]] std::string finding_text(const std::string& file, const bsdl::Finding& finding);
// What the device is, in a screen or two; the findings are not among it.
void print_summary(const Output& out, const std::string& file, const bsdl::Device& device);
// The whole model, and the findings.
[[nodiscard]] Json to_json(const std::string& file, const bsdl::Description& description);

} // namespace talvor
