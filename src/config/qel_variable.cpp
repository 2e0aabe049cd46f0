#include "config/qel_variable.h"

#include "config/variable_record.h"

namespace {

constexpr uint32_t kVersionFirst = 1;
constexpr uint32_t kVersionLast = 4;
constexpr uint32_t kVoltageClampDefault = 15;

// A pod of version 1 is slow when its clock base over the divider is at most this.
constexpr uint32_t kSlowClockLimit = 10000;
constexpr uint32_t kClockBase = 100000;
constexpr uint32_t kClockBasePredivided = 25000;
constexpr uint32_t kClockDividerOffset = 3;

uint32_t version_of(const KeyWalk& walk) {
    return record_of<QEL_Variable>(walk).version;
}

bool version_1(const KeyWalk& walk) {
    return version_of(walk) == 1;
}

bool from_version_2(const KeyWalk& walk) {
    return version_of(walk) >= 2;
}

bool from_version_3(const KeyWalk& walk) {
    return version_of(walk) >= 3;
}

// Whether a pod of version 1 is slow, as far as its clock tells; the key that follows may overrule.
int32_t compute_slow_clock(KeyWalk& walk, const KeyRow&) {
    if (version_1(walk)) {
        QEL_Variable& qel = record_of<QEL_Variable>(walk);
        const uint32_t base = qel.prediv ? kClockBasePredivided : kClockBase;
        qel.slowclk = qel.aclken || base / (qel.tckdiv + kClockDividerOffset) <= kSlowClockLimit;
    }
    return eJTI_ERROR_NONE;
}

#define FIELD(name) KEY_FIELD(QEL_Variable, name)

// A limit holds for the field as it stands, the key there or not.
constexpr KeyRow kRows[] = {
    {.name = "KELM.POD_SN", .read = read_unsigned, .field = FIELD(sn), .absent = 0},
    {.name = "KELM.POD_EMUVERSION",
     .read = read_unsigned,
     .field = FIELD(version),
     .least = kVersionFirst,
     .most = kVersionLast,
     .refused = eJTI_ERROR_POD_RANGE,
     .after = within_limits},
    {.name = "KELM.POD_TCKDIV",
     .read = read_unsigned,
     .field = FIELD(tckdiv),
     .most = 12,
     .refused = eJTI_ERROR_POD_RANGE,
     .when = version_1,
     .after = within_limits},
    {.name = "KELM.POD_TCKDIV",
     .read = read_unsigned,
     .field = FIELD(tckdiv),
     .most = 15,
     .refused = eJTI_ERROR_POD_RANGE,
     .when = from_version_2,
     .after = within_limits},
    {.name = "KELM.POD_TCKEXP",
     .read = read_unsigned,
     .field = FIELD(tckexp),
     .most = 7,
     .refused = eJTI_ERROR_POD_RANGE,
     .when = from_version_2,
     .after = within_limits},
    {.name = "KELM.POD_ACLK_ENABLE", .read = read_boolean, .field = FIELD(aclken)},
    {.name = "KELM.POD_TCKPREDIVENA",
     .read = read_boolean,
     .field = FIELD(prediv),
     .after = compute_slow_clock},
    {.name = "KELM.POD_SLOWCLK", .read = read_boolean, .field = FIELD(slowclk), .when = version_1},
    {.name = "KELM.POD_TDOONTCKFALL", .read = read_boolean, .field = FIELD(tdoedge)},
    {.name = "KELM.POD_TDILOAD", .read = read_boolean, .field = FIELD(tdiload)},
    {.name = "KELM.POD_TCKLOAD", .read = read_boolean, .field = FIELD(tckload)},
    {.name = "KELM.POD_SHORTLINKDLY", .read = read_boolean, .field = FIELD(shortdly)},
    {.name = "KELM.POD_ACLK_DELAY",
     .read = read_unsigned,
     .field = FIELD(aclkdly),
     .most = 7,
     .refused = eJTI_ERROR_POD_RANGE,
     .after = within_limits},
    {.name = "KELM.POD_AW_EN", .read = read_boolean, .field = FIELD(aw), .when = from_version_2},
    {.name = "KELM.POD_TMS_OFS",
     .read = read_unsigned,
     .field = FIELD(tmsofs),
     .most = 7,
     .refused = eJTI_ERROR_POD_RANGE,
     .when = from_version_2,
     .after = within_limits},
    {.name = "KELM.POD_TDO_OFS",
     .read = read_unsigned,
     .field = FIELD(tdoofs),
     .most = 7,
     .refused = eJTI_ERROR_POD_RANGE,
     .when = from_version_2,
     .after = within_limits},
    {.name = "KELM.POD_NO_TCKR",
     .read = read_boolean,
     .field = FIELD(tckb),
     .when = from_version_2},
    {.name = "KELM.POD_LOOPBACK",
     .read = read_boolean,
     .field = FIELD(loopb),
     .when = from_version_2},
    {.name = "KELM.POD_TCK_BPAS_DLY",
     .read = read_unsigned,
     .field = FIELD(tckdly),
     .most = 3,
     .refused = eJTI_ERROR_POD_RANGE,
     .when = from_version_2,
     .after = within_limits},
    {.name = "KELM.POD_VCLAMP",
     .read = read_unsigned,
     .field = FIELD(vclamp),
     .most = 31,
     .absent = kVoltageClampDefault,
     .refused = eJTI_ERROR_POD_RANGE,
     .when = from_version_3,
     .after = within_limits},
    {.name = "KELM.POD_EMU0_MODE",
     .read = read_unsigned,
     .field = FIELD(e0mode),
     .most = 2,
     .refused = eJTI_ERROR_POD_RANGE,
     .when = from_version_3,
     .after = within_limits},
    {.name = "KELM.POD_EMU1_MODE",
     .read = read_unsigned,
     .field = FIELD(e1mode),
     .most = 2,
     .refused = eJTI_ERROR_POD_RANGE,
     .when = from_version_3,
     .after = within_limits},
};

} // namespace

std::span<const KeyRow> qel_keys() {
    return kRows;
}

bool READ_QelCreate(QEL_Variable** ppQelVariable) {
    return create_variable(ppQelVariable);
}

bool READ_QelDelete(QEL_Variable** ppQelVariable) {
    return delete_variable(ppQelVariable);
}

void READ_QelInitial(QEL_Variable* pQelVariable) {
    if (pQelVariable == nullptr) {
        return;
    }
    *pQelVariable = {};
    pQelVariable->tdoedge = true;
    pQelVariable->tdiload = true;
    pQelVariable->tckload = true;
    pQelVariable->tckdiv = 10;
    pQelVariable->tckexp = 1;
    pQelVariable->aclkdly = 7;
    pQelVariable->version = kVersionFirst;
    pQelVariable->aw = true;
    pQelVariable->vclamp = kVoltageClampDefault;
}

int32_t READ_QelVariable(CFG_Handle cfgHandle, CFG_Interface* pCfgInterface,
                         QEL_Variable* pQelVariable) {
    return read_keys(cfgHandle, pCfgInterface, pQelVariable, qel_keys());
}
