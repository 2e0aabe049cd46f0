#include "tool/commands/other_host.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>
#include <unistd.h>

namespace talvor {

std::optional<MappedBlock> mapped_controller_block(const std::string& process) {
    std::ifstream maps("/proc/" + process + "/maps");
    for (std::string line; std::getline(maps, line);) {
        // The driver's name for such blocks.
        const size_t at = line.find("/dev/shm/JTI-");
        if (at == std::string::npos) {
            continue;
        }
        // "7f00-7f10 rw-s 00000000 00:1b 77  /dev/shm/JTI-..."
        std::istringstream fields(line);
        std::string addresses;
        std::string access;
        std::string offset;
        std::string device;
        std::string inode;
        fields >> addresses >> access >> offset >> device >> inode;
        return MappedBlock{line.substr(at), device + ":" + inode};
    }
    return std::nullopt;
}

std::string other_host(const MappedBlock& block) {
    const std::string self = std::to_string(getpid());
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
        const std::string process = entry.path().filename().string();
        if (process != self && process.find_first_not_of("0123456789") == std::string::npos &&
            mapped_controller_block(process) == block) {
            return process;
        }
    }
    return "";
}

} // namespace talvor
