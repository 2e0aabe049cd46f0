#include "host/stapl/aca.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <optional>

namespace talvor::stapl {

namespace {

constexpr unsigned kCountBits = 32;
constexpr unsigned kByteBits = 8;
constexpr unsigned kCharacterBits = 6;
constexpr size_t kLiteralBytes = 3;

class BitStream {
public:
    explicit BitStream(std::string_view characters) : characters_(characters) {}

    // The next bits, at most 32 of them; nothing when there are not so many.
    std::optional<uint32_t> take(unsigned count) {
        while (have_ < count) {
            if (next_ == characters_.size()) {
                return std::nullopt;
            }
            held_ |= static_cast<uint64_t>(aca_value(characters_[next_++])) << have_;
            have_ += kCharacterBits;
        }
        const auto bits = static_cast<uint32_t>(held_ & ((uint64_t{1} << count) - 1));
        held_ >>= count;
        have_ -= count;
        return bits;
    }

private:
    std::string_view characters_;
    size_t next_ = 0;
    uint64_t held_ = 0;
    unsigned have_ = 0;
};

Failure cut_short() {
    return file_error("", "the compressed data ends too early", "the file may be cut short");
}

Status take_bytes(BitStream& stream, std::vector<uint8_t>& bytes, size_t wanted) {
    for (size_t left = std::min(kLiteralBytes, wanted - bytes.size()); left != 0; --left) {
        const std::optional<uint32_t> byte = stream.take(kByteBits);
        if (!byte) {
            return cut_short();
        }
        bytes.push_back(static_cast<uint8_t>(*byte));
    }
    return {};
}

// Byte by byte, because what is repeated may be made by the repetition.
Status repeat_bytes(BitStream& stream, std::vector<uint8_t>& bytes, size_t wanted) {
    const std::optional<uint32_t> back = stream.take(aca_offset_bits(bytes.size()));
    const std::optional<uint32_t> count = stream.take(kByteBits);
    if (!back || !count) {
        return cut_short();
    }
    if (*back == 0 || *back > bytes.size()) {
        return file_error("", fmt::format("the compressed data repeats what lies {} bytes back, "
                                          "and there are {}",
                                          *back, bytes.size()));
    }
    for (size_t left = std::min<size_t>(*count, wanted - bytes.size()); left != 0; --left) {
        bytes.push_back(bytes[bytes.size() - *back]);
    }
    return {};
}

} // namespace

unsigned aca_offset_bits(size_t bytes) noexcept {
    return bytes == 0 ? 1 : static_cast<unsigned>(std::bit_width(std::min(bytes, kAcaWindow)));
}

Result<std::vector<uint8_t>> expand_aca(std::string_view characters, size_t max_bytes) {
    const auto bad = std::find_if(characters.begin(), characters.end(),
                                  [](char one) { return aca_value(one) < 0; });
    if (bad != characters.end()) {
        return file_error("", fmt::format("'{}' stands for no bits of compressed data", *bad));
    }
    BitStream stream(characters);
    const std::optional<uint32_t> wanted = stream.take(kCountBits);
    if (!wanted) {
        return cut_short();
    }
    if (*wanted > max_bytes) {
        return file_error("", fmt::format("{} bytes of compressed data are more than the {} that "
                                          "this player takes",
                                          *wanted, max_bytes));
    }
    std::vector<uint8_t> bytes;
    while (bytes.size() < *wanted) {
        const std::optional<uint32_t> repeats = stream.take(1);
        if (!repeats) {
            return cut_short();
        }
        TRY(*repeats != 0 ? repeat_bytes(stream, bytes, *wanted)
                          : take_bytes(stream, bytes, *wanted));
    }
    return bytes;
}

} // namespace talvor::stapl
