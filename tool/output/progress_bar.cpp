#include "tool/output/progress_bar.h"

#include "common/file_descriptor.h"
#include "tool/output/standard_streams.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>

namespace talvor {
namespace {

constexpr size_t kWidth = 30;
constexpr std::chrono::milliseconds kDrawEvery{100};

} // namespace

std::string byte_text(double bytes) {
    constexpr std::array<std::string_view, 4> kUnits{"B", "kB", "MB", "GB"};
    size_t unit = 0;
    while (bytes >= 1000 && unit + 1 < kUnits.size()) {
        bytes /= 1000;
        ++unit;
    }
    return unit == 0 ? fmt::format("{:.0f} B", bytes)
                     : fmt::format("{:.1f} {}", bytes, kUnits[unit]);
}

std::string clock_text(std::chrono::seconds time) {
    const auto seconds = time.count();
    if (seconds >= 3600) {
        return fmt::format("{}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
    }
    return fmt::format("{}:{:02}", seconds / 60, seconds % 60);
}

std::string progress_line(std::string_view what, uint64_t done, uint64_t total,
                          std::chrono::nanoseconds elapsed) {
    const double part =
        total == 0 ? 1.0 : std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
    const auto full = static_cast<size_t>(part * kWidth);
    std::string line = fmt::format("{:<5} {:>3} % [{}{}]", what, static_cast<int>(part * 100),
                                   std::string(full, '#'), std::string(kWidth - full, '-'));
    const double seconds = std::chrono::duration<double>(elapsed).count();
    // The first moments say nothing about the rate.
    if (seconds >= 0.2 && done != 0) {
        const double rate = static_cast<double>(done) / seconds;
        const auto left =
            static_cast<int64_t>(static_cast<double>(total - std::min(done, total)) / rate);
        line +=
            fmt::format("  {}/s  {} left", byte_text(rate), clock_text(std::chrono::seconds(left)));
    }
    return line;
}

std::string ProgressReport::line() const {
    return fmt::format("progress {} {} {}\n", done, total, what);
}

std::optional<ProgressReport> ProgressReport::parse(const std::string& line) {
    ProgressReport report;
    int what_at = 0;
    if (std::sscanf(line.c_str(), "progress %" SCNu64 " %" SCNu64 " %n", &report.done,
                    &report.total, &what_at) != 2 ||
        what_at == 0 || static_cast<size_t>(what_at) >= line.size()) {
        return std::nullopt;
    }
    report.what = line.substr(static_cast<size_t>(what_at));
    return report;
}

void ProgressBar::show(std::string_view what, uint64_t done, uint64_t total) {
    if (!shown_ && !report_to_) {
        return;
    }
    const auto now = std::chrono::steady_clock::now();
    if (what != what_) {
        what_ = what;
        start_ = now;
        last_ = {};
    }
    if (drawn_ && done < total && now - last_ < kDrawEvery) {
        return;
    }
    last_ = now;
    drawn_ = true;
    if (report_to_) {
        // Who no longer reads no longer wants to know.
        (void)write_all(*report_to_, ProgressReport{what_, done, total}.line());
    }
    if (!shown_) {
        return;
    }
    write_error(fmt::format("\r{}\033[K", progress_line(what_, done, total, now - start_)));
}

void ProgressBar::clear() {
    if (drawn_ && shown_) {
        write_error("\r\033[K");
    }
    drawn_ = false;
}

} // namespace talvor
