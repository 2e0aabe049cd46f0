// The keyword tables of the test clock, read-only data without start-up code.
// jsc_export.h declares them.
#include "config/scan_length.h"
#include "jsc_export.h"

constinit const char* const gTclkProgTitle[] = {
    "nothing",  "external", "default", "reference", "specific", "automatic", "adaptive",
    "inverter", "superlow", "minimum", "legacy",    "exchange", "maximum",   nullptr};
constinit const uint32_t gTclkProgValue[] = {
    LS_TCLK_PROG_NOTHING,  LS_TCLK_PROG_EXTERNAL,  LS_TCLK_PROG_DEFAULT,  LS_TCLK_PROG_REFERENCE,
    LS_TCLK_PROG_SPECIFIC, LS_TCLK_PROG_AUTOMATIC, LS_TCLK_PROG_ADAPTIVE, LS_TCLK_PROG_INVERTER,
    LS_TCLK_PROG_SUPERLOW, LS_TCLK_PROG_MINIMUM,   LS_TCLK_PROG_LEGACY,   LS_TCLK_PROG_EXCHANGE,
    LS_TCLK_PROG_MAXIMUM,  LS_VALUE_NOTHING};

constinit const char* const gTclkFreqTitle[] = {"default",  "superlow", "minimum", "legacy",
                                                "exchange", "adaptive", "maximum", nullptr};
constinit const uint32_t gTclkFreqValue[] = {
    PLL_TCLK_W_DEFAULT,  PLL_TCLK_W_SUPERLOW, PLL_TCLK_W_MINIMUM, PLL_TCLK_W_LEGACY,
    PLL_TCLK_W_EXCHANGE, PLL_TCLK_W_ADAPTIVE, PLL_TCLK_W_MAXIMUM, LS_VALUE_NOTHING};

// For hosts; the driver has no key with these words.
constinit const char* const gTclkLimitTitle[] = {"default",  "superlow", "minimum", "legacy",
                                                 "exchange", "adaptive", "maximum", nullptr};
constinit const uint32_t gTclkLimitValue[] = {
    PLL_TCLK_W_DEFAULT,  PLL_TCLK_W_SUPERLOW, PLL_TCLK_W_MINIMUM, PLL_TCLK_W_LEGACY,
    PLL_TCLK_W_EXCHANGE, PLL_TCLK_W_ADAPTIVE, PLL_TCLK_W_MAXIMUM, LS_VALUE_NOTHING};

constinit const char* const gTclkTestModeTitle[] = {"default", "nothing", "continue", "surrender",
                                                    nullptr};
constinit const uint32_t gTclkTestModeValue[] = {LS_TCLK_TESTMODE_DEFAULT, LS_TCLK_TESTMODE_NOTHING,
                                                 LS_TCLK_TESTMODE_CONTINUE,
                                                 LS_TCLK_TESTMODE_SURRENDER, LS_VALUE_NOTHING};

constinit const char* const gTclkOverFlowTitle[] = {"default", "failure", "silent", nullptr};
constinit const uint32_t gTclkOverFlowValue[] = {LS_TCLK_OVERFLOW_DEFAULT, LS_TCLK_OVERFLOW_FAILURE,
                                                 LS_TCLK_OVERFLOW_SILENT, LS_VALUE_NOTHING};

constinit const char* const gTclkReferTitle[] = {"default", "1.0",  "2.0",  "4.0",
                                                 "5.0",     "10.0", nullptr};
constinit const uint32_t gTclkReferValue[] = {PLL_TCLK_W_TWO,  PLL_TCLK_W_ONE,  PLL_TCLK_W_TWO,
                                              PLL_TCLK_W_FOUR, PLL_TCLK_W_FIVE, PLL_TCLK_W_TEN,
                                              LS_VALUE_NOTHING};

constinit const char* const gTclkInitialTitle[] = {"default", nullptr};
constinit const uint32_t gTclkInitialValue[] = {true, LS_VALUE_NOTHING};

constinit const char* const gTclkTerminalTitle[] = {"default", nullptr};
constinit const uint32_t gTclkTerminalValue[] = {true, LS_VALUE_NOTHING};

constinit const char* const gTclkBitsTitle[] = {"none", "default", "shortest", "longest", nullptr};
constinit const uint32_t gTclkBitsValue[] = {0, kScanBitsDefault, kScanBitsShortest,
                                             kScanBitsLongest, LS_VALUE_NOTHING};
constinit const char* const gTclkPathTitle[] = {"default", "measure", nullptr};
