#include "podsim/trace/last_part.h"

#include "common/system_calls.h"
#include "common/temporary.h"

#include <algorithm>
#include <string>
#include <unistd.h>

namespace talvor::podsim::trace {
namespace {

constexpr size_t kCopyBytes = size_t{1} << 16;

// Copies the first `bytes` of one file behind what another has.
bool copy(int from, uint64_t bytes, int to) {
    std::string piece;
    for (uint64_t at = 0; at < bytes; at += piece.size()) {
        piece.resize(std::min<uint64_t>(bytes - at, kCopyBytes));
        const ssize_t got = past_interrupts([&] {
            return system_calls.pread(from, piece.data(), piece.size(), static_cast<off_t>(at));
        });
        if (got <= 0) {
            errno = got == 0 ? EIO : errno;
            return false;
        }
        piece.resize(static_cast<size_t>(got));
        if (!write_all(to, piece)) {
            return false;
        }
    }
    return true;
}

} // namespace

Result<LastPart> LastPart::create(uint64_t bytes, uint64_t clocks) {
    TemporaryFile one = TRY(TemporaryFile::create());
    TemporaryFile other = TRY(TemporaryFile::create());
    return LastPart(one.detach(), other.detach(), bytes, clocks);
}

bool LastPart::is_full(const Part& part, size_t bytes, uint64_t clocks) const noexcept {
    return part.bytes > 0 && ((bytes_ > 0 && part.bytes + bytes > bytes_ / 2) ||
                              (clocks_ > 0 && clocks - part.beginning.clocks > clocks_ / 2));
}

// Goes over to the other file, whose content is let go.
bool LastPart::turn() {
    Part& next = parts_[1 - current_];
    const auto empty = [&] { return system_calls.ftruncate(next.file.get(), 0); };
    if (past_interrupts(empty) != 0 || system_calls.lseek(next.file.get(), 0, SEEK_SET) != 0) {
        return false;
    }
    next.bytes = 0;
    current_ = 1 - current_;
    return true;
}

bool LastPart::add(std::string_view piece, const Moment& begin, const Moment& end) {
    if (is_full(parts_[current_], piece.size(), end.clocks) && !turn()) {
        return false;
    }
    Part& part = parts_[current_];
    if (part.bytes == 0) {
        part.beginning = begin;
    }
    part.bytes += piece.size();
    return write_all(part.file.get(), piece);
}

const LastPart::Part& LastPart::older() const noexcept {
    const Part& other = parts_[1 - current_];
    return other.bytes > 0 ? other : parts_[current_];
}

bool LastPart::copy_to(int fd) const {
    const Part& other = parts_[1 - current_];
    const Part& current = parts_[current_];
    return copy(other.file.get(), other.bytes, fd) && copy(current.file.get(), current.bytes, fd);
}

} // namespace talvor::podsim::trace
