#include "podsim/external/xvc.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>
#include <utility>

namespace talvor::podsim::external {
namespace {

constexpr std::string_view kAskForInfo = "getinfo:";
constexpr std::string_view kShift = "shift:";
constexpr std::string_view kGreeting = "xvcServer_v1.";
constexpr size_t kLongestGreeting = 64;
constexpr uint64_t kByteBits = 8;
// A longer vector would win nothing.
constexpr uint64_t kMostVectorBytes = 32'768;

uint64_t bytes_for(uint64_t bits) {
    return (bits + kByteBits - 1) / kByteBits;
}

// The lowest `bytes` bytes, the lowest first.
void put_number(std::string& out, uint64_t number, size_t bytes) {
    for (size_t i = 0; i < bytes; ++i) {
        out.push_back(static_cast<char>(number >> (i * kByteBits) & 0xFFU));
    }
}

// The bytes of TMS and TDI together that a greeting without its newline offers; 0 when it is none.
uint64_t offered_bytes(std::string_view greeting) {
    const size_t colon = greeting.find(':');
    if (!greeting.starts_with(kGreeting) || colon == std::string_view::npos) {
        return 0;
    }
    uint64_t bytes = 0;
    const char* const end = greeting.data() + greeting.size();
    const auto parsed = std::from_chars(greeting.data() + colon + 1, end, bytes);
    const bool whole = parsed.ec == std::errc() && (parsed.ptr == end || *parsed.ptr == '\r');
    return whole ? bytes : 0;
}

} // namespace

void Xvc::begin() {
    exchange().out() += kAskForInfo;
    exchange().expect(1);
    exchange().hold();
}

unsigned Xvc::add(uint64_t tms, uint64_t tdi, unsigned count, bool wanted) {
    const auto taken = static_cast<unsigned>(std::min<uint64_t>(count, most_bits_ - runs_.bits()));
    tms_.append(tms & low_mask(taken), taken);
    tdi_.append(tdi & low_mask(taken), taken);
    runs_.add(taken, wanted);
    if (runs_.bits() == most_bits_) {
        finish();
    }
    return taken;
}

void Xvc::move(uint64_t tms, unsigned count, bool tdi) {
    const uint64_t level = tdi ? ~uint64_t{0} : 0;
    while (count != 0) {
        const unsigned taken = add(tms, level, count, false);
        tms = taken < kWordBits ? tms >> taken : 0;
        count -= taken;
    }
}

void Xvc::shift(std::span<const uint64_t> tdi, uint64_t count, bool leave, uint64_t unwanted) {
    for (uint64_t i = 0; i < count;) {
        const uint64_t end = i < unwanted ? unwanted : count;
        const auto step = static_cast<unsigned>(std::min<uint64_t>(kWordBits, end - i));
        const bool last = leave && i + step == count;
        const uint64_t tms = last ? uint64_t{1} << (step - 1) : 0;
        i += add(tms, get_bits(tdi, i, step), step, i >= unwanted);
    }
}

// Appends the bits as bytes and takes them away.
void Xvc::put_bits_of(BitQueue& bits) {
    while (!bits.empty()) {
        const auto step = static_cast<unsigned>(std::min<uint64_t>(kWordBits, bits.size()));
        put_number(exchange().out(), bits.take(step), bytes_for(step));
    }
}

// Sends the vector that is being filled.
void Xvc::finish() {
    if (runs_.bits() == 0) {
        return;
    }
    constexpr size_t kNumberBytes = 4;
    exchange().out() += kShift;
    put_number(exchange().out(), runs_.bits(), kNumberBytes);
    put_bits_of(tms_);
    put_bits_of(tdi_);
    exchange().expect(bytes_for(runs_.bits()));
    exchange().hold();
    asked_.push_back(std::exchange(runs_, {}));
}

std::optional<std::string> Xvc::take_greeting(char byte) {
    if (byte != '\n' && greeting_.size() < kLongestGreeting) {
        greeting_.push_back(byte);
        exchange().expect(1);
        return std::nullopt;
    }
    const uint64_t offered = offered_bytes(greeting_);
    if (offered < 2) {
        return fmt::format("is no XVC server: it has answered getinfo: with {:?}", greeting_);
    }
    most_bits_ = std::min(offered / 2, kMostVectorBytes) * kByteBits;
    return std::nullopt;
}

// The answer to the first vector is complete.
void Xvc::take_answer() {
    std::vector<uint64_t> bits(words_for(asked_.front().bits()));
    std::memcpy(bits.data(), answer_.data(), answer_.size());
    asked_.front().pick(bits, levels());
    asked_.pop_front();
    answer_.clear();
}

std::optional<std::string> Xvc::take(std::span<const char> bytes) {
    while (!bytes.empty()) {
        if (most_bits_ == 0) {
            if (auto wrong = take_greeting(bytes.front())) {
                return wrong;
            }
            bytes = bytes.subspan(1);
            continue;
        }
        const uint64_t missing = bytes_for(asked_.front().bits()) - answer_.size();
        const auto part =
            bytes.first(static_cast<size_t>(std::min<uint64_t>(missing, bytes.size())));
        answer_.append(part.begin(), part.end());
        bytes = bytes.subspan(part.size());
        if (part.size() == missing) {
            take_answer();
        }
    }
    return std::nullopt;
}

} // namespace talvor::podsim::external
