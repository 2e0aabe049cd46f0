// What the kernel tells everybody about other processes.
#pragma once

#include <chrono>
#include <cstdint>
#include <istream>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace talvor {

// The command line of a process as one line of at most 80 bytes: the program without its folder,
// then its arguments. What is no printable ASCII becomes '?', and a line that is longer ends in
// "...".
// "" when the process has ended or cannot be seen.
[[nodiscard]] std::string process_command(pid_t process);
// The same from the content of a /proc/PID/cmdline.
[[nodiscard]] std::string command_text(std::string_view arguments);

// When a process was started; nothing when it has ended or cannot be seen.
[[nodiscard]] std::optional<std::chrono::system_clock::time_point> process_start(pid_t process);

// The process that holds an exclusive flock(2) on the file that is open as `file`. Nothing when
// nobody does, and when the holder lives in a PID namespace that cannot be seen from here.
[[nodiscard]] std::optional<pid_t> flock_holder(int file);
// The same from the content of a /proc/locks.
[[nodiscard]] std::optional<pid_t> flock_holder(std::istream& locks, dev_t device, ino_t inode);

// "15:04:05" in local time, with the date before it when that is not the day of `now`.
[[nodiscard]] std::string time_of_day_text(std::chrono::system_clock::time_point time,
                                           std::chrono::system_clock::time_point now);

} // namespace talvor
