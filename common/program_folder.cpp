#include "common/program_folder.h"

#include <system_error>
#include <utility>

namespace talvor {
namespace {

std::filesystem::path& chosen() {
    static std::filesystem::path folder;
    return folder;
}

} // namespace

std::filesystem::path program_folder() {
    if (!chosen().empty()) {
        return chosen();
    }
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::filesystem::path() : program.parent_path();
}

void choose_program_folder(std::filesystem::path folder) {
    chosen() = std::move(folder);
}

} // namespace talvor
