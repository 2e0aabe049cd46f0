// What a failed operation says.
#pragma once

#include "common/result.h"

#include <string>

namespace talvor::podsim {

// The line that a person would read; empty after success.
template <typename T>
std::string reason_of(const Result<T>& result) {
    return result ? std::string() : headline(result.error());
}

} // namespace talvor::podsim
