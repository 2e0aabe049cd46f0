// A text that becomes a file.
#pragma once

#include "common/result.h"

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <utility>

namespace talvor {

// One that is written piece by piece. Errors (ErrorKind::BadFile): it cannot be written, and why.
class TextFile {
public:
    // Makes the file, or empties it. "-" is the standard output.
    [[nodiscard]] static Result<TextFile> create(const std::string& path);
    TextFile(TextFile&& other) noexcept
        : file_(std::exchange(other.file_, nullptr)), path_(std::move(other.path_)) {}
    TextFile& operator=(TextFile&&) = delete;
    ~TextFile();

    [[nodiscard]] Status add(std::string_view text);
    // It is on the disk as far as the program can tell.
    [[nodiscard]] Status close();

private:
    TextFile(std::FILE* file, std::string path) : file_(file), path_(std::move(path)) {}
    [[nodiscard]] Failure failed() const;

    std::FILE* file_;
    std::string path_;
};

// What becomes of a file that is there already.
enum class Existing : uint8_t { Replaced, Kept };

// The whole of it at once: a plain file is written whole or stays as it was. What is none (a
// device, a pipe, a symbolic link) is written through. Kept: an error where there is anything.
[[nodiscard]] Status write_text_file(const std::string& path, const std::string& text,
                                     Existing existing = Existing::Replaced,
                                     unsigned permissions = 0666);

} // namespace talvor
