// A text that becomes a file.
#pragma once

#include "common/result.h"

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

// The whole of it at once.
[[nodiscard]] Status write_text_file(const std::string& path, const std::string& text);

} // namespace talvor
