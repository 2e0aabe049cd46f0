// A program's main function where memory may run out.
#pragma once

namespace talvor {

// The exit status of a program that has no memory left.
inline constexpr int kOutOfMemoryStatus = 1;

// Runs `body`, and gives its exit status. When memory runs out, "PROGRAM: out of memory" is said on
// the standard error stream, everything is taken down in order, and the status is
// kOutOfMemoryStatus; where nothing can be taken down any more (in a destructor, in a thread,
// before main) the program ends at once with the same words and status. Any other exception that
// nobody has caught is said, and ends the program with 1.
int run_guarded(int (*body)(int, char**), int argc, char** argv) noexcept;

} // namespace talvor
