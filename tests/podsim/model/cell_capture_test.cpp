#include "podsim/model/cell_capture.h"

#include <gtest/gtest.h>

#include <string>

namespace talvor::podsim {
namespace {

using enum bsdl::CellFunction;

char letter(CaptureSource source) {
    return source == CaptureSource::Pin ? 'p' : source == CaptureSource::Core ? 'c' : 'l';
}

// What is captured in SAMPLE, EXTEST and INTEST: from the pin, the core, the latch.
std::string captures(const char* type, bsdl::CellFunction function, bool enabled = true) {
    std::string text;
    for (const TestMode mode : {TestMode::Normal, TestMode::Extest, TestMode::Intest}) {
        text += letter(capture_of(type, function, enabled, mode));
    }
    return text;
}

TEST(CellCaptureTest, InputsCaptureThePin) {
    for (const char* type : {"BC_0", "BC_1", "BC_3", "BC_4", "ac_1", "OWN_CELL", "BC_11", "BC"}) {
        EXPECT_EQ(captures(type, Input), "ppp") << type;
        EXPECT_EQ(captures(type, Clock), "ppp") << type;
    }
    for (const char* type : {"BC_2", "BC_5", "AC_2"}) {
        EXPECT_EQ(captures(type, Input), "ppl") << type;
    }
}

TEST(CellCaptureTest, OutputsCaptureWhatTheirTypeSays) {
    const struct {
        const char* type;
        const char* captured;
    } cases[] = {{"BC_0", "ccc"}, {"BC_1", "ccc"},  {"BC_2", "clc"}, {"BC_9", "cpc"},
                 {"bc_9", "cpc"}, {"BC_10", "ppp"}, {"AC_9", "cpc"}, {"BC_99999999999999", "ccc"}};
    for (const auto& one : cases) {
        EXPECT_EQ(captures(one.type, Output2), one.captured) << one.type;
        EXPECT_EQ(captures(one.type, Output3), one.captured) << one.type;
    }
}

TEST(CellCaptureTest, BidirectionalCellsAreOutputsWhileTheyAreEnabled) {
    EXPECT_EQ(captures("BC_6", Bidir, true), "clc");
    EXPECT_EQ(captures("BC_6", Bidir, false), "ppl");
    EXPECT_EQ(captures("BC_7", Bidir, true), "cpc");
    EXPECT_EQ(captures("BC_7", Bidir, false), "ppl");
    EXPECT_EQ(captures("BC_8", Bidir, true), "ppp");
    EXPECT_EQ(captures("BC_8", Bidir, false), "ppp");
}

TEST(CellCaptureTest, OtherFunctionsCaptureTheirOwn) {
    EXPECT_EQ(captures("BC_1", Control), "ccc");
    EXPECT_EQ(captures("BC_2", Control), "clc");
    EXPECT_EQ(captures("BC_2", ControlR), "clc");
    EXPECT_EQ(captures("BC_5", Control), "ccl");
    EXPECT_EQ(captures("BC_2", Internal), "ccc");
    EXPECT_EQ(captures("BC_2", ObserveOnly), "ppp");
}

} // namespace
} // namespace talvor::podsim
