#include "program.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

namespace talvor::cli {
namespace {

// The files of a run, gone when it ends.
class Folder {
public:
    Folder() { EXPECT_NE(mkdtemp(path_.data()), nullptr); }
    ~Folder() { std::filesystem::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }

private:
    std::string path_ = testing::TempDir() + "talvor-cli-XXXXXX";
};

} // namespace

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
    static const Folder folder;
    const std::string path = folder.path() + "/" + name;
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
