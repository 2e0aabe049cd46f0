/*
 * read_idcode: loads the driver, connects to the first pod and reads one IDCODE.
 *
 *   read_idcode [library]      libjsctalvor_340.so.0 unless a path is given
 *
 * A pod proxy must be running, such as talvor-podsim. Prints the IDCODE of the TAP nearest TDO as
 * eight hexadecimal digits.
 */
#include "jsc_export.h"

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* The board: what a host's configuration file would hold. */
struct key {
    const char* name;
    const char* text;
};

static const struct key board[] = {
    {"KELM.POD_DRVR", "jscpod.so"}, /* which driver, and which port of it, names the controller */
    {"KELM.POD_PORT", "0"},
    {"KELM.POD_EMUVERSION", "2"}, /* generation of the pod */
    {NULL, NULL},
};

static JTI_Error invalid_id(CFG_Handle host, uint32_t* id) {
    (void)host;
    *id = 0;
    return 0;
}

static JTI_Error global_id(CFG_Handle host, uint32_t* id, bool* found) {
    (void)host;
    *id = 1;
    *found = true;
    return 0;
}

static JTI_Error look_up(CFG_Handle host, uint32_t id, const char* name, JBD_Context* entry,
                         bool* found) {
    (void)id;
    *entry = NULL;
    for (const struct key* key = host; key->name != NULL; ++key) {
        if (strcmp(key->name, name) == 0) {
            *entry = (JBD_Context)key->text;
        }
    }
    *found = *entry != NULL;
    return 0;
}

/* The driver also reads entries of keys that are absent; they are empty. */
static JTI_Error read_text(CFG_Handle host, JBD_Context entry, uint32_t* length,
                           const char** text) {
    (void)host;
    *text = entry != NULL ? entry : "";
    *length = (uint32_t)strlen(*text);
    return 0;
}

static JTI_Error read_number(CFG_Handle host, JBD_Context entry, uint32_t* value) {
    (void)host;
    *value = entry != NULL ? (uint32_t)strtoul(entry, NULL, 0) : 0;
    return 0;
}

static JTI_Error read_truth(CFG_Handle host, JBD_Context entry, bool* value) {
    (void)host;
    *value = entry != NULL && strcmp(entry, "yes") == 0;
    return 0;
}

static CFG_Interface configuration = {
    .GetContextIdInvalid = invalid_id,
    .GetContextIdGlobal = global_id,
    .GetContextHandle = look_up,
    .GetContextString = read_text,
    .GetContextUnsign32 = read_number,
    .GetContextBoolean = read_truth,
};

static void check(JTI_Error error, const char* what) {
    if (error != 0) {
        fprintf(stderr, "read_idcode: %s failed with code %d\n", what, (int)error);
        exit(1);
    }
}

/* An entry point of the library, into a function pointer of its type. */
static void resolve(void* library, const char* name, void* function) {
    void* address = dlsym(library, name);
    if (address == NULL) {
        fprintf(stderr, "read_idcode: %s\n", dlerror());
        exit(1);
    }
    memcpy(function, &address, sizeof address);
}

/* Test-Logic-Reset selects the IDCODE register (IEEE 1149.1, clause 12.1.1); a data scan reads it.
 */
static uint32_t read_idcode(const JSC_Interface* driver, JSC_Inform* handle) {
    uint16_t words[2] = {0, 0};
    const JSC_JtagCommand reset = {.jtagAfter = eJSC_JTAG_TRANSIT_QUICKEST,
                                   .jtagEnd = eJSC_JTAG_STATE_RESET};
    const JSC_JtagCommand scan = {.jtagBefore = eJSC_JTAG_TRANSIT_QUICKEST,
                                  .jtagShift = eJSC_JTAG_SHIFT_DR,
                                  .jtagAfter = eJSC_JTAG_TRANSIT_QUICKEST,
                                  .jtagEnd = eJSC_JTAG_STATE_IDLE,
                                  .jtagAmble = eJSC_JTAG_AMBLE_NEITHER,
                                  .jtagWidth = eJSC_JTAG_WIDTH_16,
                                  .jtagAdjust = eJSC_JTAG_ADJUST_AUTO};
    const JSC_JtagParam16 bits = {.repeatCount = 1, .shiftCount = 32, .pInBuffer = words};
    check(driver->PutState(handle, &reset, 0, 1), "the reset of the TAP");
    check(driver->ScanRecv16(handle, &scan, &bits), "the scan");
    return (uint32_t)words[1] << 16 | words[0];
}

int main(int argc, char** argv) {
    JTI_Error (*create_interface)(JSC_Interface**);
    JTI_Error (*delete_interface)(JSC_Interface**);
    JTI_Error (*create_handle)(JSC_Inform**, JSC_Parameter*);
    JTI_Error (*delete_handle)(JSC_Inform**);
    JSC_Interface* driver = NULL;
    JSC_Inform* handle = NULL;
    bool flag;
    /* The long initialisation programs the link delay that received data needs. */
    JSC_Parameter parameter = {true, JSC_RECIPE_LONG_INIT, eJTI_CLIENT_ANONYMOUS, &configuration,
                               (CFG_Handle)board};
    void* library = dlopen(argc > 1 ? argv[1] : "libjsctalvor_340.so.0", RTLD_NOW | RTLD_LOCAL);
    if (library == NULL) {
        fprintf(stderr, "read_idcode: %s\n", dlerror());
        return 1;
    }
    resolve(library, "JSC_CreateInterface", &create_interface);
    resolve(library, "JSC_DeleteInterface", &delete_interface);
    resolve(library, "JSC_CreateHandle", &create_handle);
    resolve(library, "JSC_DeleteHandle", &delete_handle);
    check(create_interface(&driver), "the creation of the table");
    check(create_handle(&handle, &parameter), "opening the pod");
    check(driver->Connect(handle, &flag), "connecting");
    printf("%08x\n", (unsigned)read_idcode(driver, handle));
    check(driver->Disconnect(handle, &flag), "disconnecting");
    check(delete_handle(&handle), "closing the pod");
    check(delete_interface(&driver), "the release of the table");
    return dlclose(library) != 0;
}
