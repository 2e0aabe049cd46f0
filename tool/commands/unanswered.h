// What is told about a scan whose answer could not be had.
#pragma once

#include "common/result.h"

namespace talvor {

// An exact scan shifts its data, and then on until a marker comes out. Where none does (an error of
// the kind Target) the target may be broken, or the register is none that shifts: the error says
// that the data went in, and what is left to do. Every other error stays as it is.
[[nodiscard]] Error unanswered(Error error);

} // namespace talvor
