// A progress bar on a terminal, with rate and time left.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace talvor {

// The line that shows it, without colour and without the carriage return:
// "  62 % [############--------]  6.2 MB/s  0:03 left". `done` and `total` count bytes.
[[nodiscard]] std::string progress_line(std::string_view what, uint64_t done, uint64_t total,
                                        std::chrono::nanoseconds elapsed);
// "1.2 MB", "640 B".
[[nodiscard]] std::string byte_text(double bytes);
// "0:03", "1:02:03".
[[nodiscard]] std::string clock_text(std::chrono::seconds time);

// Draws it over and over on one line of the standard error; nothing unless `shown`.
class ProgressBar {
public:
    explicit ProgressBar(bool shown) : shown_(shown), start_(std::chrono::steady_clock::now()) {}
    // Wipes it.
    ~ProgressBar() { clear(); }
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    // Draws at most ten times a second. A change of `what` starts the clock anew.
    void show(std::string_view what, uint64_t done, uint64_t total);
    // Wipes it, so that something else can be printed; the next show() draws again.
    void clear();

private:
    bool shown_;
    bool drawn_ = false;
    std::string what_;
    std::chrono::steady_clock::time_point start_;
    std::chrono::steady_clock::time_point last_{};
};

} // namespace talvor
