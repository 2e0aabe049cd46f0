// A log of records as CSV, to which several programs append at the same time, and which holds
// whatever was appended, however the programs end.
#pragma once

#include "common/file_descriptor.h"
#include "common/result.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace talvor {

// A field as RFC 4180 writes it: in quotes where it holds a comma or a quote. What would break the
// line (control characters) becomes a blank, so that a record is a line.
[[nodiscard]] std::string csv_field(std::string_view text);
// The line of a record, with its newline.
[[nodiscard]] std::string csv_line(const std::vector<std::string>& fields);

class RecordLog {
public:
    // Opens the file, or makes it with `heads` as its first line. A last line that a crash has cut
    // short is cut off and appended to FILE.torn, so that it is neither lost nor in the way;
    // torn() tells. Errors (ErrorKind::BadFile): it cannot be written; it is no plain file; its
    // first line is another one, so that it is some other file, which stays as it is.
    [[nodiscard]] static Result<RecordLog> open(const std::string& path,
                                                const std::vector<std::string>& heads);

    // Appends a record, of as many fields as there are heads, by one write, and waits until it is
    // on the disk. Errors (ErrorKind::BadFile): it is not in the file, which is as it was.
    [[nodiscard]] Status append(const std::vector<std::string>& fields);

    // What was cut off when it was opened; "": nothing.
    [[nodiscard]] const std::string& torn() const noexcept { return torn_; }
    // Where it was put.
    [[nodiscard]] std::string torn_path() const { return path_ + ".torn"; }

private:
    explicit RecordLog(std::string path) : path_(std::move(path)) {}
    [[nodiscard]] Status prepare(const std::string& head_line);
    // Looks at the first line of a file that has one.
    [[nodiscard]] Status check_head(const std::string& head_line, uint64_t size) const;
    // Sets a last line without a newline apart; answers the size that is left.
    [[nodiscard]] Result<uint64_t> set_torn_apart(uint64_t size);
    [[nodiscard]] Status write_line(const std::string& line);
    [[nodiscard]] Result<uint64_t> size() const;
    [[nodiscard]] Failure failed(const std::string& what) const;

    std::string path_;
    FileDescriptor file_;
    std::string torn_;
};

} // namespace talvor
