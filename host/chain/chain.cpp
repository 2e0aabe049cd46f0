#include "host/chain/chain.h"

#include "host/scan/broken_path.h"
#include "host/scan/late_answer.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <random>

namespace talvor {
namespace {

// What is sent into the chain to see where it comes out: no shifted copy of it fits over itself.
constexpr uint64_t kMarker = 0x4D2B1E35;
constexpr size_t kMarkerBits = 32;
constexpr size_t kIdCodeBits = 32;
// Bits of the scans that look for the end of the chain, until one of them is enough.
constexpr std::array<size_t, 3> kSearchBits{2048, 32768, 524288};

// The position from which on `received` is the marker and then ones, or nothing.
std::optional<size_t> find_marker(const Bits& received) {
    for (size_t at = 0; at + kMarkerBits <= received.size(); ++at) {
        if (received.to_uint(at, kMarkerBits) == kMarker) {
            const size_t rest = at + kMarkerBits;
            if (received.slice(rest, received.size() - rest).all_ones()) {
                return at;
            }
        }
    }
    return std::nullopt;
}

// Scans marker and ones through a path; answers what stood in it before.
Result<Bits> measure(JtagPort& port, ScanPath path) {
    Bits received;
    for (const size_t length : kSearchBits) {
        Bits out = Bits::from_uint(kMarker, kMarkerBits);
        out.append(Bits::ones(length - kMarkerBits));
        TRY(port.scan({path, &out, &received, StableState::Idle}));
        if (const auto at = find_marker(received)) {
            return received.slice(0, *at);
        }
        if (is_silent(received)) {
            break;
        }
        // The path is longer, or broken. Capture again.
    }
    return broken_path_error(path, received);
}

// Instruction lengths, nearest TDO first, or an error; empty when they are ambiguous.
Result<std::vector<uint32_t>> instruction_lengths(const Bits& capture, size_t devices,
                                                  std::span<const uint32_t> given) {
    if (!given.empty()) {
        const size_t total = std::accumulate(given.begin(), given.end(), size_t{0});
        if (given.size() != devices || total != capture.size()) {
            return target_error(
                "instruction lengths",
                fmt::format(
                    "{} lengths with {} bits in all are given, but the chain has {} devices "
                    "and {} instruction bits",
                    given.size(), total, devices, capture.size()),
                "correct --ir-lengths, or the [[device]] tables of the board file");
        }
        return std::vector<uint32_t>(given.rbegin(), given.rend());
    }
    if (devices == 1) {
        // Whatever it captures, the path is its register.
        return std::vector<uint32_t>{static_cast<uint32_t>(capture.size())};
    }
    std::vector<size_t> starts = possible_starts(capture);
    if (starts.size() != devices || starts.empty() || starts.front() != 0) {
        return std::vector<uint32_t>{};
    }
    starts.push_back(capture.size());
    std::vector<uint32_t> lengths;
    for (size_t i = 0; i < devices; ++i) {
        lengths.push_back(static_cast<uint32_t>(starts[i + 1] - starts[i]));
    }
    return lengths;
}

// A capture that does not begin with 1 and 0 cannot be one (IEEE 1149.1, 7.1.1).
Status check_first_bits(const Bits& capture, size_t devices) {
    if (capture.size() >= 2 * devices && capture[0] && !capture[1]) {
        return {};
    }
    return target_error(
        "chain",
        fmt::format("the instruction capture {} does not end in binary 01", capture.to_hex()),
        "the answer may be shifted: try 'talvor link find'");
}

// Whether the data path holds after a reset what it held before.
Status check_idcodes(JtagPort& port, const Chain& chain) {
    const Bits out = Bits::ones(chain.data_capture.size());
    Bits in;
    TRY(port.scan({ScanPath::Dr, &out, &in, StableState::Idle}));
    if (in == chain.data_capture) {
        return {};
    }
    return target_error(
        "chain",
        fmt::format("IDCODEs read {} instead of {}", in.to_hex(), chain.data_capture.to_hex()),
        next_step_for_idcodes(chain.data_capture, in));
}

// Ones into every instruction register. They are more than needed: were the answer late, the next
// scan would begin with ones, where BYPASS gives zeros.
Status select_bypass(JtagPort& port, const Chain& chain) {
    const Bits out = Bits::ones(chain.instruction_bits() + kMarkerBits);
    Bits in;
    TRY(port.scan({ScanPath::Ir, &out, &in, StableState::Idle}));
    return check_first_bits(in, chain.devices.size());
}

// Random bits, with a last word of ones.
Bits random_pattern(size_t length_bits, uint64_t seed) {
    std::mt19937_64 random(seed);
    Bits pattern = Bits::ones(length_bits);
    for (size_t i = 0; i + 1 < pattern.words().size(); ++i) {
        pattern.words()[i] = static_cast<uint16_t>(random());
    }
    return pattern;
}

// BYPASS captures 0 and delays by one bit a device (IEEE 1149.1, 10.1.1).
Status check_bypass(JtagPort& port, size_t devices, size_t pattern_bits, uint64_t seed) {
    const Bits out = random_pattern(pattern_bits + devices, seed);
    Bits in;
    TRY(port.scan({ScanPath::Dr, &out, &in, StableState::Idle}));
    Bits expected(devices);
    expected.append(out.slice(0, pattern_bits));
    if (in == expected) {
        return {};
    }
    in ^= expected;
    return target_error("chain", fmt::format("{} of {} bits came back wrong through BYPASS",
                                             in.count_ones(), pattern_bits + devices));
}

} // namespace

std::vector<size_t> possible_starts(const Bits& capture) {
    std::vector<size_t> starts;
    for (size_t i = 0; i + 1 < capture.size(); ++i) {
        if (capture[i] && !capture[i + 1]) {
            starts.push_back(i);
        }
    }
    return starts;
}

Result<std::vector<std::optional<IdCode>>> split_data_capture(const Bits& capture) {
    std::vector<std::optional<IdCode>> codes;
    for (size_t at = 0; at < capture.size();) {
        if (!capture[at]) {
            codes.emplace_back(std::nullopt);
            ++at;
            continue;
        }
        if (capture.size() - at < kIdCodeBits) {
            return target_error(
                "chain",
                fmt::format("device {} from TDO begins like an IDCODE, but only {} bits are left",
                            codes.size() + 1, capture.size() - at),
                "the answer may be shifted: try 'talvor link find'");
        }
        codes.emplace_back(IdCode{static_cast<uint32_t>(capture.to_uint(at, kIdCodeBits))});
        at += kIdCodeBits;
    }
    return codes;
}

Result<Chain> discover_chain(JtagPort& port, std::span<const uint32_t> given_lengths) {
    TRY(port.reset_tap());
    Chain chain;
    chain.data_capture = TRY(measure(port, ScanPath::Dr));
    const auto codes = TRY(split_data_capture(chain.data_capture));
    if (codes.empty()) {
        return target_error("chain", "there is no device: TDI is connected straight to TDO",
                            "check the target's connector, and jumpers that bypass its devices");
    }
    chain.instruction_capture = TRY(measure(port, ScanPath::Ir));
    TRY(check_first_bits(chain.instruction_capture, codes.size()));
    const auto lengths =
        TRY(instruction_lengths(chain.instruction_capture, codes.size(), given_lengths));
    chain.lengths_known = !lengths.empty();
    for (size_t i = codes.size(); i-- > 0;) {
        chain.devices.push_back(ChainDevice{"", codes[i], chain.lengths_known ? lengths[i] : 0});
    }
    return chain;
}

namespace {

// Where devices may begin in a capture, from TDO on, and in how many ways the devices from one of
// them on fill the rest: 0, 1, or 2 for more.
class LengthFit {
public:
    LengthFit(const Bits& capture, std::span<const uint32_t> known)
        : known_(known.rbegin(), known.rend()), starts_(possible_starts(capture)) {
        starts_.push_back(capture.size());
    }

