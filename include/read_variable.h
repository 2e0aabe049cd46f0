/* Internal to the driver, not for hosts.
 *
 * read_variable.h: what the driver keeps of the board configuration.
 *
 * One record a group of keys, each filled by its reader. Every record begins with `found`, whether
 * the global context exists; `use...` flags tell whether a key was present. docs/board-file.md
 * lists the keys.
 */
#ifndef READ_VARIABLE_H
#define READ_VARIABLE_H

#include "jsc_external.h"

/* Scan-controller variables, keys of the VEXIL namespace. */
typedef struct TBC_Variable {
    bool found;
    bool noAmble;
    bool useNoAmble;
    bool noCheck; /* Diagnose returns codes without looking at the pod */
    bool useNoCheck;
    bool okStall; /* waits may last forever */
    bool useOkStall;
    bool fastClock;    /* run the test clock in fast mode */
    bool slowClock;    /* run the test clock in slow mode */
    uint32_t slowFreq; /* slow-mode test-clock frequency, hertz; at least 250 */
    bool useFastClock;
    bool useSlowClock;
    bool useSlowFreq;
    bool tdoEdgeFall; /* TDO sampled on the falling edge */
    bool tdiEdgeFall; /* TDI driven on the falling edge */
    bool useTdoEdgeFall;
    bool useTdiEdgeFall;
    bool linkAuto;      /* link delay determined automatically */
    int32_t linkDelta;  /* signed adjustment of the link delay, test clocks */
    uint32_t linkDelay; /* explicit link delay, test clocks */
    bool useLinkAuto;
    bool useLinkDelta;
    bool useLinkDelay;
    uint32_t forceOnceEnd; /* forced end delay of a single scan */
    uint32_t forceManyEnd; /* forced end delay of repeated scans */
    bool useForceOnceEnd;
    bool useForceManyEnd;
    uint32_t delayTdiPodToEmu;
    uint32_t delayTdiTgtToPod;
    uint32_t delayTckEmuToPod;
    uint32_t delayTckPodToEmu;
    bool useDelayTdiPodToEmu;
    bool useDelayTdiTgtToPod;
    bool useDelayTckEmuToPod;
    bool useDelayTckPodToEmu;
    uint32_t jtagBootMode;  /* LsBootModeCommand */
    uint32_t jtagBootValue; /* LsBootModeValue */
    bool useJtagBootMode;
    bool useJtagBootValue;
    uint32_t powerBootMode;  /* LsBootModeCommand */
    uint32_t powerBootValue; /* LsBootModeValue */
    bool usePowerBootMode;
    bool usePowerBootValue;
    uint32_t emuOutputMode;  /* LsBootModeCommand */
    uint32_t emuOutputValue; /* LsBootModeValue */
    bool useEmuOutputMode;
    bool useEmuOutputValue;
    uint32_t podLoopMode;  /* LsLoopBackCommand */
    uint32_t podLoopValue; /* LsLoopBackValue */
    bool usePodLoopMode;
    bool usePodLoopValue;
    uint32_t bootPinMap; /* LsBootPinMapValue */
    bool useBootPinMap;
    uint32_t jtagIsolate; /* LsJtagIsolateValue */
    bool useJtagIsolate;
} TBC_Variable;

/* Test-clock variables, keys VEXIL.TCLK_... */
typedef struct PLL_Variable {
    bool found;
    uint32_t tclkProgram;  /* LsVexilProgTypes */
    coord_t tclkBeginning; /* lowest, first frequency */
    coord_t tclkFrequency; /* requested frequency */
    uint32_t tclkAdvance;  /* search step margin, 64ths */
    uint32_t tclkRetreat;  /* search back-off margin, 64ths */
    uint32_t tclkTestMode; /* LsVexilTestModeTypes */
    uint32_t tclkOverFlow; /* LsVexilOverFlowTypes */
    coord_t tclkReference; /* reference frequency */
    bool tclkInitial;
    bool tclkTerminal;
    bool useTclkProgram;
    bool useTclkBeginning;
    bool useTclkFrequency;
    bool useTclkAdvance;
    bool useTclkRetreat;
    bool useTclkTestMode;
    bool useTclkOverFlow;
    bool useTclkReference;
    bool useTclkInitial;
    bool useTclkTerminal;
    bool bitsKnown;      /* bitsLength came from the configuration */
    uint32_t bitsLength; /* scan length, bits, a multiple of 32 */
    bool useBitsLength;
    bool irKnown;      /* irLength is a given number */
    bool drKnown;      /* drLength is a given number */
    uint32_t irLength; /* instruction-path length, bits; 0 for default or measured */
    uint32_t drLength; /* data-path length, bits; 0 for default or measured */
    bool useIrLength;
    bool useDrLength;
} PLL_Variable;

