#include "podsim/batch/data_run.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <utility>

namespace talvor::podsim::batch {
namespace {

constexpr uint16_t kSend = TBC_PORT_SEND | SHM_WORD_WRITE;
constexpr uint16_t kReceive = TBC_PORT_RECEIVE;
constexpr uint16_t kSettle = TBC_PORT_STATUS0 | SHM_WORD_WRITE; // its value is 0

static_assert(std::endian::native == std::endian::little, "four words are looked at as one");

// The words of kRunGroup steps as 64-bit words, and which of their bits count: a value may be any.
template <DataStep kStep>
struct Pattern {
    static constexpr unsigned kWords = kStep.words();
    struct Part {
        uint64_t bits;
        uint64_t mask;
    };
    std::array<Part, kWords> parts{}; // as many as words: each holds four, and there are four steps

    constexpr Pattern() {
        for (unsigned first = 0; first < kRunGroup * kWords; first += kWords) {
            unsigned index = first;
            if (kStep.wait != 0) {
                put(index++, kStep.wait);
            }
            if (kStep.sends) {
                put(index++, kSend);
                ++index;
            }
            if (kStep.settles) {
                put(index++, kSettle);
                put(index++, 0);
            }
            if (kStep.receives) {
                put(index, kReceive);
            }
        }
    }

private:
    constexpr void put(unsigned index, uint64_t word) {
        const unsigned shift = index % kRunGroup * 16;
        parts[index / kRunGroup].bits |= word << shift;
        parts[index / kRunGroup].mask |= uint64_t{0xFFFF} << shift;
    }
};

template <DataStep kStep>
constexpr Pattern<kStep> kPattern;

uint64_t four_words(const uint16_t* words) {
    uint64_t four = 0;
    std::memcpy(&four, words, sizeof four);
    return four;
}

// 0 when `words` begins with a group. Written out for each part: a loop is not unrolled.
template <DataStep kStep, size_t... kPart>
uint64_t difference(const uint16_t* words, std::index_sequence<kPart...>) {
    constexpr auto& parts = kPattern<kStep>.parts;
    return (... | ((four_words(words + 4 * kPart) ^ parts[kPart].bits) & parts[kPart].mask));
}

// How many of `most` steps begin `words`, which holds as many words; whole groups.
template <DataStep kStep>
size_t count_steps(const uint16_t* words, size_t most) {
    size_t count = 0;
    while (count + kRunGroup <= most &&
           difference<kStep>(words, std::make_index_sequence<kStep.words()>()) == 0) {
        count += kRunGroup;
        words += kRunGroup * kStep.words();
    }
    return count;
}

template <DataStep kStep>
DataRun run_of(std::span<const uint16_t> words, size_t most_reads) {
    const size_t most = std::min(words.size() / kStep.words(), kLongestRun);
    return {kStep,
            count_steps<kStep>(words.data(), kStep.receives ? std::min(most, most_reads) : most)};
}

// A run of such steps, or of those with a settle delay.
template <DataStep kStep>
DataRun run_of(std::span<const uint16_t> words, size_t most_reads, bool settles) {
    constexpr DataStep kSettled{kStep.wait, kStep.sends, kStep.receives, true};
    return settles ? run_of<kSettled>(words, most_reads) : run_of<kStep>(words, most_reads);
}

} // namespace

DataRun find_run(std::span<const uint16_t> words, size_t most_reads) {
    const auto word = [=](size_t index) { return index < words.size() ? words[index] : 0; };
    switch (word(0)) {
    case SHM_WAIT_READ_ONE:
        return word(1) == kSend
                   ? run_of<DataStep{SHM_WAIT_READ_ONE, true, true}>(words, most_reads,
                                                                     word(3) == kSettle)
                   : run_of<DataStep{SHM_WAIT_READ_ONE, false, true}>(words, most_reads);
    case SHM_WAIT_WRITE_ONE:
        return run_of<DataStep{SHM_WAIT_WRITE_ONE, true, false}>(words, most_reads,
                                                                 word(3) == kSettle);
    case kSend: {
        const bool settles = word(2) == kSettle;
        return word(settles ? 4 : 2) == kReceive
                   ? run_of<DataStep{0, true, true}>(words, most_reads, settles)
                   : run_of<DataStep{0, true, false}>(words, most_reads, settles);
    }
    case kReceive:
        return run_of<DataStep{0, false, true}>(words, most_reads);
    default:
        return {};
    }
}

} // namespace talvor::podsim::batch
