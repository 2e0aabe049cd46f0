#include "program.h"

#include <fstream>
#include <sstream>
#include <unistd.h>

#include <gtest/gtest.h>

namespace talvor::cli {

Outcome talvor(std::vector<std::string> arguments, const std::string& input) {
    arguments.insert(arguments.begin(), test_support::built_program("talvor"));
    test_support::ProgramResult result = test_support::run_program(arguments, input);
    return {result.status, std::move(result.output), std::move(result.errors)};
}

Outcome simulated(std::vector<std::string> arguments, const std::string& input) {
    arguments.insert(arguments.begin(), "--simulate");
    return talvor(std::move(arguments), input);
}

std::string five() {
    return read_file(source_file("tool/session/built_in.toml"));
}

std::string file_with(const std::string& name, const std::string& text) {
    const std::string path = testing::TempDir() + "talvor-cli-" + std::to_string(getpid()) + name;
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
    return path;
}

std::string source_file(const std::string& name) {
    return TALVOR_SOURCE_DIR "/" + name;
}

std::string read_file(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

} // namespace talvor::cli
