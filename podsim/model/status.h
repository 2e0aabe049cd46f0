// How the model reports failure: a reason in words, or nothing.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace podsim {

// Success, or the reason of a failure. One pointer wide, so that the success that every word of a
// batch returns costs nothing.
class [[nodiscard]] Status {
public:
    Status() = default; // success

    static Status failure(std::string reason) {
        Status status;
        status.reason_ = std::make_unique<std::string>(std::move(reason));
        return status;
    }

    bool failed() const { return reason_ != nullptr; }

    // The reason, for the log: a clause without a final full stop. Empty after success.
    const std::string& reason() const {
        static const std::string none;
        return reason_ ? *reason_ : none;
    }

private:
    std::unique_ptr<std::string> reason_;
};

// A 16-bit word, or the reason why there is none.
struct [[nodiscard]] ReadResult {
    std::uint16_t word = 0; // 0 after a failure
    Status status;
};

} // namespace podsim
