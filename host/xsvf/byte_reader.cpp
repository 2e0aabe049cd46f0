#include "host/xsvf/byte_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace talvor::xsvf {

Failure ByteReader::error(uint64_t offset, std::string reason, std::string next_step) const {
    return file_error(fmt::format("{}:{}", source_.name(), offset), std::move(reason),
                      std::move(next_step));
}

// Whether there is more.
Result<bool> ByteReader::refill() {
    if (!chunk_.empty()) {
        return true;
    }
    if (begun_ && hook_ && !hook_()) {
        return usage_error(source_.name(), "stopped on request");
    }
    begun_ = true;
    chunk_ = TRY(source_.next_chunk());
    return !chunk_.empty();
}

Result<bool> ByteReader::at_end() {
    return !TRY(refill());
}

Result<uint32_t> ByteReader::number(size_t bytes, const char* what) {
    const uint64_t from = taken_;
    uint32_t value = 0;
    for (size_t i = 0; i < bytes; ++i) {
        if (!TRY(refill())) {
            return error(from, fmt::format("the file ends inside {}", what),
                         "the file may be cut short");
        }
        value = (value << 8) | static_cast<unsigned char>(chunk_.front());
        chunk_ = chunk_.subspan(1);
        ++taken_;
    }
    return value;
}

// The last byte holds bits 7 to 0, so the file is read from the highest word down.
Status ByteReader::value(uint64_t length_bits, const char* what, Bits& bits) {
    const uint64_t from = taken_;
    bits.clear();
    bits.resize(length_bits);
    const std::span<uint16_t> words = bits.words();
    for (uint64_t left = (length_bits + 7) / 8; left != 0;) {
        if (!TRY(refill())) {
            return error(from, fmt::format("the file ends inside the value of {}", what),
                         "the file may be cut short");
        }
        const auto count = static_cast<size_t>(std::min<uint64_t>(left, chunk_.size()));
        for (const char byte : chunk_.first(count)) {
            --left;
            const unsigned shift = (left % 2) * 8;
            words[left / 2] = static_cast<uint16_t>(
                words[left / 2] |
                (static_cast<unsigned>(static_cast<unsigned char>(byte)) << shift));
        }
        chunk_ = chunk_.subspan(count);
        taken_ += count;
    }
    bits.clear_unused();
    return {};
}

} // namespace talvor::xsvf
