#include "tool/output/text_file.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>

namespace talvor {

Failure TextFile::failed() const {
    return file_error(path_, fmt::format("cannot be written: {}", std::strerror(errno)),
                      "choose another place, or make room");
}

Result<TextFile> TextFile::create(const std::string& path) {
    errno = 0;
    TextFile file(path == "-" ? stdout : std::fopen(path.c_str(), "we"), path);
    if (file.file_ == nullptr) {
        return file.failed();
    }
    return file;
}

TextFile::~TextFile() {
    if (file_ != nullptr && file_ != stdout) {
        std::fclose(file_);
    }
}

Status TextFile::add(std::string_view text) {
    errno = 0;
    return std::fwrite(text.data(), 1, text.size(), file_) == text.size() ? Status() : failed();
}

// The end of the program tells whether the standard output was written.
Status TextFile::close() {
    if (file_ == stdout) {
        return {};
    }
    errno = 0;
    return std::fclose(std::exchange(file_, nullptr)) == 0 ? Status() : failed();
}

Status write_text_file(const std::string& path, const std::string& text) {
    TextFile file = TRY(TextFile::create(path));
    TRY(file.add(text));
    return file.close();
}

} // namespace talvor
