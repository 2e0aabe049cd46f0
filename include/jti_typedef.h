/*
 * jti_typedef.h: the types that every other header builds on.
 *
 * For hosts (C11 or C++20) and for the driver itself. Integers have the widths of <stdint.h>,
 * `bool` is one byte, every enumeration is 32 bits wide, records are laid out as the x86-64 System
 * V ABI lays them out.
 */
#ifndef JTI_TYPEDEF_H
#define JTI_TYPEDEF_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define JTI_BEGIN_C extern "C" {
#define JTI_END_C }
#define JTI_STATIC_ASSERT(condition, text) static_assert(condition, text)
/* An enumeration that crosses the interface: its width is part of the contract. */
#define JTI_ENUM(name) enum name : int32_t
#define JTI_ENUM_UNSIGNED(name) enum name : uint32_t
#else
#define JTI_BEGIN_C
#define JTI_END_C
#define JTI_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#define JTI_ENUM(name) enum name
#define JTI_ENUM_UNSIGNED(name) enum name
#endif

/* What the loader sees. Everything else in the library is hidden. */
#define JTI_EXPORT __attribute__((visibility("default")))

/* The result of every operation: 0 for success, else one of JTI_ErrorCode or a host's own code. */
typedef int32_t JTI_Error;

/*
 * Error codes of the driver. A code that a host's configuration table returned is passed on
 * unchanged, so a host may see its own codes here as well.
 */
JTI_ENUM(JTI_ErrorCode){
    eJTI_ERROR_NONE = 0,                /* success */
    eJTI_ERROR_TRANSPORT = -1,          /* pod transport open failed (seen as -141 by the host) */
    eJTI_ERROR_SCAN_OPTION = -115,      /* scan option unknown to the receive strategy */
    eJTI_ERROR_HANDLE_STATE = -116,     /* handle in the wrong open state, controller block missing,
                                           or use counters inconsistent */
    eJTI_ERROR_NOT_OFFERED = -120,      /* the controller does not offer this operation */
    eJTI_ERROR_BAD_ARGUMENT = -122,     /* null pointer, or a value that is refused */
    eJTI_ERROR_NO_MEMORY = -131,        /* memory allocation failed */
    eJTI_ERROR_NO_RELEASE = -132,       /* a scratch configuration record could not be released */
    eJTI_ERROR_BATCH_FAILED = -140,     /* the proxy reported a failed batch */
    eJTI_ERROR_POD_OPEN = -141,         /* pod transport could not be opened */
    eJTI_ERROR_POD_SETUP = -157,        /* first flush of the connect-time pod set-up failed */
    eJTI_ERROR_SHARED_BLOCK = -164,     /* shared controller block could not be named, opened, sized
                                           or mapped */
    eJTI_ERROR_REGISTER_RANGE = -170,   /* register number outside the controller's range */
    eJTI_ERROR_LOOP_CORRUPT = -171,     /* loop-back test: corrupt words */
    eJTI_ERROR_LOOP_HIGH_ONES = -173,   /* loop-back test: high byte stuck at ones */
    eJTI_ERROR_LOOP_LOW_ONES = -174,    /* loop-back test: low byte stuck at ones */
    eJTI_ERROR_LOOP_HIGH_ZEROS = -175,  /* loop-back test: high byte reads zero */
    eJTI_ERROR_LOOP_LOW_ZEROS = -176,   /* loop-back test: low byte reads zero */
    eJTI_ERROR_NO_POWER = -180,         /* no target power */
    eJTI_ERROR_NO_CLOCK = -181,         /* no target clock */
    eJTI_ERROR_CABLE_NEAR = -182,       /* cable break near the pod */
    eJTI_ERROR_CABLE_FAR = -183,        /* cable break far from the pod */
    eJTI_ERROR_SUPPORT_WRITE = -190,    /* the proxy refused a support-register write */
    eJTI_ERROR_CONTROLLER_KIND = -203,  /* pod generation does not match the pod revision, or the
                                           controller kind is not 1 to 3 */
    eJTI_ERROR_JTAG_BOOT_MODE = -220,   /* VEXIL.JTAGBOOT_MODE is no keyword of its table */
    eJTI_ERROR_JTAG_BOOT_VALUE = -221,  /* VEXIL.JTAGBOOT_VALUE is no keyword of its table */
    eJTI_ERROR_POWER_BOOT_MODE = -222,  /* VEXIL.POWERBOOT_MODE is no keyword of its table */
    eJTI_ERROR_POWER_BOOT_VALUE = -223, /* VEXIL.POWERBOOT_VALUE is no keyword of its table */
    eJTI_ERROR_EMU_OUTPUT_MODE = -224,  /* VEXIL.EMUOUTPUT_MODE is no keyword of its table */
    eJTI_ERROR_EMU_OUTPUT_VALUE = -225, /* VEXIL.EMUOUTPUT_VALUE is no keyword of its table */
    eJTI_ERROR_LOOP_BACK_MODE = -226,   /* VEXIL.LOOPBACK_MODE is no keyword of its table */
    eJTI_ERROR_LOOP_BACK_VALUE = -227,  /* VEXIL.LOOPBACK_VALUE is no keyword of its table */
    eJTI_ERROR_BOOT_PIN_MAP = -228,     /* VEXIL.BOOT_PINMAP is no keyword of its table */
    eJTI_ERROR_SCAN_BITS = -272,        /* VEXIL.TCLK_SCAN_BITS outside 1024 to 524288 */
    eJTI_ERROR_IR_SIZE = -273,          /* VEXIL.TCLK_PATH_IRSIZE above 524288 */
    eJTI_ERROR_DR_SIZE = -274,          /* VEXIL.TCLK_PATH_DRSIZE above 524288 */
    eJTI_ERROR_TCLK_PROGRAM = -300,     /* VEXIL.TCLK_PROGRAM is no keyword of its table */
    eJTI_ERROR_TCLK_BEGINNING = -301,   /* VEXIL.TCLK_BEGINNING is neither keyword nor frequency */
    eJTI_ERROR_TCLK_FREQUENCY = -302,   /* VEXIL.TCLK_FREQUENCY is neither keyword nor frequency */
    eJTI_ERROR_TCLK_ADVANCE = -303,     /* VEXIL.TCLK_ADVANCE unreadable or outside 1 to 63 */
    eJTI_ERROR_TCLK_RETREAT = -304,     /* VEXIL.TCLK_RETREAT unreadable or outside 1 to 63 */
    eJTI_ERROR_TCLK_REFERENCE = -305,   /* VEXIL.TCLK_REFERENCE is neither keyword nor frequency */
    eJTI_ERROR_TCLK_INITIAL = -306,     /* VEXIL.TCLK_INITIAL is neither keyword nor boolean */
    eJTI_ERROR_TCLK_TERMINAL = -307,    /* VEXIL.TCLK_TERMINAL is neither keyword nor boolean */
    eJTI_ERROR_TCLK_TESTMODE = -308,    /* VEXIL.TCLK_TESTMODE is no keyword of its table */
    eJTI_ERROR_TCLK_OVERFLOW = -309,    /* VEXIL.TCLK_OVERFLOW is no keyword of its table */
    eJTI_ERROR_POD_RANGE = -339,        /* a KELM.POD_ value out of its range */
    eJTI_ERROR_PATH_LENGTH = -445,      /* a driver path or serial name is too long */
    eJTI_ERROR_CONTROLLER_VALUE = -448, /* bad edge, link-delay, end-delay, isolation or number */
    eJTI_ERROR_SEARCH_REQUEST = -502,   /* unknown request of the next-frequency search */
    eJTI_ERROR_LOG_FULL = -520,         /* the log is full */
    eJTI_ERROR_TABLE_DELETED = -601,    /* call through a deleted operation table */
    eJTI_ERROR_PROPERTY = -603,         /* description record inconsistent */
};
typedef enum JTI_ErrorCode JTI_ErrorCode;

