// From the text of a STAPL file to a program.
#pragma once

#include "common/result.h"
#include "host/play/source.h"
#include "host/stapl/lexer.h"
#include "host/stapl/program.h"

#include <functional>

namespace talvor::stapl {

// Reads `source` from its start to its end: everything that can be known of a file before it is run
// is found here. A checksum that is wrong is none of it: see Program::crc_is_right(). `hook`, which
// may be empty, is called now and then while it reads; false ends it. Errors (ErrorKind::BadFile,
// with file and line): the first thing that breaks the language. (ErrorKind::Usage): the hook.
[[nodiscard]] Result<Program> compile(play::ByteSource& source, const LexerLimits& limits = {},
                                      std::function<bool()> hook = {});

} // namespace talvor::stapl
