#include "config/tbc_variable.h"

#include "config/variable_record.h"
#include "jsc_export.h"
#include "sys/check.h"

namespace {

// Slow-mode frequency, hertz: of a configuration that gives none, and the lowest that is kept.
constexpr uint32_t kSlowFrequencyDefault = PLL_TCLK_F_TIMEOUT;
constexpr uint32_t kSlowFrequencyLowest = PLL_TCLK_F_DEAD;

// The end delays take a number or this word, which stands for 0.
constexpr const char* kDefaultTitle[] = {"default", nullptr};

// The slow clock wins over the fast one, and a slow frequency forces it.
int32_t choose_clock(KeyWalk& walk, const KeyRow&) {
    TBC_Variable& tbc = record_of<TBC_Variable>(walk);
    if (tbc.useSlowFreq) {
        tbc.useSlowClock = true;
        tbc.slowClock = true;
        if (tbc.slowFreq < kSlowFrequencyLowest) {
            tbc.slowFreq = kSlowFrequencyLowest;
        }
    }
    if (tbc.useSlowClock && tbc.slowClock) {
        tbc.useFastClock = false;
        tbc.fastClock = false;
    }
    return eJTI_ERROR_NONE;
}

// Which key gives the link delay. Without a mode key it is the older one.
enum LinkKey : uint32_t { LinkKeyOlder, LinkKeyNone, LinkKeyValue };

constexpr const char* kLinkModeTitle[] = {"disable", "enable", nullptr};
constexpr uint32_t kLinkModeValue[] = {LinkKeyNone, LinkKeyValue, LS_VALUE_NOTHING};

constexpr const char* kLinkDelayTitle[] = {"default", "automatic", nullptr};
constexpr uint32_t kLinkDelayValue[] = {false, true, LS_VALUE_NOTHING};

int32_t read_link_mode(KeyWalk& walk, const KeyRow& row, JBD_Context entry) {
    KeyText text;
    RETURN_ON_ERROR(get_text(walk, entry, &text));
    return find_word(text, row.words, &walk.choice) ? eJTI_ERROR_NONE : row.refused;
}

bool link_value_chosen(const KeyWalk& walk) {
    return walk.choice == LinkKeyValue;
}

bool link_older_chosen(const KeyWalk& walk) {
    return walk.choice == LinkKeyOlder;
}

// A signed number changes the delay, an unsigned one is the delay: the first character tells.
int32_t read_link_number(KeyWalk& walk, const KeyRow& row, JBD_Context entry, const KeyText& text) {
    TBC_Variable& tbc = record_of<TBC_Variable>(walk);
    const char first = true_length(text) != 0 ? text.text[0] : '\0';
    if (first == '-' || first == '+') {
        int32_t delta = 0;
        RETURN_IF(walk.host->GetContextSigned32(walk.handle, entry, &delta) != 0, row.unreadable);
        tbc.linkDelta = delta;
        tbc.useLinkDelta = true;
    } else {
        uint32_t delay = 0;
        RETURN_IF(walk.host->GetContextUnsign32(walk.handle, entry, &delay) != 0, row.unreadable);
        tbc.linkDelay = delay;
        tbc.useLinkDelay = true;
    }
    return eJTI_ERROR_NONE;
}

int32_t read_link_delay(KeyWalk& walk, const KeyRow& row, JBD_Context entry) {
    KeyText text;
    RETURN_ON_ERROR(get_text(walk, entry, &text));
    TBC_Variable& tbc = record_of<TBC_Variable>(walk);
    tbc.useLinkDelta = false;
    tbc.useLinkDelay = false;
    tbc.linkDelta = 0;
    tbc.linkDelay = 0;
    uint32_t automatic = false;
    const bool is_word = find_word(text, row.words, &automatic);
    tbc.linkAuto = tbc.useLinkAuto = automatic != 0;
    return is_word ? eJTI_ERROR_NONE : read_link_number(walk, row, entry, text);
}

// A group of pins is active with a mode and a value, or not at all. Its use flags still tell which
// keys are there.
template <auto mode, auto value>
int32_t both_or_neither(KeyWalk& walk, const KeyRow&) {
    TBC_Variable& tbc = record_of<TBC_Variable>(walk);
    if (tbc.*mode == 0 || tbc.*value == 0) {
        tbc.*mode = 0;
        tbc.*value = 0;
    }
    return eJTI_ERROR_NONE;
}

#define FIELD(name) KEY_FIELD(TBC_Variable, name)

constexpr KeyRow kRows[] = {
    {.name = "VEXIL.NOAMBLE",
     .read = read_boolean,
     .field = FIELD(noAmble),
     .use = FIELD(useNoAmble)},
    {.name = "VEXIL.NOCHECK",
     .read = read_boolean,
     .field = FIELD(noCheck),
     .use = FIELD(useNoCheck)},
    {.name = "VEXIL.OKSTALL",
     .read = read_boolean,
     .field = FIELD(okStall),
     .use = FIELD(useOkStall)},
    {.name = "VEXIL.FASTCLK",
     .read = read_boolean,
     .field = FIELD(fastClock),
     .use = FIELD(useFastClock),
     .absent = false},
    {.name = "VEXIL.SLOWCLK",
     .read = read_boolean,
     .field = FIELD(slowClock),
     .use = FIELD(useSlowClock),
     .absent = false},
    {.name = "VEXIL.SLOWFRQ",
     .read = read_unsigned,
     .field = FIELD(slowFreq),
     .use = FIELD(useSlowFreq),
     .absent = kSlowFrequencyDefault,
     .after = choose_clock},
    {.name = "VEXIL.TDOEDGE",
     .read = read_keyword,
     .field = FIELD(tdoEdgeFall),
     .use = FIELD(useTdoEdgeFall),
     .words = {gTdoEdgeTitle, gTdoEdgeValue},
     .absent = false,
     .refused = eJTI_ERROR_CONTROLLER_VALUE},
    {.name = "VEXIL.TDIEDGE",
     .read = read_keyword,
     .field = FIELD(tdiEdgeFall),
     .use = FIELD(useTdiEdgeFall),
     .words = {gTdiEdgeTitle, gTdiEdgeValue},
     .absent = false,
     .refused = eJTI_ERROR_CONTROLLER_VALUE},
    {.name = "VEXIL.LINKDELAY_MODE",
     .read = read_link_mode,
     .words = {kLinkModeTitle, kLinkModeValue},
     .refused = eJTI_ERROR_CONTROLLER_VALUE},
    {.name = "VEXIL.LINKDELAY_VALUE",
     .read = read_link_delay,
     .words = {kLinkDelayTitle, kLinkDelayValue},
     .unreadable = eJTI_ERROR_CONTROLLER_VALUE,
     .when = link_value_chosen},
    {.name = "VEXIL.LINKDLY",
     .read = read_link_delay,
     .words = {kLinkDelayTitle, kLinkDelayValue},
     .unreadable = eJTI_ERROR_CONTROLLER_VALUE,
     .when = link_older_chosen},
    {.name = "VEXIL.END_DELAY_ONCE",
     .read = read_keyword_or_limited,
     .field = FIELD(forceOnceEnd),
     .use = FIELD(useForceOnceEnd),
     .words = {kDefaultTitle},
     .unreadable = eJTI_ERROR_CONTROLLER_VALUE},
    {.name = "VEXIL.END_DELAY_MANY",
     .read = read_keyword_or_limited,
     .field = FIELD(forceManyEnd),
     .use = FIELD(useForceManyEnd),
     .words = {kDefaultTitle},
     .unreadable = eJTI_ERROR_CONTROLLER_VALUE},
    {.name = "VEXIL.DLYTDI_POD2EMU",
     .read = read_unsigned,
     .field = FIELD(delayTdiPodToEmu),
     .use = FIELD(useDelayTdiPodToEmu)},
    {.name = "VEXIL.DLYTDI_TGT2POD",
     .read = read_unsigned,
     .field = FIELD(delayTdiTgtToPod),
     .use = FIELD(useDelayTdiTgtToPod)},
    {.name = "VEXIL.DLYTCK_EMU2POD",
     .read = read_unsigned,
     .field = FIELD(delayTckEmuToPod),
     .use = FIELD(useDelayTckEmuToPod)},
    {.name = "VEXIL.DLYTCK_POD2EMU",
     .read = read_unsigned,
     .field = FIELD(delayTckPodToEmu),
     .use = FIELD(useDelayTckPodToEmu)},
    {.name = "VEXIL.JTAGBOOT_MODE",
     .read = read_keyword,
     .field = FIELD(jtagBootMode),
     .use = FIELD(useJtagBootMode),
     .words = {gBootModeTitle, gBootModeValue},
     .absent = LS_BOOT_MODE_DISABLE,
     .refused = eJTI_ERROR_JTAG_BOOT_MODE},
    {.name = "VEXIL.JTAGBOOT_VALUE",
     .read = read_keyword,
     .field = FIELD(jtagBootValue),
     .use = FIELD(useJtagBootValue),
     .words = {gBootValueTitle, gBootValueValue},
     .absent = LS_BOOT_VALUE_HIZ,
     .refused = eJTI_ERROR_JTAG_BOOT_VALUE,
     .after = both_or_neither<&TBC_Variable::jtagBootMode, &TBC_Variable::jtagBootValue>},
    {.name = "VEXIL.POWERBOOT_MODE",
     .read = read_keyword,
     .field = FIELD(powerBootMode),
     .use = FIELD(usePowerBootMode),
     .words = {gBootModeTitle, gBootModeValue},
     .absent = LS_BOOT_MODE_DISABLE,
     .refused = eJTI_ERROR_POWER_BOOT_MODE},
    {.name = "VEXIL.POWERBOOT_VALUE",
     .read = read_keyword,
     .field = FIELD(powerBootValue),
     .use = FIELD(usePowerBootValue),
     .words = {gBootValueTitle, gBootValueValue},
     .absent = LS_BOOT_VALUE_HIZ,
     .refused = eJTI_ERROR_POWER_BOOT_VALUE,
     .after = both_or_neither<&TBC_Variable::powerBootMode, &TBC_Variable::powerBootValue>},
    {.name = "VEXIL.EMUOUTPUT_MODE",
     .read = read_keyword,
     .field = FIELD(emuOutputMode),
     .use = FIELD(useEmuOutputMode),
     .words = {gBootModeTitle, gBootModeValue},
     .absent = LS_BOOT_MODE_DISABLE,
     .refused = eJTI_ERROR_EMU_OUTPUT_MODE},
    {.name = "VEXIL.EMUOUTPUT_VALUE",
     .read = read_keyword,
     .field = FIELD(emuOutputValue),
     .use = FIELD(useEmuOutputValue),
     .words = {gBootValueTitle, gBootValueValue},
     .absent = LS_BOOT_VALUE_HIZ,
     .refused = eJTI_ERROR_EMU_OUTPUT_VALUE,
     .after = both_or_neither<&TBC_Variable::emuOutputMode, &TBC_Variable::emuOutputValue>},
    {.name = "VEXIL.LOOPBACK_MODE",
     .read = read_keyword,
     .field = FIELD(podLoopMode),
     .use = FIELD(usePodLoopMode),
     .words = {gLoopModeTitle, gLoopModeValue},
     .absent = LS_LOOP_MODE_DISABLE,
     .refused = eJTI_ERROR_LOOP_BACK_MODE},
    {.name = "VEXIL.LOOPBACK_VALUE",
     .read = read_keyword,
     .field = FIELD(podLoopValue),
     .use = FIELD(usePodLoopValue),
     .words = {gLoopValueTitle, gLoopValueValue},
     .absent = LS_LOOP_VALUE_DISABLE,
     .refused = eJTI_ERROR_LOOP_BACK_VALUE,
     .after = both_or_neither<&TBC_Variable::podLoopMode, &TBC_Variable::podLoopValue>},
    {.name = "VEXIL.BOOT_PINMAP",
     .read = read_keyword,
     .field = FIELD(bootPinMap),
     .use = FIELD(useBootPinMap),
     .words = {gBootPinMapTitle, gBootPinMapValue},
     .absent = LS_TRD02_TRD01,
     .refused = eJTI_ERROR_BOOT_PIN_MAP},
    {.name = "VEXIL.JTAG_ISOLATE",
     .read = read_keyword,
     .field = FIELD(jtagIsolate),
     .use = FIELD(useJtagIsolate),
     .words = {gJtagIsolateTitle, gJtagIsolateValue},
     .absent = LS_ISOLATE_MODE_DISABLE,
     .refused = eJTI_ERROR_CONTROLLER_VALUE},
};

} // namespace

std::span<const KeyRow> tbc_keys() {
    return kRows;
}

bool READ_TbcCreate(TBC_Variable** ppTbcVariable) {
    return create_variable(ppTbcVariable);
}

bool READ_TbcDelete(TBC_Variable** ppTbcVariable) {
    return delete_variable(ppTbcVariable);
}

void READ_TbcInitial(TBC_Variable* pTbcVariable) {
    if (pTbcVariable == nullptr) {
        return;
    }
    *pTbcVariable = {};
    pTbcVariable->slowFreq = kSlowFrequencyDefault;
    pTbcVariable->bootPinMap = LS_TRD02_TRD01;
}

int32_t READ_TbcVariable(CFG_Handle cfgHandle, CFG_Interface* pCfgInterface,
                         TBC_Variable* pTbcVariable) {
    return read_keys(cfgHandle, pCfgInterface, pTbcVariable, tbc_keys());
}
