#include "common/bsdl/report.h"

#include "common/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>
#include <utility>

namespace talvor::bsdl {

void Report::fail(Place place, std::string reason, std::string next_step) {
    if (!fault_) {
        fault_ = file_error(fmt::format("{}:{}:{}", file_, place.line, place.column),
                            std::move(reason), std::move(next_step))
                     .value();
    }
}

Status Report::status() const {
    return fault_ ? Status(Failure(*fault_)) : Status{};
}

void Report::add(Severity severity, Place place, std::string text) {
    // Names of a file have any length.
    constexpr size_t kMostBytes = 500;
    if (text.size() > kMostBytes) {
        text = text.substr(0, kMostBytes) + "...";
    }
    if (++counts_[static_cast<size_t>(severity)] <= kMostFindings) {
        findings_.push_back({severity, place, std::move(text)});
    }
}

std::vector<Finding> Report::findings() const {
    std::vector<Finding> sorted = findings_;
    std::stable_sort(sorted.begin(), sorted.end(), [](const Finding& a, const Finding& b) {
        return std::tie(a.place.line, a.place.column) < std::tie(b.place.line, b.place.column);
    });
    const Place end = sorted.empty() ? Place{} : sorted.back().place;
    for (const Severity severity : {Severity::Warning, Severity::Error}) {
        const size_t count = counts_[static_cast<size_t>(severity)];
        if (count > kMostFindings) {
            const char* noun = severity == Severity::Error ? "error" : "warning";
            sorted.push_back({severity, end,
                              fmt::format("{} more of this kind are not listed",
                                          count_text(count - kMostFindings, noun))});
        }
    }
    return sorted;
}

std::string shown(std::string_view piece) {
    constexpr size_t kMostBytes = 40;
    std::string text = "'";
    for (const char c : piece.substr(0, kMostBytes)) {
        text += c >= ' ' && c <= '~' ? c : '?';
    }
    return text + (piece.size() > kMostBytes ? "...'" : "'");
}

std::string listed(const std::vector<std::string>& names) {
    constexpr size_t kMost = 8;
    std::string text;
    for (size_t i = 0; i < std::min(names.size(), kMost); ++i) {
        text += (i == 0 ? "" : ", ") + names[i];
    }
    return names.size() > kMost ? fmt::format("{} and {} more", text, names.size() - kMost) : text;
}

} // namespace talvor::bsdl
