#include "support/run_program.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

namespace test_support {
namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

// An unnamed temporary file never fills up and never blocks, as a pipe would.
File temporary_file() {
    File file(std::tmpfile(), &std::fclose);
    if (!file) {
        std::perror("tmpfile");
        std::exit(1);
    }
    return file;
}

std::string contents(std::FILE* file) {
    std::rewind(file);
    std::string text;
    std::array<char, 65536> part;
    for (size_t count = 0; (count = std::fread(part.data(), 1, part.size(), file)) > 0;) {
        text.append(part.data(), count);
    }
    return text;
}

[[noreturn]] void become(const std::vector<std::string>& command, std::FILE* in, std::FILE* out,
                         std::FILE* err) {
    std::vector<char*> arguments;
    for (const std::string& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    dup2(fileno(in), STDIN_FILENO);
    dup2(fileno(out), STDOUT_FILENO);
    dup2(fileno(err), STDERR_FILENO);
    execvp(arguments[0], arguments.data());
    std::perror(arguments[0]);
    _exit(127);
}

} // namespace

ProgramResult run_program(const std::vector<std::string>& command, const std::string& input) {
    const File in = temporary_file();
    const File out = temporary_file();
    const File err = temporary_file();
    std::fwrite(input.data(), 1, input.size(), in.get());
    std::fflush(in.get());
    std::rewind(in.get());

    const pid_t child = fork();
    if (child == 0) {
        become(command, in.get(), out.get(), err.get());
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return {code, contents(out.get()), contents(err.get())};
}

} // namespace test_support
