#include "podsim/control/script.h"

#include "common/result.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <sstream>

namespace talvor::podsim::control {
namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r";
    const size_t begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

Result<Step> parse_step(std::string_view line, const std::string& place) {
    Step step{.batch = 0, .command = {}, .place = place};
    constexpr std::string_view kBatch = "batch ";
    if (line.starts_with(kBatch)) {
        const size_t colon = line.find(':');
        const std::string_view digits = trimmed(line.substr(0, colon).substr(kBatch.size()));
        const auto [end, error] =
            std::from_chars(digits.data(), digits.data() + digits.size(), step.batch);
        if (colon == std::string_view::npos || error != std::errc{} ||
            end != digits.data() + digits.size() || step.batch == 0) {
            return file_error(place, "expected 'batch N: COMMAND' with N from 1 on");
        }
        line.remove_prefix(colon + 1);
    }
    const auto command = parse(line);
    if (!command) {
        return file_error(place, headline(command.error()));
    }
    if (is_question(command->verb)) {
        return file_error(place, "a script cannot ask for the status");
    }
    step.command = *command;
    return step;
}

} // namespace

Result<std::vector<Step>> parse_script(std::string_view text, const std::string& name) {
    std::vector<Step> steps;
    for (unsigned number = 1; !text.empty(); ++number) {
        const size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = trimmed(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.empty() || line.starts_with('#')) {
            continue;
        }
        steps.push_back(TRY(parse_step(line, fmt::format("{}:{}", name, number))));
    }
    return steps;
}

Result<std::vector<Step>> read_script(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    if (!file || (file.peek() != std::ifstream::traits_type::eof() && !(text << file.rdbuf()))) {
        return system_failure("reading the script " + path);
    }
    return parse_script(text.str(), path);
}

} // namespace talvor::podsim::control
