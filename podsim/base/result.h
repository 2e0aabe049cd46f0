// A value, or the reason why there is none.
#pragma once

#include "podsim/model/status.h"

#include <optional>
#include <string>
#include <utility>

namespace podsim {

template <class T>
class [[nodiscard]] Result {
public:
    // NOLINTNEXTLINE(google-explicit-constructor): a value is a result
    Result(T value) : value_(std::move(value)) {}
    // A failed status is a result without a value.
    // NOLINTNEXTLINE(google-explicit-constructor)
    Result(const Status& failure) : reason_(failure.reason()) {}

    bool failed() const { return !value_; }
    const std::string& reason() const { return reason_; }
    // Only where failed() is false.
    T& value() { return *value_; }
    const T& value() const { return *value_; }

private:
    std::optional<T> value_;
    std::string reason_;
};

} // namespace podsim
