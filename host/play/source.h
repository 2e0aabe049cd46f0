// Where the bytes of a file come from.
#pragma once

#include "common/file_descriptor.h"
#include "common/result.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::play {

class ByteSource {
public:
    virtual ~ByteSource() = default;

    // The next bytes, in a buffer that stays as it is until the next call; empty at the end.
    // Errors (ErrorKind::BadFile): the file cannot be read.
    [[nodiscard]] virtual Result<std::span<const char>> next_chunk() = 0;
    // Back to the first byte.
    [[nodiscard]] virtual Status rewind() = 0;
    // How many bytes there are in all.
    [[nodiscard]] virtual uint64_t total_bytes() const = 0;
    // What messages call it.
    [[nodiscard]] virtual const std::string& name() const = 0;
};

// Text in memory, which outlives the source. `chunk_bytes` limits the pieces that it is handed out
// in.
class TextSource final : public ByteSource {
public:
    explicit TextSource(std::string_view text, std::string name = "text",
                        size_t chunk_bytes = SIZE_MAX);

    [[nodiscard]] Result<std::span<const char>> next_chunk() override;
    [[nodiscard]] Status rewind() override;
    [[nodiscard]] uint64_t total_bytes() const override { return text_.size(); }
    [[nodiscard]] const std::string& name() const override { return name_; }

private:
    std::string_view text_;
    std::string name_;
    size_t chunk_bytes_;
    size_t position_ = 0;
};

// A file on disk, read in pieces.
class FileSource final : public ByteSource {
public:
    // The most that is copied; far less than a disk, and more than a pipe should bring.
    static constexpr uint64_t kMaxSpooledBytes = uint64_t{16} << 30;

    // A regular file is read where it lies. What cannot be read twice (a pipe, a socket, a
    // terminal) is first copied to a nameless file in the folder for temporary files. "-" is the
    // standard input. Errors (ErrorKind::BadFile): no such file, no right to read it, a directory
    // or a device, no room, more than kMaxSpooledBytes in a pipe. (ErrorKind::Refused): a signal
    // asked for the end while a pipe brought nothing.
    [[nodiscard]] static Result<std::unique_ptr<FileSource>> open(const std::string& path);
    // The same for a descriptor that is open, with another bound for what is copied.
    [[nodiscard]] static Result<std::unique_ptr<FileSource>>
    adopt(FileDescriptor file, std::string name, uint64_t max_spooled_bytes = kMaxSpooledBytes);

    [[nodiscard]] Result<std::span<const char>> next_chunk() override;
    [[nodiscard]] Status rewind() override;
    [[nodiscard]] uint64_t total_bytes() const override { return total_bytes_; }
    [[nodiscard]] const std::string& name() const override { return name_; }

private:
    FileSource(FileDescriptor file, std::string name, uint64_t total_bytes);

    FileDescriptor file_;
    std::string name_;
    uint64_t total_bytes_;
    std::vector<char> buffer_;
};

} // namespace talvor::play
