#include "host/driver/library.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace talvor {
namespace {

constexpr const char* kVariable = "TALVOR_LIBRARY";

// The variable that names the library, as it was when the test ends.
class LibraryTest : public testing::Test {
protected:
    LibraryTest() {
        if (const char* value = std::getenv(kVariable)) {
            before_ = value;
        }
        ::unsetenv(kVariable);
    }
    ~LibraryTest() override {
        if (before_) {
            ::setenv(kVariable, before_->c_str(), 1);
        } else {
            ::unsetenv(kVariable);
        }
    }

private:
    std::optional<std::string> before_;
};

using Names = std::vector<std::string>;

TEST_F(LibraryTest, TheOneAskedForIsTheOnlyCandidate) {
    ::setenv(kVariable, "/from/the/environment.so", 1);
    EXPECT_EQ(Library::candidates("/asked/for.so"), Names{"/asked/for.so"});
}

TEST_F(LibraryTest, TheEnvironmentNamesTheOnlyCandidateOtherwise) {
    ::setenv(kVariable, "/from/the/environment.so", 1);
    EXPECT_EQ(Library::candidates({}), Names{"/from/the/environment.so"});
}

TEST_F(LibraryTest, AnEmptyVariableIsNone) {
    const Names without = Library::candidates({});
    ASSERT_FALSE(without.empty());
    EXPECT_EQ(without.back(), "libjsctalvor_340.so.0") << "at last where the loader looks";
    ::setenv(kVariable, "", 1);
    EXPECT_EQ(Library::candidates({}), without);
}

TEST_F(LibraryTest, TheOneOfTheProgramsOwnTreeComesBeforeTheLoaders) {
    const auto program = std::filesystem::read_symlink("/proc/self/exe");
    const auto beside = program.parent_path().parent_path() / "lib/libjsctalvor_340.so.0";
    EXPECT_EQ(Library::candidates({}), (Names{beside.string(), "libjsctalvor_340.so.0"}));
}

TEST_F(LibraryTest, AMissingLibraryIsNamedWithTheReason) {
    const Result<Library> library = Library::load("/nonexistent/lib.so");
    ASSERT_FALSE(library);
    EXPECT_EQ(library.error().thing, "driver library");
    EXPECT_NE(library.error().reason.find("/nonexistent/lib.so"), std::string::npos);
}

} // namespace
} // namespace talvor
