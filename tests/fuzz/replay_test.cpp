// Every file of every corpus goes through the function that the fuzzer calls with it. One that does
// not hold ends the program, and the line above its end names the file.
#include "fuzz/base/check.h"
#include "fuzz/base/heap_meter.h"
#include "fuzz/targets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace talvor::fuzz {
namespace {

std::vector<std::filesystem::path> files_of(std::string_view target) {
    std::vector<std::filesystem::path> files;
    const auto folder = std::filesystem::path(TALVOR_CORPUS) / target;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<uint8_t> bytes_of(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

class ReplayTest : public testing::TestWithParam<Target> {};

TEST_P(ReplayTest, EveryFileOfTheCorpusHolds) {
    const std::vector<std::filesystem::path> files = files_of(GetParam().name);
    EXPECT_GE(files.size(), 5U) << "a corpus is more than a sample";
    for (const auto& path : files) {
        // To where the reason of an abort goes as well.
        std::fprintf(stderr, "%s/%s\n", std::string(GetParam().name).c_str(),
                     path.filename().c_str());
        GetParam().run(bytes_of(path));
    }
}

// What a file changes would make the next one another test.
TEST_P(ReplayTest, AnEmptyInputHoldsBeforeAndAfterAnother) {
    GetParam().run({});
    GetParam().run(bytes_of(files_of(GetParam().name).front()));
    GetParam().run({});
}

INSTANTIATE_TEST_SUITE_P(Targets, ReplayTest, testing::ValuesIn(kTargets),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST(CorpusTest, EveryFolderHasATarget) {
    std::vector<std::string> names;
    for (const Target& target : kTargets) {
        names.emplace_back(target.name);
    }
    std::vector<std::string> folders;
    for (const auto& entry : std::filesystem::directory_iterator(TALVOR_CORPUS)) {
        folders.push_back(entry.path().filename());
    }
    EXPECT_THAT(folders, testing::UnorderedElementsAreArray(names));
}

TEST(HeapMeterTest, TellsThePeakSinceItsMaking) {
    constexpr size_t kBytes = 300'000;
    const HeapMeter during;
    {
        const std::string held(kBytes, 'x');
        EXPECT_EQ(held.back(), 'x');
    }
    EXPECT_GE(during.peak_bytes(), kBytes);
    EXPECT_LT(during.peak_bytes(), 2 * kBytes);
    const HeapMeter afterwards;
    EXPECT_LT(afterwards.peak_bytes(), kBytes);
}

TEST(CheckDeathTest, WhatDoesNotHoldEndsTheProgram) {
    EXPECT_DEATH(FUZZ_CHECK(1 + 1 == 3, "arithmetic"), "arithmetic");
    EXPECT_DEATH(check_error(Error{}, ""), "a reason");
    EXPECT_DEATH(check_error(file_error("b.svf:1", "why").value(), "a.svf"), "begins with");
}

} // namespace
} // namespace talvor::fuzz