/*
 * Kind of host client that opens a handle. Initialisation accepts 1 to 20; the values between the
 * two that have a name here are the host's to assign.
 */
JTI_ENUM(JTI_Client){
    eJTI_CLIENT_INVALID_FIRST = 0,
    eJTI_CLIENT_ANONYMOUS = 1,
    eJTI_CLIENT_TEST_LOOPBACK = 20,
    eJTI_CLIENT_INVALID_LAST = 21,
};
typedef enum JTI_Client JTI_Client;

/* Kind of scan controller, as its version register names it. Connect accepts 1 to 3. */
JTI_ENUM(JTI_ControlId){
    eJTI_CONTROL_ID_OBSOLETE = 0, /* also: the version could not be read */
    eJTI_CONTROL_ID_TBC = 1,      /* basic controller, registers 0 to 23 */
    eJTI_CONTROL_ID_EXL = 2,      /* extended controller, registers 0 to 31 */
    eJTI_CONTROL_ID_DPM = 3,      /* extended controller with dual-port memory, 0 to 31 */
    eJTI_CONTROL_ID_FTDI_FT2232 = 4,
    eJTI_CONTROL_ID_NANO_VHDL = 5,
    eJTI_CONTROL_ID_NANO_CMODEL = 6,
    eJTI_CONTROL_ID_PICO_VHDL = 7,
    eJTI_CONTROL_ID_PICO_CMODEL = 8,
    eJTI_CONTROL_ID_SERDES_VHDL = 9,
    eJTI_CONTROL_ID_SERDES_CMODEL = 10,
    eJTI_CONTROL_ID_BITIO_VHDL = 11,
    eJTI_CONTROL_ID_BITIO_CMODEL = 12,
    eJTI_CONTROL_ID_INVALID_LAST = 13,
};
typedef enum JTI_ControlId JTI_ControlId;

