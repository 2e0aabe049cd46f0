#include "tool/output/standard_streams.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace talvor {
namespace {

int g_first_error = 0;        // errno of the first text that was lost
bool g_pipe_may_kill = false; // as it was when the program began

void keep_error(int error) noexcept {
    g_first_error = g_first_error != 0 ? g_first_error : error;
}

// For the wrong direction, so that every use is an error. Opening takes the lowest free number.
void secure(int stream, int direction) {
    if (fcntl(stream, F_GETFD) < 0 && errno == EBADF) {
        (void)open("/dev/null", direction);
    }
}

} // namespace

void secure_standard_streams() {
    secure(STDIN_FILENO, O_WRONLY);
    secure(STDOUT_FILENO, O_RDONLY);
    secure(STDERR_FILENO, O_RDONLY);
    g_pipe_may_kill = std::signal(SIGPIPE, SIG_IGN) == SIG_DFL;
}

void write_output(std::string_view text) {
    errno = 0;
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) {
        keep_error(errno);
    }
}

void write_error(std::string_view text) {
    (void)std::fwrite(text.data(), 1, text.size(), stderr);
}

bool output_lost() noexcept {
    return g_first_error != 0 || std::ferror(stdout) != 0;
}

Status flush_output() {
    if (std::fflush(stdout) != 0) {
        keep_error(errno);
    } else if (const int twin = dup(STDOUT_FILENO); twin >= 0 && close(twin) != 0) {
        keep_error(errno); // some file systems tell only then
    }
    if (!output_lost()) {
        return {};
    }
    return file_error("standard output",
                      g_first_error == 0
                          ? "could not be written"
                          : std::string("could not be written: ") + std::strerror(g_first_error),
                      "what was printed is not complete; do it again with room for it");
}

bool output_pipe_broken() noexcept {
    return g_first_error == EPIPE && g_pipe_may_kill;
}

} // namespace talvor
