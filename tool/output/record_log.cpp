#include "tool/output/record_log.h"

#include "common/system_calls.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <sys/file.h>

namespace talvor {
namespace {

constexpr const char* kNextStep = "choose another place, or make room";

// The lock of everybody who appends: what a holder of it finds torn is torn for good.
class Locked {
public:
    explicit Locked(int file) noexcept
        : file_(file),
          held_(past_interrupts([file] { return system_calls.flock(file, LOCK_EX); }) == 0) {}
    ~Locked() {
        if (held_) {
            const int code = errno;
            (void)system_calls.flock(file_, LOCK_UN);
            errno = code;
        }
    }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

    [[nodiscard]] bool held() const noexcept { return held_; }

private:
    int file_;
    bool held_;
};

// So many bytes from `from` on; nothing, with errno as the reason, when they cannot be had.
std::optional<std::string> read_part(int file, uint64_t from, uint64_t count) {
    std::string text(count, '\0');
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t got = past_interrupts([&] {
            return system_calls.pread(file, text.data() + done, text.size() - done,
                                      static_cast<off_t>(from + done));
        });
        if (got <= 0) {
            errno = got == 0 ? EIO : errno;
            return std::nullopt;
        }
        done += static_cast<size_t>(got);
    }
    return text;
}

// Where the last line of the file begins; nothing, with errno as the reason.
std::optional<uint64_t> last_line(int file, uint64_t size) {
    constexpr uint64_t kPiece = 4096;
    for (uint64_t end = size; end != 0;) {
        const uint64_t from = end - std::min(end, kPiece);
        const auto piece = read_part(file, from, end - from);
        if (!piece) {
            return std::nullopt;
        }
        if (const size_t at = piece->rfind('\n'); at != std::string::npos) {
            return from + at + 1;
        }
        end = from;
    }
    return 0;
}

bool on_disk(int file) {
    return past_interrupts([file] { return system_calls.fsync(file); }) == 0;
}

bool cut(int file, uint64_t size) {
    return past_interrupts(
               [&] { return system_calls.ftruncate(file, static_cast<off_t>(size)); }) == 0;
}

// A new name is on the disk once its folder is; where a folder cannot be synchronised it is not.
void keep_name(const std::string& path) {
    const std::string folder = std::filesystem::path(path).parent_path().string();
    const FileDescriptor opened = open_file(folder.empty() ? "." : folder.c_str(), O_RDONLY);
    if (opened.is_open()) {
        (void)on_disk(opened.get());
    }
}

} // namespace

std::string csv_field(std::string_view text) {
    std::string field(text);
    std::ranges::replace_if(
        field, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; }, ' ');
    if (field.find_first_of(",\"") == std::string::npos) {
        return field;
    }
    for (size_t at = 0; (at = field.find('"', at)) != std::string::npos; at += 2) {
        field.insert(at, 1, '"');
    }
    return '"' + field + '"';
}

std::string csv_line(const std::vector<std::string>& fields) {
    std::string line;
    for (const std::string& field : fields) {
        line += csv_field(field) + ',';
    }
    line.back() = '\n';
    return line;
}

Failure RecordLog::failed(const std::string& what) const {
    return file_error(path_, fmt::format("{}: {}", what, std::strerror(errno)), kNextStep);
}

Result<uint64_t> RecordLog::size() const {
    struct stat facts {};
    if (system_calls.fstat(file_.get(), &facts) != 0) {
        return failed("cannot be looked at");
    }
    if (!S_ISREG(facts.st_mode)) {
        return file_error(path_, "is no plain file, which a log has to be",
                          "name a file that is one, or will be");
    }
    return static_cast<uint64_t>(facts.st_size);
}

Result<RecordLog> RecordLog::open(const std::string& path, const std::vector<std::string>& heads) {
    constexpr unsigned kPermissions = 0666;
    RecordLog log(path);
    errno = 0;
    // A pipe would be waited for.
    log.file_ =
        open_file(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK, kPermissions);
    if (!log.file_.is_open()) {
        return log.failed("cannot be written");
    }
    TRY(log.size());
    TRY(log.prepare(csv_line(heads)));
    return log;
}

Status RecordLog::prepare(const std::string& head_line) {
    const Locked lock(file_.get());
    if (!lock.held()) {
        return failed("cannot be locked");
    }
    uint64_t left = TRY(size());
    TRY(check_head(head_line, left));
    left = TRY(set_torn_apart(left));
    if (left == 0) {
        TRY(write_line(head_line));
        keep_name(path_);
    }
    return {};
}

Status RecordLog::check_head(const std::string& head_line, uint64_t size) const {
    const auto head = read_part(file_.get(), 0, std::min<uint64_t>(size, head_line.size()));
    if (!head) {
        return failed("cannot be read");
    }
    // One that was being made when its program ended has a part of the line.
    if (!head_line.starts_with(*head)) {
        return file_error(path_, "is another file: its first line is not that of this log",
                          "name another file; a new one begins with " +
                              head_line.substr(0, head_line.size() - 1));
    }
    return {};
}

Result<uint64_t> RecordLog::set_torn_apart(uint64_t size) {
    const auto from = last_line(file_.get(), size);
    if (!from) {
        return failed("cannot be read");
    }
    if (*from == size) {
        return size;
    }
    auto torn = read_part(file_.get(), *from, size - *from);
    if (!torn) {
        return failed("cannot be read");
    }
    // First there, then no longer here: at no moment nowhere.
    const FileDescriptor apart =
        open_file(torn_path().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (!apart.is_open() || !write_all(apart.get(), *torn + '\n') || !on_disk(apart.get())) {
        return file_error(torn_path(),
                          fmt::format("cannot take the last line of {}, which a crash has cut "
                                      "short: {}",
                                      path_, std::strerror(errno)),
                          kNextStep);
    }
    if (!cut(file_.get(), *from)) {
        return failed("cannot be cut behind its last whole line");
    }
    torn_ = *std::move(torn);
    return *from;
}

Status RecordLog::write_line(const std::string& line) {
    const uint64_t before = TRY(size());
    const ssize_t written =
        past_interrupts([&] { return system_calls.write(file_.get(), line.data(), line.size()); });
    if (written == static_cast<ssize_t>(line.size()) && on_disk(file_.get())) {
        return {};
    }
    // A part of a line, where the disk is full: it goes again.
    const int code = written < 0 || written == static_cast<ssize_t>(line.size()) ? errno : ENOSPC;
    (void)cut(file_.get(), before);
    errno = code;
    return failed("cannot be written");
}

Status RecordLog::append(const std::vector<std::string>& fields) {
    const Locked lock(file_.get());
    if (!lock.held()) {
        return failed("cannot be locked");
    }
    // One of somebody else, who ended within it, beside us.
    TRY(set_torn_apart(TRY(size())));
    return write_line(csv_line(fields));
}

} // namespace talvor
