#include "pll/pll_variable.h"

#include "config/scan_length.h"
#include "config/variable_record.h"
#include "jsc_export.h"
#include "sys/check.h"

namespace {

// A keyword, else a frequency such as "10.5MHz".
int32_t read_frequency(KeyWalk& walk, const KeyRow& row, JBD_Context entry) {
    KeyText text;
    RETURN_ON_ERROR(get_text(walk, entry, &text));
    coord_t coord = PLL_TCLK_W_NOTHING;
    RETURN_IF(!find_word(text, row.words, &coord) &&
                  pll_StrLenToCoord(text.length, text.text, &coord) != 0,
              row.refused);
    store_value(walk, row.field, coord);
    return eJTI_ERROR_NONE;
}

// A specific frequency below the lowest one becomes the lowest, when the board names none.
int32_t start_at_specific(KeyWalk& walk, const KeyRow&) {
    PLL_Variable& pll = record_of<PLL_Variable>(walk);
    if (!pll.useTclkBeginning && pll.tclkProgram == LS_TCLK_PROG_SPECIFIC &&
        pll_OneAltTwo(pll.tclkFrequency, pll.tclkBeginning)) {
        pll.tclkBeginning = pll.tclkFrequency;
    }
    return eJTI_ERROR_NONE;
}

// A word counts as known, too, and the length is whole words of the scan buffer.
int32_t settle_scan_bits(KeyWalk& walk, const KeyRow&) {
    PLL_Variable& pll = record_of<PLL_Variable>(walk);
    pll.bitsKnown = pll.useBitsLength;
    pll.bitsLength -= pll.bitsLength % kScanBitsUnit;
    return eJTI_ERROR_NONE;
}

#define FIELD(name) KEY_FIELD(PLL_Variable, name)

constexpr KeyRow kRows[] = {
    {.name = "VEXIL.TCLK_PROGRAM",
     .read = read_keyword,
     .field = FIELD(tclkProgram),
     .use = FIELD(useTclkProgram),
     .words = {gTclkProgTitle, gTclkProgValue},
     .absent = LS_TCLK_PROG_AUTOMATIC,
     .refused = eJTI_ERROR_TCLK_PROGRAM},
    {.name = "VEXIL.TCLK_BEGINNING",
     .read = read_frequency,
     .field = FIELD(tclkBeginning),
     .use = FIELD(useTclkBeginning),
     .words = {gTclkFreqTitle, gTclkFreqValue},
     .absent = PLL_TCLK_W_MINIMUM,
     .refused = eJTI_ERROR_TCLK_BEGINNING},
    {.name = "VEXIL.TCLK_FREQUENCY",
     .read = read_frequency,
     .field = FIELD(tclkFrequency),
     .use = FIELD(useTclkFrequency),
     .words = {gTclkFreqTitle, gTclkFreqValue},
     .absent = PLL_TCLK_W_LEGACY,
     .refused = eJTI_ERROR_TCLK_FREQUENCY},
    {.name = "VEXIL.TCLK_ADVANCE",
     .read = read_limited,
     .field = FIELD(tclkAdvance),
     .use = FIELD(useTclkAdvance),
     .least = PLL_TCLK_MARGIN_MIN + 1,
     .most = PLL_TCLK_MARGIN_MAX,
     .absent = PLL_TCLK_MARGIN_ADVANCE,
     .refused = eJTI_ERROR_TCLK_ADVANCE,
     .unreadable = eJTI_ERROR_TCLK_ADVANCE},
    {.name = "VEXIL.TCLK_RETREAT",
     .read = read_limited,
     .field = FIELD(tclkRetreat),
     .use = FIELD(useTclkRetreat),
     .least = PLL_TCLK_MARGIN_MIN + 1,
     .most = PLL_TCLK_MARGIN_MAX,
     .absent = PLL_TCLK_MARGIN_RETREAT,
     .refused = eJTI_ERROR_TCLK_RETREAT,
     .unreadable = eJTI_ERROR_TCLK_RETREAT},
    {.name = "VEXIL.TCLK_TESTMODE",
     .read = read_keyword,
     .field = FIELD(tclkTestMode),
     .use = FIELD(useTclkTestMode),
     .words = {gTclkTestModeTitle, gTclkTestModeValue},
     .absent = LS_TCLK_TESTMODE_DEFAULT,
     .refused = eJTI_ERROR_TCLK_TESTMODE},
    // Absent is DEFAULT, though the record starts with FAILURE: kept, hosts tell the two apart.
    {.name = "VEXIL.TCLK_OVERFLOW",
     .read = read_keyword,
     .field = FIELD(tclkOverFlow),
     .use = FIELD(useTclkOverFlow),
     .words = {gTclkOverFlowTitle, gTclkOverFlowValue},
     .absent = LS_TCLK_OVERFLOW_DEFAULT,
     .refused = eJTI_ERROR_TCLK_OVERFLOW},
    {.name = "VEXIL.TCLK_REFERENCE",
     .read = read_frequency,
     .field = FIELD(tclkReference),
     .use = FIELD(useTclkReference),
     .words = {gTclkReferTitle, gTclkReferValue},
     .absent = PLL_TCLK_W_TWO,
     .refused = eJTI_ERROR_TCLK_REFERENCE},
    {.name = "VEXIL.TCLK_INITIAL",
     .read = read_keyword_or_boolean,
     .field = FIELD(tclkInitial),
     .use = FIELD(useTclkInitial),
     .words = {gTclkInitialTitle, gTclkInitialValue},
     .unreadable = eJTI_ERROR_TCLK_INITIAL},
    {.name = "VEXIL.TCLK_TERMINAL",
     .read = read_keyword_or_boolean,
     .field = FIELD(tclkTerminal),
     .use = FIELD(useTclkTerminal),
     .words = {gTclkTerminalTitle, gTclkTerminalValue},
     .unreadable = eJTI_ERROR_TCLK_TERMINAL,
     .after = start_at_specific},
    {.name = "VEXIL.TCLK_SCAN_BITS",
     .read = read_keyword_or_limited,
     .field = FIELD(bitsLength),
     .use = FIELD(useBitsLength),
     .words = {gTclkBitsTitle, gTclkBitsValue},
     .least = kScanBitsShortest,
     .most = kScanBitsLongest,
     .absent = kScanBitsDefault,
     .refused = eJTI_ERROR_SCAN_BITS,
     .unreadable = eJTI_ERROR_CONTROLLER_VALUE,
     .after = settle_scan_bits},
    {.name = "VEXIL.TCLK_PATH_IRSIZE",
     .read = read_keyword_or_limited,
     .field = FIELD(irLength),
     .known = FIELD(irKnown),
     .use = FIELD(useIrLength),
     .words = {gTclkPathTitle},
     .most = kScanBitsLongest,
     .refused = eJTI_ERROR_IR_SIZE,
     .unreadable = eJTI_ERROR_CONTROLLER_VALUE},
    {.name = "VEXIL.TCLK_PATH_DRSIZE",
     .read = read_keyword_or_limited,
     .field = FIELD(drLength),
     .known = FIELD(drKnown),
     .use = FIELD(useDrLength),
     .words = {gTclkPathTitle},
     .most = kScanBitsLongest,
     .refused = eJTI_ERROR_DR_SIZE,
     .unreadable = eJTI_ERROR_CONTROLLER_VALUE},
};

} // namespace

