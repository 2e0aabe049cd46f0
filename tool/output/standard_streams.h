// The standard output and the standard error, such that nothing which was printed is lost in
// silence.
#pragma once

#include "common/result.h"

#include <string_view>

namespace talvor {

// Before the program opens anything: a standard stream that is closed becomes one on which every
// use fails, so that no other file gets its number and what is printed does not end up there. From
// now on a pipe that nobody reads is an error of the writing, not a signal that kills.
void secure_standard_streams();

// Prints on the standard output. A failure is kept for flush_output and output_lost.
void write_output(std::string_view text);
// Prints on the standard error, as far as that can be done.
void write_error(std::string_view text);

// Whether something that was printed so far could not be written.
[[nodiscard]] bool output_lost() noexcept;
// Sees to it that everything printed so far has left the program. Errors (ErrorKind::BadFile): it
// has not, and why.
[[nodiscard]] Status flush_output();
// Whether what was lost was lost to a pipe that nobody reads, which would have killed a program
// that does not call secure_standard_streams.
[[nodiscard]] bool output_pipe_broken() noexcept;

} // namespace talvor
