#include "config/zdl_variable.h"

#include "config/variable_record.h"
#include "sys/check.h"
#include "sys/hash.h"
#include "sys/path.h"

#include <cstring>

namespace {

// What the keys say. It reaches the record only when all of it is good.
struct ZdlReading {
    KeyText ecom_path;
    bool ecom_found;
    uint32_t ecom_port;
    bool ecom_port_found;
    KeyText pod_path;
    bool pod_found;
    uint32_t pod_port;
    bool pod_port_found;
    KeyText serial;
    bool serial_found;
};

bool ecom_is_there(const KeyWalk& walk) {
    return record_of<ZdlReading>(walk).ecom_found;
}

bool pod_is_there(const KeyWalk& walk) {
    return record_of<ZdlReading>(walk).pod_found;
}

#define FIELD(name) KEY_FIELD(ZdlReading, name)

// All are read though they are absent: the host's empty answer does no harm.
constexpr KeyRow kRows[] = {
    {.name = "VEXIL.ECOM_DRVR",
     .read = read_text,
     .field = FIELD(ecom_path.text),
     .length = FIELD(ecom_path.length),
     .use = FIELD(ecom_found),
     .most = ZDL_NAME_SIZE - 1,
     .refused = eJTI_ERROR_PATH_LENGTH,
     .always = true,
     .after = length_within_limits},
    {.name = "VEXIL.ECOM_PORT",
     .read = read_unsigned,
     .field = FIELD(ecom_port),
     .use = FIELD(ecom_port_found),
     .always = true,
     .when = ecom_is_there},
    {.name = "KELM.POD_DRVR",
     .read = read_text,
     .field = FIELD(pod_path.text),
     .length = FIELD(pod_path.length),
     .use = FIELD(pod_found),
     .most = ZDL_NAME_SIZE - 1,
     .refused = eJTI_ERROR_PATH_LENGTH,
     .always = true,
     .after = length_within_limits},
    {.name = "KELM.POD_PORT",
     .read = read_unsigned,
     .field = FIELD(pod_port),
     .use = FIELD(pod_port_found),
     .always = true,
     .when = pod_is_there},
    {.name = "KELM.POD_SERIAL",
     .read = read_text,
     .field = FIELD(serial.text),
     .length = FIELD(serial.length),
     .use = FIELD(serial_found),
     .most = ZDL_NAME_SIZE - 1,
     .refused = eJTI_ERROR_PATH_LENGTH,
     .always = true,
     .when = pod_is_there,
     .after = length_within_limits},
};

// Copies what both ends of the text agree on: the NUL and the counted length, which is at most
// ZDL_NAME_SIZE - 1.
void copy_name(char (&name)[ZDL_NAME_SIZE], const KeyText& text) {
    const uint32_t length = true_length(text);
    if (length != 0) {
        std::memcpy(name, text.text, length);
    }
    name[length] = '\0';
}

void copy_file_name(char (&name)[ZDL_NAME_SIZE], const KeyText& path) {
    copy_name(name, path);
    const char* file = zdl_PathNameToFileName(name);
    std::memmove(name, file, std::strlen(file) + 1);
}

void store_ecom(ZDL_Variable& zdl, const ZdlReading& reading) {
    if (reading.ecom_found) {
        copy_file_name(zdl.driverNameEcom, reading.ecom_path);
        zdl.useDrvrEcom = true;
    }
    if (reading.ecom_port_found) {
        zdl.portAddressEcom = reading.ecom_port;
        zdl.usePortEcom = true;
    }
}

void store_pod(ZDL_Variable& zdl, const ZdlReading& reading) {
    if (reading.pod_found) {
        copy_file_name(zdl.driverNameKelm, reading.pod_path);
        zdl.useDrvrKelm = true;
    }
    if (reading.pod_port_found) {
        zdl.portAddressKelm = reading.pod_port;
        zdl.usePortKelm = true;
    }
    if (reading.serial_found) {
        copy_name(zdl.serialNameKelm, reading.serial);
        zdl.useSerialNameKelm = true;
        if (zdl.serialNameKelm[0] != '\0') {
            // A serial name always wins over a port.
            zdl.portAddressKelm = sys_StrHashAgain(sys_StrHashFirst(), zdl.serialNameKelm);
            zdl.usePortKelm = true;
        }
    }
}

} // namespace

std::span<const KeyRow> zdl_keys() {
    return kRows;
}

bool READ_ZdlCreate(ZDL_Variable** ppZdlVariable) {
    return create_variable(ppZdlVariable);
}

bool READ_ZdlDelete(ZDL_Variable** ppZdlVariable) {
    return delete_variable(ppZdlVariable);
}

void READ_ZdlInitial(ZDL_Variable* pZdlVariable) {
    if (pZdlVariable != nullptr) {
        *pZdlVariable = {};
    }
}

int32_t READ_ZdlVariable(CFG_Handle cfgHandle, CFG_Interface* pCfgInterface,
                         ZDL_Variable* pZdlVariable) {
    RETURN_IF(pZdlVariable == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    ZdlReading reading = {};
    RETURN_ON_ERROR(
        walk_keys(cfgHandle, pCfgInterface, &pZdlVariable->found, &reading, zdl_keys()));
    store_ecom(*pZdlVariable, reading);
    store_pod(*pZdlVariable, reading);
    return eJTI_ERROR_NONE;
}

int32_t Make_ZdlPseudo(ZDL_Variable* p) {
    RETURN_IF(p == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    if (p->useDrvrEcom) {
        p->driverType = SMG_EMULATE_PROGRAM;
        p->pDriverName = p->driverNameEcom;
        p->pPortAddress = &p->portAddressEcom;
    } else if (p->useDrvrKelm) {
        p->driverType = SMG_EMULATE_ADAPTER;
        p->pDriverName = p->driverNameKelm;
        p->pPortAddress = &p->portAddressKelm;
    }
    return eJTI_ERROR_NONE;
}
