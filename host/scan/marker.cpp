#include "host/scan/marker.h"

#include <algorithm>

namespace talvor {
namespace {

constexpr uint64_t low_bits(size_t count) {
    return count >= 64 ? ~uint64_t{0} : (uint64_t{1} << count) - 1;
}

// Whether `count` bits of both are the same.
bool equal(const Bits& first, size_t first_at, const Bits& second, size_t second_at, size_t count) {
    constexpr size_t kStep = 64;
    for (size_t done = 0; done < count; done += kStep) {
        const size_t bits = std::min(kStep, count - done);
        if (first.to_uint(first_at + done, bits) != second.to_uint(second_at + done, bits)) {
            return false;
        }
    }
    return true;
}

} // namespace

// The generator of Steele, Lea and Flood (2014).
uint64_t MarkerSource::next() noexcept {
    state_ += 0x9E3779B97F4A7C15;
    uint64_t value = state_;
    value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9;
    value = (value ^ (value >> 27U)) * 0x94D049BB133111EB;
    return value ^ (value >> 31U);
}

void MarkerSource::append(Bits& bits, size_t count) {
    Bits random(count);
    for (uint16_t& word : random.words()) {
        word = static_cast<uint16_t>(next());
    }
    random.clear_unused();
    bits.append(random);
}

bool EchoSearch::marker_at(size_t at) const noexcept {
    const size_t bits = at < seen() ? std::min(kMarkerBits, seen() - at) : 0;
    return bits >= kMarkerProofBits && out.to_uint(skip + at, bits) == (marker & low_bits(bits));
}

bool EchoSearch::stream_at(size_t at) const noexcept {
    return equal(in, 0, out, skip + at, std::min(in.size(), seen() - at));
}

// The first place from `at` on where the proof of a marker stands. A word at a time: sixteen places
// lie in 64 bits.
std::optional<size_t> EchoSearch::next_from(size_t at) const noexcept {
    constexpr size_t kPlaces = 16;
    const uint64_t wanted = marker & low_bits(kMarkerProofBits);
    for (; at + kMarkerProofBits <= seen(); at += kPlaces) {
        const uint64_t window = out.to_uint(skip + at);
        for (size_t i = 0; i < kPlaces; ++i) {
            if (((window >> i) & low_bits(kMarkerProofBits)) == wanted && marker_at(at + i)) {
                return at + i;
            }
        }
    }
    return std::nullopt;
}

Echo EchoSearch::find(size_t from) const {
    Echo first;
    Echo whole;
    for (auto at = next_from(from); at; at = next_from(*at + 1)) {
        first = {first.kind == Echo::Kind::None ? Echo::Kind::Found : Echo::Kind::Several, *at};
        if (stream_at(*at)) {
            whole = {whole.kind == Echo::Kind::None ? Echo::Kind::Found : Echo::Kind::Several, *at};
        }
    }
    // A single place counts even if bits behind it came back wrong: that is for others to see.
    if (first.kind != Echo::Kind::Several) {
        return first;
    }
    return whole.kind == Echo::Kind::Found ? whole : first;
}

std::optional<size_t> EchoSearch::missing_start(size_t most) const {
    constexpr size_t kProof = 2 * kMarkerBits;
    const size_t count = std::min(seen(), in.size() > most ? in.size() - most : 0);
    for (size_t missing = 1; missing <= most && count >= kProof; ++missing) {
        if (equal(in, missing, out, skip, count)) {
            return missing;
        }
    }
    return std::nullopt;
}

} // namespace talvor
