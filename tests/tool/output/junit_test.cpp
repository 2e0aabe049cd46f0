#include "tool/output/junit.h"

#include <gtest/gtest.h>

#include <string>

namespace talvor {
namespace {

TEST(JunitTest, CountsEachOutcome) {
    Junit suite("a \"suite\"");
    suite.add({"one", "c", 1.5, JunitCase::Outcome::Passed, "", ""});
    suite.add({"two", "c", 0.25, JunitCase::Outcome::Failed, "a < b", "line & line"});
    suite.add({"three", "c", 0, JunitCase::Outcome::Error, "no pod", ""});
    suite.add({"four", "c", 0, JunitCase::Outcome::Skipped, "", ""});
    EXPECT_EQ(suite.text(),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<testsuites>\n"
              "<testsuite name=\"a &quot;suite&quot;\" tests=\"4\" failures=\"1\" errors=\"1\" "
              "skipped=\"1\" time=\"1.750000\">\n"
              "  <testcase classname=\"c\" name=\"one\" time=\"1.500000\">\n"
              "  </testcase>\n"
              "  <testcase classname=\"c\" name=\"two\" time=\"0.250000\">\n"
              "    <failure message=\"a &lt; b\">line &amp; line</failure>\n"
              "  </testcase>\n"
              "  <testcase classname=\"c\" name=\"three\" time=\"0.000000\">\n"
              "    <error message=\"no pod\"></error>\n"
              "  </testcase>\n"
              "  <testcase classname=\"c\" name=\"four\" time=\"0.000000\">\n"
              "    <skipped/>\n"
              "  </testcase>\n"
              "</testsuite>\n"
              "</testsuites>\n");
}

TEST(JunitTest, AFileThatCannotBeWrittenIsAnError) {
    const Status status = Junit("s").write("/nonexistent/x.xml");
    ASSERT_FALSE(status);
    EXPECT_EQ(status.error().thing, "/nonexistent/x.xml");
}

} // namespace
} // namespace talvor
