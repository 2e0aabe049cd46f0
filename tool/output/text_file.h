// A text that becomes a file.
#pragma once

#include "common/result.h"

#include <string>

namespace talvor {

// Errors (ErrorKind::BadFile): it cannot be written, and why.
[[nodiscard]] Status write_text_file(const std::string& path, const std::string& text);

} // namespace talvor
