// A queue of bits, many at a time.
#pragma once

#include "host/jtag/bits.h"

#include <cstddef>
#include <utility>

namespace talvor {

class BitQueue {
public:
    [[nodiscard]] size_t size() const noexcept { return bits_.size() - first_; }
    void assign(Bits bits) {
        bits_ = std::move(bits);
        first_ = 0;
    }
    void push(const Bits& bits) { bits_.append(bits); }
    // The first `count` bits, which stay; at most size().
    [[nodiscard]] Bits front(size_t count) const { return bits_.slice(first_, count); }
    // Drops as many.
    void pop(size_t count) {
        first_ += count;
        // What has gone is given up now and then, so that a bit is moved about once.
        if (first_ > kSlackBits && first_ > bits_.size() / 2) {
            assign(front(size()));
        }
    }

private:
    static constexpr size_t kSlackBits = 4096;

    Bits bits_;
    size_t first_ = 0;
};

} // namespace talvor
