// The progress of several programs at once: a line each, in place, on the standard error.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace talvor {

// As many of `lines` as `rows` have room for, the last of them `summary` where not all have.
[[nodiscard]] std::vector<std::string> fitting_lines(std::vector<std::string> lines,
                                                     const std::string& summary, size_t rows);

class ProgressLines {
public:
    // Draws nothing unless `shown`.
    explicit ProgressLines(bool shown) noexcept : shown_(shown) {}
    // Wipes them.
    ~ProgressLines() { clear(); }
    ProgressLines(const ProgressLines&) = delete;
    ProgressLines& operator=(const ProgressLines&) = delete;

    [[nodiscard]] bool shown() const noexcept { return shown_; }
    // Whether the last drawing is long enough ago for another one.
    [[nodiscard]] bool due() const;
    // Draws them in the place of those before; what is wider than the terminal is cut.
    void show(const std::vector<std::string>& lines, const std::string& summary);
    // Wipes them, so that something else can be printed; the next show() draws again.
    void clear();

private:
    bool shown_;
    size_t rows_ = 0; // that are drawn
    std::chrono::steady_clock::time_point last_{};
};

} // namespace talvor
