#include "support/keyword_table.h"

namespace {

using test_support::expect_table;

TEST(KeywordTablesTest, ScanController) {
    expect_table(gTdoEdgeTitle, gTdoEdgeValue, {{"default", 1}, {"rise", 0}, {"fall", 1}});
    expect_table(gTdiEdgeTitle, gTdiEdgeValue, {{"default", 0}, {"rise", 0}, {"fall", 1}});
    expect_table(gBootModeTitle, gBootModeValue, {{"disable", 0}, {"enable", 1}});
    expect_table(gBootValueTitle, gBootValueValue,
                 {{"disable", 0}, {"hiz", 0}, {"00", 1}, {"01", 2}, {"10", 3}, {"11", 4}});
    expect_table(gLoopModeTitle, gLoopModeValue, {{"disable", 0}, {"enable", 1}});
    expect_table(gLoopValueTitle, gLoopValueValue,
                 {{"default", 0}, {"disable", 0}, {"data", 1}, {"clock", 2}, {"total", 3}});
    expect_table(gBootPinMapTitle, gBootPinMapValue,
                 {{"TRD01_TRD00", 0}, {"TRD02_TRD01", 1}, {"EXTF_EXTE", 2}});
    expect_table(gJtagIsolateTitle, gJtagIsolateValue, {{"disable", 0}, {"enable", 1}});
    expect_table(gLinkModeTitle, gLinkModeValue, {{"disable", 0}, {"enable", 1}});
    expect_table(gLinkValueTitle, gLinkValueValue,
                 {{"default", 0}, {"disable", 0}, {"automatic", 1}});
}

TEST(KeywordTablesTest, ForHosts) {
    expect_table(gSignalTitle, gSignalValue,
                 {{"LOW", 0}, {"HIGH", 1}, {"ACTIVE_LOW", 0}, {"ACTIVE_HIGH", 1}});
    expect_table(gStateTitle, gStateValue,
                 {{"reset", 1},
                  {"reset", 1},
                  {"idle", 2},
                  {"pausedr", 3},
                  {"pauseir", 4},
                  {"pausedr", 3},
                  {"pauseir", 4}});
    expect_table(gGotoTitle, gGotoValue,
                 {{"trstpin", 0},
                  {"reset", 1},
                  {"idle", 2},
                  {"pausedr", 3},
                  {"pauseir", 4},
                  {"idle2pausedr", 5},
                  {"idle2pauseir", 6}});
    expect_table(
        gErrorFileTypeTitle, gErrorFileTypeValue,
        {{"default", 0}, {"config", 0}, {"modern", 0}, {"define", 1}, {"enum", 2}, {"const", 3}});
    expect_table(gSystemResetTitle, gSystemResetValue,
                 {{"nothing", 0}, {"assert", 1}, {"negate", 2}, {"pulse", 3}});
    expect_table(gReorderTitle, gReorderValue,
                 {{"forward", 0}, {"reverse", 1}, {"combine", 2}, {"shuffle", 3}, {"permute", 4}});
    expect_table(gMethodTitle, gMethodValue, {{"plural", 0}, {"single", 1}});
    expect_table(gHierarchyTitle, gHierarchyValue,
                 {{"sibling", 0}, {"children", 1}, {"descendant", 2}});
    expect_table(gRepeatTitle, gRepeatValue, {{"default", 1}, {"single", 1}, {"forever", 0}});
    expect_table(gDataTitle, gDataValue,
                 {{"default", 0x5533CCAA},
                  {"zeros-only", 0},
                  {"ones-only", 0xFFFFFFFF},
                  {"speed", 0x5533CCAA},
                  {"align", 0xFE03E0E2},
                  {"~speed", 0xAACC3355},
                  {"~align", 0x01FC1F1D}});
    expect_table(gBitsTitle, gBitsValue,
                 {{"none", 0}, {"default", 16384}, {"shortest", 1024}, {"longest", 524288}});
    expect_table(gPathTitle, nullptr, {{"default", 0}, {"measure", 0}});
}

} // namespace
