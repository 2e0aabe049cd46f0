#include "tool/output/junit.h"

#include "common/text.h"
#include "tool/output/text_file.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvor {

namespace {

size_t count_of(const std::vector<JunitCase>& cases, JunitCase::Outcome outcome) {
    return static_cast<size_t>(std::count_if(
        cases.begin(), cases.end(), [outcome](auto& one) { return one.outcome == outcome; }));
}

std::string body(const JunitCase& result) {
    switch (result.outcome) {
    case JunitCase::Outcome::Passed:
        return "";
    case JunitCase::Outcome::Skipped:
        return "    <skipped/>\n";
    case JunitCase::Outcome::Failed:
    case JunitCase::Outcome::Error:
        break;
    }
    const char* tag = result.outcome == JunitCase::Outcome::Failed ? "failure" : "error";
    return fmt::format("    <{} message=\"{}\">{}</{}>\n", tag, xml_text(result.message),
                       xml_text(result.text), tag);
}

} // namespace

std::string Junit::text() const {
    double seconds = 0;
    for (const JunitCase& one : cases_) {
        seconds += one.seconds;
    }
    std::string xml = fmt::format(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n"
        "<testsuite name=\"{}\" tests=\"{}\" failures=\"{}\" errors=\"{}\" skipped=\"{}\" "
        "time=\"{:.6f}\">\n",
        xml_text(name_), cases_.size(), count_of(cases_, JunitCase::Outcome::Failed),
        count_of(cases_, JunitCase::Outcome::Error), count_of(cases_, JunitCase::Outcome::Skipped),
        seconds);
    for (const JunitCase& one : cases_) {
        xml += fmt::format("  <testcase classname=\"{}\" name=\"{}\" time=\"{:.6f}\">\n{}"
                           "  </testcase>\n",
                           xml_text(one.class_name), xml_text(one.name), one.seconds, body(one));
    }
    return xml + "</testsuite>\n</testsuites>\n";
}

Status Junit::write(const std::string& path) const {
    return write_text_file(path, text());
}

} // namespace talvor
