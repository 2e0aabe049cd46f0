// A progress bar on a terminal, with rate and time left.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
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

// How far a program is that another one runs, as a line of the pipe between them:
// "progress DONE TOTAL WHAT".
struct ProgressReport {
    std::string what;
    uint64_t done = 0;
    uint64_t total = 0; // 0: nobody knows

    [[nodiscard]] std::string line() const;
    // Nothing: the line is none.
    [[nodiscard]] static std::optional<ProgressReport> parse(const std::string& line);

    friend bool operator==(const ProgressReport&, const ProgressReport&) = default;
};

// Draws it over and over on one line of the standard error; nothing unless `shown`.
class ProgressBar {
public:
    // `report_to`: a descriptor that takes a report for each drawing, shown or not.
    explicit ProgressBar(bool shown, std::optional<int> report_to = std::nullopt)
        : shown_(shown), report_to_(report_to), start_(std::chrono::steady_clock::now()) {}
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
    std::optional<int> report_to_;
    bool drawn_ = false;
    std::string what_;
    std::chrono::steady_clock::time_point start_;
    std::chrono::steady_clock::time_point last_{};
};

} // namespace talvor
