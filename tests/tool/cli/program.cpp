#include "program.h"

#include "common/toml.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <thread>

namespace talvor::cli {
namespace {

// How long a condition may take on a machine that has much else to do.
constexpr std::chrono::seconds kPatience{60};

} // namespace

// No board file and no names of parts of whoever runs the tests.
[[maybe_unused]] const bool kOwnSurroundings =
    unsetenv("TALVOR_BOARD") == 0 && setenv("TALVOR_PARTS", "", 1) == 0 &&
    setenv("XDG_CONFIG_HOME", "/dev/null/none", 1) == 0 &&
    setenv("XDG_STATE_HOME", "/dev/null", 1) == 0;
// Looked at by sanitized programs only.
[[maybe_unused]] const bool kForeignLeaks =
    setenv("LSAN_OPTIONS",
           "print_suppressions=0:suppressions=" TALVOR_SOURCE_DIR "/tests/support/lsan.supp",
           0) == 0;

Outcome talvor(std::vector<std::string> arguments, const std::string& input) {
    arguments.insert(arguments.begin(), test_support::built_program("talvor"));
    test_support::ProgramResult result = test_support::run_program(arguments, input);
    return {result.status, std::move(result.output), std::move(result.errors)};
}

Outcome simulated(std::vector<std::string> arguments, const std::string& input) {
    arguments.insert(arguments.begin(), "--simulate");
    return talvor(std::move(arguments), input);
}

bool installed(const std::string& program) {
    return test_support::run_program({"sh", "-c", "command -v " + program}).status == 0;
}

bool await(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

Running::Running(std::vector<std::string> arguments)
    : out_(TemporaryFile::create().value()), err_(TemporaryFile::create().value()),
      process_(start(std::move(arguments), out_.descriptor(), err_.descriptor())) {}

ChildProcess Running::start(std::vector<std::string> arguments, int out, int err) {
    arguments.insert(arguments.begin(), test_support::built_program("talvor"));
    SpawnOptions options;
    options.arguments = std::move(arguments);
    options.output = out;
    options.errors = err;
    return ChildProcess::spawn(options).value();
}

Running::~Running() {
    if (process_.running()) {
        process_.signal(SIGKILL);
        process_.wait();
    }
}

std::string five() {
    return read_file(source_file("examples/five.toml"));
}

std::string file_with(const std::string& name, const std::string& text) {
    static const TemporaryFolder folder = TemporaryFolder::create().value();
    const std::string path = folder.path() + "/" + name;
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
    return path;
}

std::string source_file(const std::string& name) {
    return TALVOR_SOURCE_DIR "/" + name;
}

std::string read_file(const std::string& path) {
    return read_text_file(path, UINT64_MAX).value();
}

} // namespace talvor::cli
