// Results as JUnit XML, which continuous integration reads.
#pragma once

#include "common/result.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace talvor {

struct JunitCase {
    enum class Outcome : uint8_t { Passed, Failed, Error, Skipped };

    std::string name;
    std::string class_name;
    double seconds = 0;
    Outcome outcome = Outcome::Passed;
    std::string message; // of a failure or an error, one line
    std::string text;    // and more of it
};

// One suite.
class Junit {
public:
    explicit Junit(std::string name) : name_(std::move(name)) {}

    void add(JunitCase result) { cases_.push_back(std::move(result)); }
    // The document.
    [[nodiscard]] std::string text() const;
    // Writes it to `path`, whole or not at all. Errors (ErrorKind::BadFile): it cannot be written.
    [[nodiscard]] Status write(const std::string& path) const;

private:
    std::string name_;
    std::vector<JunitCase> cases_;
};

} // namespace talvor
