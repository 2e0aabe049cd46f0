#include "host/serve/xvc.h"

#include "host/serve/wire_bits.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>

namespace talvor {
namespace {

constexpr std::string_view kGetInfo = "getinfo:";
constexpr std::string_view kSetTck = "settck:";
constexpr std::string_view kShift = "shift:";
constexpr std::array kCommands{kGetInfo, kSetTck, kShift};
constexpr size_t kNumberBytes = 4;

// Vectors are collected up to so many edges.
constexpr size_t kCollectedEdges = size_t{1} << 20;

constexpr double kNanosecondsPerSecond = 1e9;

std::string_view text_of(std::span<const uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// What a client has sent instead of a command, such that it can be printed.
std::string shown(std::string_view text) {
    constexpr size_t kShown = 16;
    std::string result;
    for (const char c : text.substr(0, kShown)) {
        const auto byte = static_cast<unsigned char>(c);
        result += byte >= ' ' && byte <= '~' ? std::string(1, c) : fmt::format("\\x{:02x}", byte);
    }
    return result;
}

// The period of a clock as it is told, in ns; 0 where it is not known.
uint32_t period_of(double hertz) {
    constexpr auto kMost = static_cast<double>(std::numeric_limits<uint32_t>::max());
    return hertz > 0
               ? static_cast<uint32_t>(std::min(std::round(kNanosecondsPerSecond / hertz), kMost))
               : 0;
}

} // namespace

size_t Xvc::longest_request() const noexcept {
    return kShift.size() + kNumberBytes + 2 * advertised_bytes_;
}

Result<Protocol::Served> Xvc::serve(std::span<const uint8_t> input, Answer& answer) {
    Served served;
    for (;;) {
        const size_t bytes = TRY(serve_one(input.subspan(served.bytes), answer));
        if (bytes == 0) {
            TRY(make(answer));
            return served;
        }
        served.bytes += bytes;
    }
}

Result<size_t> Xvc::serve_one(std::span<const uint8_t> input, Answer& answer) {
    const std::string_view text = text_of(input);
    const auto command = std::ranges::find_if(
        kCommands, [text](std::string_view name) { return text.starts_with(name); });
    if (command == kCommands.end()) {
        const bool begun = std::ranges::any_of(
            kCommands, [text](std::string_view name) { return name.starts_with(text); });
        if (!begun) {
            return refused_error("XVC",
                                 fmt::format("'{}' is no command of version 1.0", shown(text)));
        }
        return size_t{0};
    }
    if (*command == kGetInfo) {
        TRY(make(answer));
        const std::string info = fmt::format("xvcServer_v1.0:{}\n", advertised_bytes_);
        answer.insert(answer.end(), info.begin(), info.end());
        return kGetInfo.size();
    }
    if (text.size() < command->size() + kNumberBytes) {
        return size_t{0};
    }
    const std::span<const uint8_t> operands = input.subspan(command->size());
    const size_t bytes =
        TRY(*command == kShift ? shift(operands, answer) : settck(operands, answer));
    return bytes == 0 ? 0 : command->size() + bytes;
}

Result<size_t> Xvc::settck(std::span<const uint8_t> operands, Answer& answer) {
    TRY(make(answer));
    const uint32_t period = read_u32(operands);
    // 0 asks for nothing. What is slower than the slowest leaves the clock as it is, and the answer
    // says so.
    if (period != 0) {
        const Status set = port_.set_max_frequency(kNanosecondsPerSecond / period);
        if (!set && set.error().kind != ErrorKind::Refused) {
            return Failure(set.error());
        }
    }
    const uint32_t in_force = period_of(port_.hertz());
    append_u32(answer, in_force != 0 ? in_force : period);
    return kNumberBytes;
}

Result<size_t> Xvc::shift(std::span<const uint8_t> operands, Answer& answer) {
    const size_t bits = read_u32(operands);
    const size_t bytes = bytes_of_bits(bits);
    if (bytes > advertised_bytes_) {
        return refused_error("XVC", fmt::format("a shift of {} bits needs {} bytes a vector, and "
                                                "both vectors may have {} together",
                                                bits, bytes, advertised_bytes_));
    }
    if (operands.size() < kNumberBytes + 2 * bytes) {
        return size_t{0};
    }
    batch_.append(read_bits(operands.subspan(kNumberBytes, bytes), bits),
                  read_bits(operands.subspan(kNumberBytes + bytes, bytes), bits));
    batch_.ask_all();
    lengths_.push_back(bits);
    if (batch_.size() >= kCollectedEdges) {
        TRY(make(answer));
    }
    return kNumberBytes + 2 * bytes;
}

Status Xvc::make(Answer& answer) {
    Bits tdo;
    TRY(batch_.make(port_, tdo));
    size_t first = 0;
    for (const size_t length : lengths_) {
        append_bits(answer, tdo, first, length);
        first += length;
    }
    lengths_.clear();
    return {};
}

} // namespace talvor
