#include "tool/output/text_file.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace talvor {

Status write_text_file(const std::string& path, const std::string& text) {
    errno = 0;
    std::FILE* const file = std::fopen(path.c_str(), "we");
    const bool written =
        file != nullptr && std::fwrite(text.data(), 1, text.size(), file) == text.size();
    const bool closed = file != nullptr && std::fclose(file) == 0;
    if (!written || !closed) {
        return file_error(path, fmt::format("cannot be written: {}", std::strerror(errno)),
                          "choose another place, or make room");
    }
    return {};
}

} // namespace talvor
