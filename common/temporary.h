// Files and folders that are gone when their owner is. They lie in $TMPDIR, or in /tmp.
#pragma once

#include "common/file_descriptor.h"
#include "common/result.h"

#include <string>
#include <utility>

namespace talvor {

// A file of its own name, removed with the object.
class TemporaryFile {
public:
    // Makes an empty one, open for reading and writing. On failure errno holds the reason.
    [[nodiscard]] static Result<TemporaryFile> create();

    TemporaryFile(TemporaryFile&& other) noexcept
        : path_(std::exchange(other.path_, {})), file_(std::move(other.file_)) {}
    TemporaryFile& operator=(TemporaryFile&& other) noexcept;
    ~TemporaryFile();

    [[nodiscard]] const std::string& path() const noexcept { return path_; }
    [[nodiscard]] int descriptor() const noexcept { return file_.get(); }
    // Takes the name away, now; gives the open file, which lives until it is closed.
    [[nodiscard]] FileDescriptor detach();

private:
    TemporaryFile(std::string path, FileDescriptor file) noexcept
        : path_(std::move(path)), file_(std::move(file)) {}

    std::string path_;
    FileDescriptor file_;
};

// A folder of its own name, removed with all that is in it.
class TemporaryFolder {
public:
    [[nodiscard]] static Result<TemporaryFolder> create();

    TemporaryFolder(TemporaryFolder&& other) noexcept : path_(std::exchange(other.path_, {})) {}
    TemporaryFolder& operator=(TemporaryFolder&& other) noexcept;
    ~TemporaryFolder();

    [[nodiscard]] const std::string& path() const noexcept { return path_; }

private:
    explicit TemporaryFolder(std::string path) noexcept : path_(std::move(path)) {}

    std::string path_;
};

} // namespace talvor
