// Which function fills which slot of the operation table.
#pragma once

#include "jsc_internal.h"

extern const JSC_Interface operations;