/* Variables of two-wire targets. No key fills them. */
typedef struct DOT7_Variable {
    bool found;
} DOT7_Variable;

/* Pod variables, keys of the KELM namespace. The texts are the host configuration's. */
typedef struct KELM_Variable {
    bool found;
    const char* pHostNameValue; /* remote host */
    uint32_t hostNameLength;    /* characters */
    bool useHostName;
    uint32_t remotePort;
    bool useRemotePort;
    bool directConnect;
    bool useDirectConnect;
    bool noFpgaLoad;
    bool useNoFpgaLoad;
    bool logFileEnable;
    bool useLogFileEnable;
    bool logFileVerbose; /* verbose, not brief */
    bool useLogFileVerbose;
    const char* pLogFileNameValue; /* log file name */
    uint32_t logFileNameLength;    /* characters */
    bool useLogFileName;
} KELM_Variable;

/* Pod clocking, timing and pins, keys KELM.POD_... Written to the pod at connect. */
typedef struct QEL_Variable {
    bool found;
    bool prediv;  /* pre-divide the pod's clock */
    bool tdoedge; /* TDO on the falling edge of TCK */
    bool tdiload;
    bool tckload;
    bool shortdly;    /* short link delay */
    uint32_t tckdiv;  /* clock divider, at most 12 (version 1) or 15 */
    uint32_t tckexp;  /* clock exponent, at most 7 */
    bool aclken;      /* adaptive clock */
    uint32_t aclkdly; /* its delay, at most 7 */
    uint32_t version; /* pod generation, 1 to 4 */
    bool slowclk;     /* old pods: settle after every word sent */
    bool aw;          /* the pod waits for its data buffers by itself */
    uint32_t tmsofs;  /* TMS offset, at most 7 */
    uint32_t tdoofs;  /* TDO offset, at most 7 */
    bool tckb;        /* no returned test clock */
    bool loopb;       /* loop back */
    uint32_t tckdly;  /* TCK bypass delay, at most 3 */
    uint32_t sn;      /* serial number; 0 takes the first pod */
    uint32_t vclamp;  /* voltage clamp, at most 31 */
    uint32_t e0mode;  /* EMU0 pin mode, at most 2 */
    uint32_t e1mode;  /* EMU1 pin mode, at most 2 */
} QEL_Variable;

/* Room for a driver's file name or a serial name: 256 characters and the NUL. */
#define ZDL_NAME_SIZE 257

/* Emulator variables: the driver programs through which the emulator is reached. */
typedef struct ZDL_Variable {
    bool found;
    char driverNameEcom[ZDL_NAME_SIZE]; /* file-name part of VEXIL.ECOM_DRVR */
    bool useDrvrEcom;
    uint32_t portAddressEcom;
    bool usePortEcom;
    char driverNameKelm[ZDL_NAME_SIZE]; /* file-name part of KELM.POD_DRVR */
    bool useDrvrKelm;
    uint32_t portAddressKelm; /* KELM.POD_PORT, or the hash of the serial name */
    bool usePortKelm;
    char serialNameKelm[ZDL_NAME_SIZE]; /* KELM.POD_SERIAL */
    bool useSerialNameKelm;
    uint32_t driverType;    /* VexilEmulatorTypes */
    char* pDriverName;      /* the chosen name, within this record; or null */
    uint32_t* pPortAddress; /* the chosen port, within this record; or null */
} ZDL_Variable;

/* One configuration variable, for hosts that list them. The driver neither fills nor reads it. */
typedef struct ZDL_VariableParams {
    uint32_t versionSize;
    strheap_t name;
    strheap_t value;
} ZDL_VariableParams;

/* A list of configuration variables, for hosts. The driver neither fills nor reads it. */
typedef struct ZDL_VariableInform {
    uint32_t versionSize;
    uint32_t contextId;
    uint32_t nameMaximum;
    uint32_t valueMaximum;
    ZDL_VariableParams* pVariableData; /* array of variableNum */
    uint32_t variableNum;
} ZDL_VariableInform;

#endif /* READ_VARIABLE_H */
