// The time slice that the scheduler gives to a thread.
#pragma once

#include <chrono>
#include <optional>

namespace talvor {

// What a thread asks for whose work comes in exchanges of microseconds with another process.
inline constexpr std::chrono::nanoseconds kShortTimeSlice{100'000};

// Asks for a short time slice for the calling thread; threads and processes that it starts later
// inherit it. On a busy machine a thread with a shorter slice than others runs sooner when it
// wakes, instead of waiting until their slices end; its share of the processor stays what its nice
// value says. Needs no rights. A thread with another policy than the usual one stays as it is.
// False when the kernel takes no slices (before 6.12) or the call is not allowed here; nothing has
// changed then.
bool shorten_time_slice() noexcept;

// The calling thread's slice; nothing when the kernel does not tell.
[[nodiscard]] std::optional<std::chrono::nanoseconds> time_slice() noexcept;

} // namespace talvor
