// The configuration records as text, every field on a line, for whole-record comparisons whose
// failures read well. Padding is left out; texts count by their characters, not their address.
#pragma once

#include "read_variable.h"

#include <string>

namespace test_support {

std::string describe(const TBC_Variable& record);
std::string describe(const KELM_Variable& record);
std::string describe(const QEL_Variable& record);
std::string describe(const PLL_Variable& record);
std::string describe(const ZDL_Variable& record);

} // namespace test_support