std::span<const KeyRow> pll_keys() {
    return kRows;
}

int READ_PllCreate(PLL_Variable** ppPllVariable) {
    return create_variable(ppPllVariable) ? 1 : 0;
}

int READ_PllDelete(PLL_Variable** ppPllVariable) {
    return delete_variable(ppPllVariable) ? 1 : 0;
}

void READ_PllInitial(PLL_Variable* pPllVariable) {
    if (pPllVariable == nullptr) {
        return;
    }
    *pPllVariable = {};
    pPllVariable->tclkProgram = LS_TCLK_PROG_AUTOMATIC;
    pPllVariable->tclkBeginning = PLL_TCLK_W_MINIMUM;
    pPllVariable->tclkFrequency = PLL_TCLK_W_LEGACY;
    pPllVariable->tclkAdvance = PLL_TCLK_MARGIN_ADVANCE;
    pPllVariable->tclkRetreat = PLL_TCLK_MARGIN_RETREAT;
    pPllVariable->tclkTestMode = LS_TCLK_TESTMODE_DEFAULT;
    pPllVariable->tclkOverFlow = LS_TCLK_OVERFLOW_FAILURE;
    pPllVariable->tclkReference = PLL_TCLK_W_TWO;
    pPllVariable->tclkInitial = true;
    pPllVariable->tclkTerminal = true;
    pPllVariable->bitsLength = kScanBitsDefault;
}

int READ_PllVariable(void* cfgHandle, CFG_Interface* pCfgInterface, PLL_Variable* pPllVariable) {
    return read_keys(cfgHandle, pCfgInterface, pPllVariable, pll_keys());
}
