#include "tool/commands/script_source.h"

#include "common/interrupt.h"
#include "common/system_calls.h"
#include "tool/commands/script_line.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace talvor {

Result<ScriptSource> ScriptSource::open(const std::string& path) {
    ScriptSource source(path == "-" ? "standard input" : path);
    if (path != "-") {
        source.file_ = FileDescriptor(system_calls.open(path.c_str(), O_RDONLY | O_CLOEXEC, 0));
        if (!source.file_.is_open()) {
            return file_error(path, fmt::format("cannot be read: {}", std::strerror(errno)),
                              "name a script, or - for the standard input");
        }
    }
    return source;
}

Result<std::optional<ScriptLine>> ScriptSource::next() {
    std::optional<std::string> piece = TRY(next_piece());
    if (!piece) {
        return std::optional<ScriptLine>();
    }
    ScriptLine line{*std::move(piece), number_};
    while (goes_on(line.text)) {
        piece = TRY(next_piece());
        if (!piece) {
            break;
        }
        line.text += "\n" + *piece;
    }
    return std::optional(std::move(line));
}

Result<std::optional<std::string>> ScriptSource::next_piece() {
    for (;;) {
        const size_t end = read_.find('\n', searched_);
        if (end != std::string::npos || (ended_ && !read_.empty())) {
            std::string piece = read_.substr(0, end);
            read_.erase(0, end == std::string::npos ? end : end + 1);
            searched_ = 0;
            ++number_;
            return std::optional(std::move(piece));
        }
        if (ended_) {
            return std::optional<std::string>();
        }
        searched_ = read_.size();
        TRY(read_more());
    }
}

Status ScriptSource::read_more() {
    if (read_.size() > kLongestLine) {
        return file_error(fmt::format("{}:{}", name_, number_ + 1),
                          fmt::format("the line is longer than {} bytes", kLongestLine));
    }
    const int file = file_.is_open() ? file_.get() : STDIN_FILENO;
    TRY(await_input(file));
    std::array<char, 65536> more{};
    const ssize_t got = ::read(file, more.data(), more.size());
    if (got < 0 && errno != EINTR && errno != EAGAIN) {
        return file_error(name_, fmt::format("cannot be read: {}", std::strerror(errno)));
    }
    ended_ = got == 0;
    read_.append(more.data(), static_cast<size_t>(got < 0 ? 0 : got));
    return {};
}

} // namespace talvor
