#include "common/temporary.h"

#include "common/system_calls.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <new>
#include <system_error>
#include <unistd.h>

namespace talvor {
namespace {

// The system replaces the last six letters.
std::string pattern() {
    const char* folder = std::getenv("TMPDIR");
    const bool given = folder != nullptr && *folder != '\0';
    return std::string(given ? folder : "/tmp") + "/talvor-XXXXXX";
}

} // namespace

Result<TemporaryFile> TemporaryFile::create() {
    std::string path = pattern();
    FileDescriptor file(
        past_interrupts([&] { return system_calls.mkostemp(path.data(), O_CLOEXEC); }));
    if (!file.is_open()) {
        return system_failure("making the temporary file " + path);
    }
    return TemporaryFile(std::move(path), std::move(file));
}

TemporaryFile& TemporaryFile::operator=(TemporaryFile&& other) noexcept {
    std::swap(path_, other.path_);
    std::swap(file_, other.file_);
    return *this;
}

TemporaryFile::~TemporaryFile() {
    if (!path_.empty()) {
        system_calls.unlink(path_.c_str());
    }
}

FileDescriptor TemporaryFile::detach() {
    system_calls.unlink(std::exchange(path_, {}).c_str());
    return std::move(file_);
}

Result<TemporaryFolder> TemporaryFolder::create() {
    std::string path = pattern();
    if (system_calls.mkdtemp(path.data()) == nullptr) {
        return system_failure("making the temporary folder " + path);
    }
    return TemporaryFolder(std::move(path));
}

TemporaryFolder& TemporaryFolder::operator=(TemporaryFolder&& other) noexcept {
    std::swap(path_, other.path_);
    return *this;
}

TemporaryFolder::~TemporaryFolder() {
    if (!path_.empty()) {
        try {
            std::error_code ignored;
            std::filesystem::remove_all(path_, ignored);
        } catch (const std::bad_alloc&) {
            // It stays.
        }
    }
}

} // namespace talvor
