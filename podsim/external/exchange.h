// The bytes between a protocol and its connection: what is to go out and when, and how much is to
// come back.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

namespace talvor::podsim::external {

class Exchange {
public:
    // What is to be sent, for the protocol to append to.
    std::string& out() { return out_; }
    // `bytes` more will come back.
    void expect(uint64_t bytes) { asked_ += bytes; }
    // What is put behind this goes out once everything has come that is expected by now.
    void hold() { holds_.push_back({gone_ + out_.size(), asked_}); }

    // What may go out now.
    std::string_view sendable() const {
        const std::string_view all = std::string_view(out_).substr(first_);
        return holds_.empty() ? all : all.substr(0, holds_.front().at - (gone_ + first_));
    }
    // The first `bytes` of it have gone out.
    void sent(size_t bytes) {
        first_ += bytes;
        if (first_ == out_.size() || first_ >= kTidyBytes) {
            gone_ += first_;
            out_.erase(0, first_);
            first_ = 0;
        }
        lift_holds();
    }
    // `bytes` have come back, at most outstanding().
    void came(size_t bytes) {
        came_ += bytes;
        lift_holds();
    }

    size_t unsent() const { return out_.size() - first_; }
    // Bytes that are still to come, those of requests that have not gone out included.
    uint64_t outstanding() const { return asked_ - came_; }
    bool idle() const { return unsent() == 0 && outstanding() == 0; }

private:
    static constexpr size_t kTidyBytes = size_t{1} << 16;

    struct Hold {
        uint64_t at;    // bytes sent before it
        uint64_t until; // bytes that must have come
    };
    void lift_holds() {
        while (!holds_.empty() && came_ >= holds_.front().until &&
               gone_ + first_ >= holds_.front().at) {
            holds_.pop_front();
        }
    }

    std::string out_;
    size_t first_ = 0;  // of out_, not sent
    uint64_t gone_ = 0; // bytes before out_
    std::deque<Hold> holds_;
    uint64_t asked_ = 0;
    uint64_t came_ = 0;
};

} // namespace talvor::podsim::external
