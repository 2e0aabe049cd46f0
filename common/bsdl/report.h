// What is wrong with a BSDL file: the fault of grammar that ends the reading, and findings.
#pragma once

#include "common/bsdl/model.h"
#include "common/result.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::bsdl {

// Of a file that is nothing but mistakes so many findings of each severity are told one by one.
inline constexpr size_t kMostFindings = 200;

class Report {
public:
    // `file`: as messages call it.
    explicit Report(std::string file) : file_(std::move(file)) {}

    // The text is no BSDL from here on; later faults are ignored.
    void fail(Place place, std::string reason, std::string next_step = {});
    [[nodiscard]] bool failed() const noexcept { return fault_.has_value(); }
    // The fault, if there is one.
    [[nodiscard]] Status status() const;

    void warning(Place place, std::string text) { add(Severity::Warning, place, std::move(text)); }
    void error(Place place, std::string text) { add(Severity::Error, place, std::move(text)); }
    // All findings, in the order of their places.
    [[nodiscard]] std::vector<Finding> findings() const;

private:
    void add(Severity severity, Place place, std::string text);

    std::string file_;
    std::optional<Error> fault_;
    std::vector<Finding> findings_;
    std::array<size_t, 2> counts_{}; // of each severity, those that are not told among them
};

// A piece of the file as a message shows it: in quotes, short, and printable.
[[nodiscard]] std::string shown(std::string_view piece);
// "A, B, C and 9 more".
[[nodiscard]] std::string listed(const std::vector<std::string>& names);

} // namespace talvor::bsdl
