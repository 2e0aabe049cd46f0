#include "support/run_program.h"

#include "common/child_process.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace test_support {
namespace {

constexpr int kNotRun = 127; // as a shell reports it

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

} // namespace

ProgramResult run_program(const std::vector<std::string>& command, const std::string& input) {
    const File in = temporary_file();
    const File out = temporary_file();
    const File err = temporary_file();
    std::fwrite(input.data(), 1, input.size(), in.get());
    std::fflush(in.get());
    std::rewind(in.get());

    auto child = talvor::ChildProcess::spawn({.arguments = command,
                                              .input = fileno(in.get()),
                                              .output = fileno(out.get()),
                                              .errors = fileno(err.get())});
    if (!child) {
        return {kNotRun, "", headline(child.error()) + "\n"};
    }
    const int status = child->wait().shell_status();
    return {status, contents(out.get()), contents(err.get())};
}

} // namespace test_support
