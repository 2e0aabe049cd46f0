#include "support/keyword_table.h"

namespace {

using test_support::expect_table;
using test_support::Words;

TEST(TclkTablesTest, ModesAndLengths) {
    expect_table(gTclkProgTitle, gTclkProgValue,
                 {{"nothing", 0},
                  {"external", 1},
                  {"default", 2},
                  {"reference", 3},
                  {"specific", 4},
                  {"automatic", 5},
                  {"adaptive", 6},
                  {"inverter", 7},
                  {"superlow", 8},
                  {"minimum", 9},
                  {"legacy", 10},
                  {"exchange", 11},
                  {"maximum", 12}});
    expect_table(gTclkTestModeTitle, gTclkTestModeValue,
                 {{"default", 0}, {"nothing", 1}, {"continue", 2}, {"surrender", 3}});
    expect_table(gTclkOverFlowTitle, gTclkOverFlowValue,
                 {{"default", 0}, {"failure", 1}, {"silent", 2}});
    expect_table(gTclkInitialTitle, gTclkInitialValue, {{"default", 1}});
    expect_table(gTclkTerminalTitle, gTclkTerminalValue, {{"default", 1}});
    expect_table(gTclkBitsTitle, gTclkBitsValue,
                 {{"none", 0}, {"default", 16384}, {"shortest", 1024}, {"longest", 524288}});
    expect_table(gTclkPathTitle, nullptr, {{"default", 0}, {"measure", 0}});
}

// Values are coordinates: exponent in bits 15..8, mantissa in bits 7..0.
TEST(TclkTablesTest, Frequencies) {
    const Words frequencies = {{"default", 0x0313}, {"superlow", 0xF500}, {"minimum", 0xFF00},
                               {"legacy", 0x0313},  {"exchange", 0x0506}, {"adaptive", 0x0520},
                               {"maximum", 0x0600}};
    expect_table(gTclkFreqTitle, gTclkFreqValue, frequencies);
    expect_table(gTclkLimitTitle, gTclkLimitValue, frequencies);
    expect_table(gTclkReferTitle, gTclkReferValue,
                 {{"default", 0x0100},
                  {"1.0", 0x0000},
                  {"2.0", 0x0100},
                  {"4.0", 0x0200},
                  {"5.0", 0x0210},
                  {"10.0", 0x0310}});
}

} // namespace
