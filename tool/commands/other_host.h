// Other hosts of the pod that this process is connected to.
#pragma once

#include <optional>
#include <string>

namespace talvor {

// A controller block as a process has it mapped. The name says nothing by itself: each /dev/shm has
// blocks of its own.
struct MappedBlock {
    std::string path;
    std::string identity; // device and inode, as the kernel writes them

    friend bool operator==(const MappedBlock& one, const MappedBlock& other) {
        return one.identity == other.identity;
    }
};

// The one that a process has mapped; nothing when there is none, or no right to look. `process` is
// its number, or "self".
[[nodiscard]] std::optional<MappedBlock> mapped_controller_block(const std::string& process);
// The number of another process that has `block` mapped; "" when there is none.
[[nodiscard]] std::string other_host(const MappedBlock& block);

} // namespace talvor
