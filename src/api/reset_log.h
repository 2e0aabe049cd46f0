// The reset log as a verbose reset writes it.
#pragma once

#include "jsc_internal.h"

// Entries before the long initialisation: what is used, and the controller's kind. 0 or -520.
[[nodiscard]] int32_t reset_log_open(JSC_Inform* pJscInform);

// Entries behind it: what was asked for and found. 0 or -520.
[[nodiscard]] int32_t reset_log_close(JSC_Inform* pJscInform, const LogFileInfo& info);
