#include "tool/output/terminal.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace talvor {
namespace {

// A variable of the environment for as long as the object lives; nullptr: none.
class Variable {
public:
    Variable(const char* name, const char* value) : name_(name) {
        const char* const old = std::getenv(name);
        had_ = old != nullptr;
        old_ = had_ ? old : "";
        set(value);
    }
    ~Variable() { set(had_ ? old_.c_str() : nullptr); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

private:
    void set(const char* value) const {
        if (value != nullptr) {
            setenv(name_, value, 1);
        } else {
            unsetenv(name_);
        }
    }

    const char* name_;
    bool had_ = false;
    std::string old_;
};

TEST(TerminalTest, IsAsWideAsTheEnvironmentSays) {
    const Variable columns("COLUMNS", "57");
    EXPECT_EQ(terminal_width(), 57U);
}

TEST(TerminalTest, ItsWidthIsNoOtherText) {
    // Whatever stands behind: the terminal's, or the one that is taken without any.
    const size_t other = [] {
        const Variable columns("COLUMNS", nullptr);
        return terminal_width();
    }();
    for (const char* text : {"", "0", "-5", "57x", "99999999999999999999", "57 "}) {
        const Variable columns("COLUMNS", text);
        EXPECT_EQ(terminal_width(), other) << text;
    }
}

TEST(TerminalTest, IsAsHighAsTheEnvironmentSays) {
    const Variable lines("LINES", "43");
    EXPECT_EQ(terminal_height(), 43U);
}

TEST(TerminalTest, SpeaksWhatTheLocaleSays) {
    struct Case {
        const char* all;
        const char* type;
        const char* lang;
        bool utf8;
    };
    for (const Case& one :
         {Case{nullptr, nullptr, "en_US.UTF-8", true}, Case{nullptr, nullptr, "C.utf8", true},
          Case{"C", nullptr, "en_US.UTF-8", false}, Case{"", "POSIX", "en_US.UTF-8", false},
          Case{"", "", "de_DE.UTF-8", true}, Case{nullptr, "de_DE.utf-8", "C", true},
          Case{nullptr, nullptr, "en_US.ISO-8859-1", false},
          Case{nullptr, nullptr, nullptr, false}}) {
        const Variable all("LC_ALL", one.all);
        const Variable type("LC_CTYPE", one.type);
        const Variable lang("LANG", one.lang);
        EXPECT_EQ(speaks_utf8(), one.utf8) << (one.lang != nullptr ? one.lang : "none");
    }
}

TEST(TerminalTest, CountsPlacesNotBytesAndNoColours) {
    EXPECT_EQ(places_of(""), 0U);
    EXPECT_EQ(places_of("TCK"), 3U);
    EXPECT_EQ(places_of("▁▔│"), 3U);
    EXPECT_EQ(places_of("\033[1;36mDR\033[0m 4"), 4U);
}

} // namespace
} // namespace talvor
