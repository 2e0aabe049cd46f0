#include "host/driver/block_error.h"

#include "common/shm_facts.h"
#include "host/driver/error_text.h"
#include "jti_typedef.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace talvor {
namespace {

// Of every controller block, whichever driver made it: the count of its users, and the block.
constexpr off_t kBlockBytes = 1048896;
constexpr const char* kBlockPrefix = "JTI-";
// What the driver allocates fits in one page.
constexpr size_t kTouchedBytes = 4096;

struct Block {
    std::string path;
    struct stat facts {};
};

std::vector<Block> controller_blocks() {
    std::vector<Block> blocks;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(kShmFolder, error), end; !error && entry != end;
         entry.increment(error)) {
        Block block{entry->path().string(), {}};
        if (entry->path().filename().string().starts_with(kBlockPrefix) &&
            lstat(block.path.c_str(), &block.facts) == 0) {
            blocks.push_back(std::move(block));
        }
    }
    std::ranges::sort(blocks, {}, &Block::path);
    return blocks;
}

bool is_closed_to_us(const Block& block) {
    return access(block.path.c_str(), R_OK | W_OK) != 0;
}

// One that has no size yet is about to be made.
bool has_a_wrong_size(const Block& block) {
    return block.facts.st_size != 0 && block.facts.st_size < kBlockBytes;
}

std::string size_text(const Block& block) {
    return fmt::format("{} has {} bytes instead of {}", block.path, block.facts.st_size,
                       kBlockBytes);
}

std::string named(const std::vector<Block>& blocks) {
    std::vector<std::string> paths;
    for (const Block& block : blocks) {
        paths.push_back(block.path);
    }
    return fmt::format("{}", fmt::join(paths, " and "));
}

template <typename Tell>
std::string told(const std::vector<Block>& blocks, Tell tell) {
    std::vector<std::string> texts;
    for (const Block& block : blocks) {
        texts.push_back(tell(block));
    }
    return fmt::format("{}", fmt::join(texts, "; "));
}

Failure with_code(Failure failed) {
    failed.value().code = eJTI_ERROR_SHARED_BLOCK;
    failed.value().reason += fmt::format(" ({})", code_label(eJTI_ERROR_SHARED_BLOCK));
    return failed;
}

} // namespace

Failure block_error(std::string thing) {
    if (shm_free_bytes().value_or(kTouchedBytes) < kTouchedBytes) {
        return with_code(shm_is_full(std::move(thing), kTouchedBytes));
    }
    std::vector<Block> blocks = controller_blocks();
    std::vector<Block> closed;
    std::ranges::copy_if(blocks, std::back_inserter(closed), is_closed_to_us);
    if (!closed.empty()) {
        return with_code(pod_error(
            std::move(thing),
            "the controller block is another user's: " +
                told(closed, [](const Block& one) { return owner_text(one.path, one.facts); }),
            fmt::format("have its owner or root remove {0}, or make it 0666 (chmod 666 {0})",
                        closed.size() == 1 ? named(closed) : "them")));
    }
    std::erase_if(blocks, [](const Block& block) { return !has_a_wrong_size(block); });
    if (!blocks.empty()) {
        return with_code(pod_error(
            std::move(thing), "a controller block has a wrong size: " + told(blocks, size_text),
            "remove " + named(blocks)));
    }
    return library_error(std::move(thing), eJTI_ERROR_SHARED_BLOCK);
}

} // namespace talvor