    // Nearest TDI first; empty unless there is one way.
    std::vector<uint32_t> solve() {
        constexpr size_t kMostPlaces = 10'000'000;
        if (starts_.front() != 0 || known_.size() > kMostPlaces / starts_.size()) {
            return {};
        }
        std::vector<uint8_t> ways(starts_.size(), 0);
        ways.back() = 1; // behind the last device
        for (size_t device = known_.size(); device-- > 0;) {
            ways_.push_back(ways);
            ways = ways_before(device, ways);
        }
        return ways.front() == 1 ? follow() : std::vector<uint32_t>{};
    }

private:
    // The start `length` bits behind another one; the number of starts where there is none.
    size_t start_behind(size_t start, uint32_t length) const {
        const size_t wanted = starts_[start] + length;
        const auto found = std::lower_bound(starts_.begin(), starts_.end(), wanted);
        return found != starts_.end() && *found == wanted
                   ? static_cast<size_t>(found - starts_.begin())
                   : starts_.size();
    }

    std::vector<uint8_t> ways_before(size_t device, const std::vector<uint8_t>& after) const {
        std::vector<uint8_t> ways(after.size(), 0);
        uint32_t later = 0; // of all starts behind the one that is looked at
        for (size_t start = starts_.size() - 1; start-- > 0;) {
            later = std::min<uint32_t>(2, later + after[start + 1]);
            if (known_[device] == 0) {
                ways[start] = static_cast<uint8_t>(later);
            } else if (const size_t next = start_behind(start, known_[device]);
                       next < starts_.size()) {
                ways[start] = after[next];
            }
        }
        return ways;
    }

    // The one way there is.
    std::vector<uint32_t> follow() const {
        std::vector<uint32_t> lengths;
        size_t start = 0;
        for (size_t device = 0; device < known_.size(); ++device) {
            const std::vector<uint8_t>& after = ways_[known_.size() - 1 - device];
            size_t next = start + 1;
            while (after[next] == 0 ||
                   (known_[device] != 0 && starts_[next] - starts_[start] != known_[device])) {
                ++next;
            }
            lengths.push_back(static_cast<uint32_t>(starts_[next] - starts_[start]));
            start = next;
        }
        std::reverse(lengths.begin(), lengths.end());
        return lengths;
    }

    std::vector<uint32_t> known_;            // nearest TDO first
    std::vector<size_t> starts_;             // and the end
    std::vector<std::vector<uint8_t>> ways_; // behind each device, the last one's first
};

} // namespace

std::vector<uint32_t> fit_lengths(const Bits& capture, std::span<const uint32_t> known) {
    return LengthFit(capture, known).solve();
}

Status check_chain(JtagPort& port, const Chain& chain, size_t pattern_bits, uint64_t seed) {
    TRY(port.reset_tap());
    TRY(check_idcodes(port, chain));
    TRY(select_bypass(port, chain));
    return check_bypass(port, chain.devices.size(), pattern_bits, seed);
}

ScanSurroundings surroundings(const Chain& chain, size_t index, ScanPath path) {
    ScanSurroundings bits;
    for (size_t i = 0; i < chain.devices.size(); ++i) {
        const size_t length = path == ScanPath::Ir ? chain.devices[i].instruction_bits : 1;
        if (i < index) {
            bits.after += length;
        } else if (i > index) {
            bits.before += length;
        }
    }
    return bits;
}

} // namespace talvor
