#include "config/kelm_variable.h"

#include "config/variable_record.h"
#include "sys/check.h"

namespace {

constexpr const char* kLogTypeTitle[] = {"verbose", "brief", nullptr};
constexpr uint32_t kLogTypeValue[] = {true, false, LS_VALUE_NOTHING};

// Any other word changes nothing and is no error: kept, as boards carry words of other drivers.
int32_t read_log_type(KeyWalk& walk, const KeyRow& row, JBD_Context entry) {
    KeyText text;
    RETURN_ON_ERROR(get_text(walk, entry, &text));
    uint32_t verbose = 0;
    if (find_word(text, row.words, &verbose)) {
        store_value(walk, row.field, verbose);
    }
    return eJTI_ERROR_NONE;
}

bool host_name_is_there(const KeyWalk& walk) {
    return record_of<KELM_Variable>(walk).useHostName;
}

bool log_mode_is_there(const KeyWalk& walk) {
    return record_of<KELM_Variable>(walk).useLogFileEnable;
}

#define FIELD(name) KEY_FIELD(KELM_Variable, name)

// The keys marked `always` are read though they are absent: the host's empty answer then replaces
// the default. Kept, the log file's name included: there the host may answer with a name of its
// own.
constexpr KeyRow kRows[] = {
    {.name = "KELM.RMT_HOST",
     .read = read_text,
     .field = FIELD(pHostNameValue),
     .length = FIELD(hostNameLength),
     .use = FIELD(useHostName),
     .always = true},
    {.name = "KELM.RMT_PORT",
     .read = read_unsigned,
     .field = FIELD(remotePort),
     .use = FIELD(useRemotePort),
     .always = true,
     .when = host_name_is_there},
    {.name = "KELM.POD_NO770CABLE",
     .read = read_boolean,
     .field = FIELD(directConnect),
     .use = FIELD(useDirectConnect),
     .always = true},
    {.name = "KELM.POD_NO770FPGA",
     .read = read_boolean,
     .field = FIELD(noFpgaLoad),
     .use = FIELD(useNoFpgaLoad),
     .always = true},
    {.name = "KELM.POD_LOGMODE",
     .read = read_boolean,
     .field = FIELD(logFileEnable),
     .use = FIELD(useLogFileEnable),
     .always = true},
    {.name = "KELM.POD_LOGTYPE",
     .read = read_log_type,
     .field = FIELD(logFileVerbose),
     .use = FIELD(useLogFileVerbose),
     .words = {kLogTypeTitle, kLogTypeValue},
     .when = log_mode_is_there},
    {.name = "KELM.POD_LOGFILE",
     .read = read_text,
     .field = FIELD(pLogFileNameValue),
     .length = FIELD(logFileNameLength),
     .use = FIELD(useLogFileName),
     .always = true,
     .when = log_mode_is_there},
};

} // namespace

std::span<const KeyRow> kelm_keys() {
    return kRows;
}

bool READ_KelmCreate(KELM_Variable** ppKelmVariable) {
    return create_variable(ppKelmVariable);
}

bool READ_KelmDelete(KELM_Variable** ppKelmVariable) {
    return delete_variable(ppKelmVariable);
}

void READ_KelmInitial(KELM_Variable* pKelmVariable) {
    if (pKelmVariable != nullptr) {
        *pKelmVariable = {};
    }
}

int32_t READ_KelmVariable(CFG_Handle cfgHandle, CFG_Interface* pCfgInterface,
                          KELM_Variable* pKelmVariable) {
    return read_keys(cfgHandle, pCfgInterface, pKelmVariable, kelm_keys());
}
