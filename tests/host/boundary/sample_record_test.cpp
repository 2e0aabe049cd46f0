#include "host/boundary/sample_record.h"

#include <gtest/gtest.h>

#include <string_view>

namespace talvor::boundary {
namespace {

std::string add(SampleRecord& record, uint64_t time_us, std::string_view levels) {
    return record.add(time_us, {levels.data(), levels.size()});
}

TEST(SampleRecordTest, HasAModuleForEachDevice) {
    const SampleRecord record({{"u1", {"PA(3)", "CLK"}}, {"u2", {"Q"}}});
    EXPECT_EQ(record.header(), "$version talvor $end\n"
                               "$timescale 1 us $end\n"
                               "$scope module u1 $end\n"
                               "$var wire 1 ! PA[3] $end\n"
                               "$var wire 1 \" CLK $end\n"
                               "$upscope $end\n"
                               "$scope module u2 $end\n"
                               "$var wire 1 # Q $end\n"
                               "$upscope $end\n"
                               "$enddefinitions $end\n");
}

TEST(SampleRecordTest, WritesAllFirstAndThenWhatChanges) {
    SampleRecord record({{"u1", {"A", "B"}}, {"u2", {"C"}}});
    EXPECT_EQ(add(record, 0, "0zx"), "#0\n$dumpvars\n0!\nz\"\nx#\n$end\n");
    EXPECT_EQ(add(record, 50000, "0zx"), "");
    EXPECT_EQ(add(record, 100000, "1z0"), "#100000\n1!\n0#\n");
    EXPECT_EQ(SampleRecord::end(150000), "#150000\n");
}

} // namespace
} // namespace talvor::boundary
