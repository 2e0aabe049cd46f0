// A first-in first-out buffer of fixed depth.
#pragma once

#include <array>
#include <cstddef>

namespace talvor::podsim {

template <class T, size_t kDepth>
class Fifo {
public:
    static constexpr size_t depth() { return kDepth; }
    size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    bool full() const { return size_ == kDepth; }
    void clear() { size_ = 0; }

    // Must not be full.
    void push(T item) {
        items_[(head_ + size_) % kDepth] = item;
        ++size_;
    }

    // Must not be empty.
    T pop() {
        const T item = items_[head_];
        head_ = (head_ + 1) % kDepth;
        --size_;
        return item;
    }

private:
    std::array<T, kDepth> items_{};
    size_t head_ = 0;
    size_t size_ = 0;
};

} // namespace talvor::podsim