/* Test-clock frequency in hertz. */
typedef uint32_t hertz_t;
/* Packed frequency coordinate: bits 15..8 the exponent y, bits 7..0 the mantissa z in 64ths.
 * The frequency is 2^y * (1 + z / 64) MHz. */
typedef uint32_t coord_t;
/* Binary exponent of a coordinate. */
typedef int8_t y_coord_t;
/* Mantissa of a coordinate in 64ths, normally 0 to 63. */
typedef uint8_t z_coord_t;
/* Milliseconds of the real-time clock, wrapping; also the unit-less storage of time values, which
 * are microseconds. */
typedef uint32_t wallclock_t;

/* A growable NUL-terminated text with an upper bound on its length. The record owns `str`. */
typedef struct strheap_t {
    char* str;    /* the text, or null before the first allocation */
    uint32_t mem; /* bytes allocated for str; 0 while str is null */
    uint32_t max; /* largest length in characters that growth may reach */
    uint32_t len; /* present length in characters, the NUL not counted */
} strheap_t;

/* A counted text that belongs to somebody else; no NUL need follow it. */
typedef struct strfixed_t {
    const char* str;
    uint32_t len; /* characters */
} strfixed_t;

/*
 * Description of the library, made by JSC_CreateProperty and released by JSC_DeleteProperty.
 * All texts are NUL-terminated and stand in the one block `propertyString`, in field order.
 */
typedef struct JTI_Property {
    uint32_t propertyVersion; /* 2 */
    uint32_t propertyCount;   /* 18, though there are 23 texts: hosts check for 18 */
    uint32_t propertyLength;  /* bytes of the text block, NULs included */
    char* propertyString;     /* the text block; owned by the record */
    char* copyrightNotice;
    char* authorCompany;
    char* authorPerson;
    char* packagePhrase;
    char* packageVersionMajor;
    char* packageVersionMinor;
    char* packagePatchMajor;
    char* packagePatchMinor;
    char* componentPhrase;
    char* componentVersionMajor;
    char* componentVersionMinor;
    char* componentPatchMajor;
    char* componentPatchMinor;
    char* buildDate; /* as in "May 23 2017" */
    char* buildTime; /* as in "14:47:32" */
    char* describePhrase;
    char* describeSentence;
    char* libraryInterface;
    char* libraryImplement;
    char* libraryName;
    char* parentInterface;
    char* parentImplement;
    char* parentName;
} JTI_Property;

JTI_STATIC_ASSERT(sizeof(bool) == 1, "bool is one byte");
JTI_STATIC_ASSERT(sizeof(JTI_ErrorCode) == 4, "enumerations are 32 bits wide");
JTI_STATIC_ASSERT(sizeof(JTI_Client) == 4, "enumerations are 32 bits wide");
JTI_STATIC_ASSERT(sizeof(JTI_ControlId) == 4, "enumerations are 32 bits wide");
JTI_STATIC_ASSERT(sizeof(void*) == 8, "the driver serves x86-64");
JTI_STATIC_ASSERT(offsetof(strheap_t, mem) == 8, "strheap_t.mem");
JTI_STATIC_ASSERT(offsetof(strheap_t, max) == 12, "strheap_t.max");
JTI_STATIC_ASSERT(offsetof(strheap_t, len) == 16, "strheap_t.len");
JTI_STATIC_ASSERT(sizeof(strheap_t) == 24, "strheap_t");
JTI_STATIC_ASSERT(offsetof(strfixed_t, len) == 8, "strfixed_t.len");
JTI_STATIC_ASSERT(sizeof(strfixed_t) == 16, "strfixed_t");
JTI_STATIC_ASSERT(offsetof(JTI_Property, propertyCount) == 4, "JTI_Property.propertyCount");
JTI_STATIC_ASSERT(offsetof(JTI_Property, propertyLength) == 8, "JTI_Property.propertyLength");
JTI_STATIC_ASSERT(offsetof(JTI_Property, propertyString) == 16, "JTI_Property.propertyString");
JTI_STATIC_ASSERT(offsetof(JTI_Property, copyrightNotice) == 24, "JTI_Property.copyrightNotice");
JTI_STATIC_ASSERT(offsetof(JTI_Property, parentName) == 200, "JTI_Property.parentName");
JTI_STATIC_ASSERT(sizeof(JTI_Property) == 208, "JTI_Property");

#endif /* JTI_TYPEDEF_H */
