#include "tool/output/text_file.h"

#include "common/file_descriptor.h"
#include "common/system_calls.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace talvor {

namespace {

Failure cannot_be_written(const std::string& path) {
    return file_error(path, fmt::format("cannot be written: {}", std::strerror(errno)),
                      "choose another place, or make room");
}

} // namespace

Failure TextFile::failed() const {
    return cannot_be_written(path_);
}

Result<TextFile> TextFile::create(const std::string& path) {
    errno = 0;
    TextFile file(path == "-" ? stdout : system_calls.fopen(path.c_str(), "we"), path);
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

namespace {

bool is_plain_or_new(const std::string& path) {
    struct stat facts {};
    return system_calls.lstat(path.c_str(), &facts) != 0 || S_ISREG(facts.st_mode);
}

// With errno as the reason where it answers false.
bool write_new(const std::string& path, int how, const std::string& text, unsigned permissions) {
    const FileDescriptor file(
        system_calls.open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | how, permissions));
    return file.is_open() && write_all(file.get(), text);
}

// Takes away what was begun, and keeps errno.
void take_away(const std::string& path) {
    const int code = errno;
    (void)system_calls.unlink(path.c_str());
    errno = code;
}

bool replace(const std::string& path, const std::string& text, unsigned permissions) {
    const std::string partial = path + ".part";
    if (write_new(partial, O_TRUNC, text, permissions) &&
        system_calls.rename(partial.c_str(), path.c_str()) == 0) {
        return true;
    }
    take_away(partial);
    return false;
}

bool make(const std::string& path, const std::string& text, unsigned permissions) {
    if (write_new(path, O_EXCL, text, permissions)) {
        return true;
    }
    if (errno != EEXIST) {
        take_away(path);
    }
    return false;
}

} // namespace

Status write_text_file(const std::string& path, const std::string& text, Existing existing,
                       unsigned permissions) {
    errno = 0;
    const bool written = existing == Existing::Kept ? make(path, text, permissions)
                         : is_plain_or_new(path)    ? replace(path, text, permissions)
                                                    : write_new(path, O_TRUNC, text, permissions);
    return written ? Status() : cannot_be_written(path);
}

} // namespace talvor
