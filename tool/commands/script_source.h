// Where the lines of a script come from.
#pragma once

#include "common/file_descriptor.h"
#include "common/result.h"

#include <cstdint>
#include <optional>
#include <string>

namespace talvor {

struct ScriptLine {
    std::string text;    // with those that it goes on with
    uint64_t number = 0; // of its first one, from 1
};

// Reads line by line, as they come: whoever writes them may look at the answers before it writes
// the next.
class ScriptSource {
public:
    // A line longer than this is an error.
    static constexpr size_t kLongestLine = size_t{64} << 20U;

    // "-" is the standard input. Errors (ErrorKind::BadFile): it cannot be read.
    [[nodiscard]] static Result<ScriptSource> open(const std::string& path);

    [[nodiscard]] const std::string& name() const noexcept { return name_; }
    // The next line; nothing at the end. Errors: it cannot be read (ErrorKind::BadFile), or an
    // interrupt.
    [[nodiscard]] Result<std::optional<ScriptLine>> next();

private:
    explicit ScriptSource(std::string name) : name_(std::move(name)) {}

    [[nodiscard]] Result<std::optional<std::string>> next_piece();
    [[nodiscard]] Status read_more();

    std::string name_;
    FileDescriptor file_; // closed: the standard input
    std::string read_;    // and not given out yet
    size_t searched_ = 0; // of it, for a line end
    uint64_t number_ = 0;
    bool ended_ = false;
};

} // namespace talvor
