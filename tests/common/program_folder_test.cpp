// Where this program lies. Each case that chooses a folder is a process of its own: the choice is
// for good.
#include "common/program_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

namespace talvor {
namespace {

TEST(ProgramFolderTest, IsThatOfThisProgramWhileNobodyChooses) {
    const auto program = std::filesystem::read_symlink("/proc/self/exe");
    EXPECT_EQ(program_folder(), program.parent_path());
    EXPECT_TRUE(std::filesystem::exists(program_folder() / program.filename()));
}

[[noreturn]] void choose(const char* folder, const std::filesystem::path& expected) {
    choose_program_folder(folder);
    std::_Exit(program_folder() == expected ? 0 : 1);
}

TEST(ProgramFolderTest, IsTheOneThatWasChosenWhetherItIsThereOrNot) {
    EXPECT_EXIT(choose("/dev/null/bin", "/dev/null/bin"), testing::ExitedWithCode(0), "");
}

TEST(ProgramFolderTest, IsThisProgramsAgainWhenNoneIsChosen) {
    EXPECT_EXIT(choose("", program_folder()), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace talvor
