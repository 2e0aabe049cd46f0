/* What a host of its own does with the first pod: reads the IDCODE of the TAP nearest TDO. In C11
 * and in C++20, against the library that the program is linked with. */
#ifndef FIRST_IDCODE_H
#define FIRST_IDCODE_H

#include "jsc_export.h"

#include <string.h>

static inline const char* text_of(const char* key) {
    return strcmp(key, "KELM.POD_DRVR") == 0         ? "jscpod.so"
           : strcmp(key, "KELM.POD_PORT") == 0       ? "0"
           : strcmp(key, "KELM.POD_EMUVERSION") == 0 ? "2"
                                                     : NULL;
}

static inline JTI_Error invalid_id(CFG_Handle host, uint32_t* id) {
    (void)host;
    *id = 0;
    return 0;
}

static inline JTI_Error global_id(CFG_Handle host, uint32_t* id, bool* found) {
    (void)host;
    *id = 1;
    *found = true;
    return 0;
}

static inline JTI_Error look_up(CFG_Handle host, uint32_t id, const char* name, JBD_Context* entry,
                                bool* found) {
    (void)host;
    (void)id;
    *entry = (JBD_Context)text_of(name);
    *found = *entry != NULL;
    return 0;
}

static inline JTI_Error read_text(CFG_Handle host, JBD_Context entry, uint32_t* length,
                                  const char** text) {
    (void)host;
    *text = entry != NULL ? (const char*)entry : "";
    *length = (uint32_t)strlen(*text);
    return 0;
}

static inline JTI_Error read_number(CFG_Handle host, JBD_Context entry, uint32_t* value) {
    (void)host;
    *value = entry != NULL ? (uint32_t)(((const char*)entry)[0] - '0') : 0;
    return 0;
}

static inline JTI_Error read_truth(CFG_Handle host, JBD_Context entry, bool* value) {
    (void)host;
    (void)entry;
    *value = false;
    return 0;
}

static inline JTI_Error reset_and_scan(const JSC_Interface* driver, JSC_Inform* handle,
                                       uint16_t words[2]) {
    JSC_JtagCommand reset;
    JSC_JtagCommand scan;
    JSC_JtagParam16 bits;
    JTI_Error error;
    memset(&reset, 0, sizeof reset);
    memset(&scan, 0, sizeof scan);
    memset(&bits, 0, sizeof bits);
    reset.jtagAfter = eJSC_JTAG_TRANSIT_QUICKEST;
    reset.jtagEnd = eJSC_JTAG_STATE_RESET;
    scan.jtagBefore = eJSC_JTAG_TRANSIT_QUICKEST;
    scan.jtagShift = eJSC_JTAG_SHIFT_DR;
    scan.jtagAfter = eJSC_JTAG_TRANSIT_QUICKEST;
    scan.jtagEnd = eJSC_JTAG_STATE_IDLE;
    scan.jtagAmble = eJSC_JTAG_AMBLE_NEITHER;
    scan.jtagWidth = eJSC_JTAG_WIDTH_16;
    scan.jtagAdjust = eJSC_JTAG_ADJUST_AUTO;
    bits.repeatCount = 1;
    bits.shiftCount = 32;
    bits.pInBuffer = words;
    error = driver->PutState(handle, &reset, 0, 1);
    return error != 0 ? error : driver->ScanRecv16(handle, &scan, &bits);
}

/* 0 with the IDCODE, or the code of the call that failed. */
static inline JTI_Error first_idcode(uint32_t* idcode) {
    CFG_Interface configuration;
    JSC_Parameter parameter;
    JSC_Interface* driver = NULL;
    JSC_Inform* handle = NULL;
    uint16_t words[2] = {0, 0};
    bool flag = false;
    JTI_Error error;
    memset(&configuration, 0, sizeof configuration);
    configuration.GetContextIdInvalid = invalid_id;
    configuration.GetContextIdGlobal = global_id;
    configuration.GetContextHandle = look_up;
    configuration.GetContextString = read_text;
    configuration.GetContextUnsign32 = read_number;
    configuration.GetContextBoolean = read_truth;
    memset(&parameter, 0, sizeof parameter);
    parameter.clientRecipe = JSC_RECIPE_LONG_INIT;
    parameter.jtiClientType = eJTI_CLIENT_ANONYMOUS;
    parameter.pCfgInterface = &configuration;
    parameter.cfgHandle = &configuration;
    if ((error = JSC_CreateInterface(&driver)) != 0 ||
        (error = JSC_CreateHandle(&handle, &parameter)) != 0 ||
        (error = driver->Connect(handle, &flag)) != 0 ||
        (error = reset_and_scan(driver, handle, words)) != 0 ||
        (error = driver->Disconnect(handle, &flag)) != 0 ||
        (error = JSC_DeleteHandle(&handle)) != 0) {
        return error;
    }
    *idcode = (uint32_t)words[1] << 16 | words[0];
    return JSC_DeleteInterface(&driver);
}

#endif /* FIRST_IDCODE_H */
