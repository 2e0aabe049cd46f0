// Writes the compressed form of bytes, as the makers of STAPL files do: the longest repetition that
// lies near enough, or three bytes as they are.
#pragma once

#include "host/stapl/aca.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace talvor::stapl {

class AcaCompressor {
public:
    [[nodiscard]] static std::string compress(const std::vector<uint8_t>& bytes) {
        AcaCompressor writer;
        writer.put(static_cast<uint32_t>(bytes.size()), 32);
        for (size_t at = 0; at < bytes.size();) {
            at += writer.put_next(bytes, at);
        }
        return writer.text();
    }

private:
    struct Repetition {
        size_t back = 0;
        size_t count = 0;
    };

    static Repetition longest(const std::vector<uint8_t>& bytes, size_t at) {
        Repetition best;
        const size_t most = std::min<size_t>(255, bytes.size() - at);
        for (size_t back = 1; back <= std::min(at, kAcaWindow); ++back) {
            size_t count = 0;
            while (count < most && bytes[at + count] == bytes[at + count - back]) {
                ++count;
            }
            if (count > best.count) {
                best = {back, count};
            }
        }
        return best;
    }

    size_t put_next(const std::vector<uint8_t>& bytes, size_t at) {
        const Repetition found = longest(bytes, at);
        if (found.count > 3) {
            put(1, 1);
            put(static_cast<uint32_t>(found.back), aca_offset_bits(at));
            put(static_cast<uint32_t>(found.count), 8);
            return found.count;
        }
        put(0, 1);
        const size_t count = std::min<size_t>(3, bytes.size() - at);
        for (size_t i = 0; i < count; ++i) {
            put(bytes[at + i], 8);
        }
        return count;
    }

    void put(uint32_t value, unsigned count) {
        for (unsigned i = 0; i < count; ++i) {
            bits_.push_back(((value >> i) & 1U) != 0);
        }
    }

    [[nodiscard]] std::string text() const {
        constexpr std::string_view kCharacters =
            "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_@";
        std::string text;
        for (size_t i = 0; i < bits_.size(); i += 6) {
            unsigned value = 0;
            for (size_t bit = 0; bit < 6 && i + bit < bits_.size(); ++bit) {
                value |= bits_[i + bit] ? 1U << bit : 0U;
            }
            text += kCharacters[value];
        }
        return text;
    }

    std::vector<bool> bits_;
};

} // namespace talvor::stapl
