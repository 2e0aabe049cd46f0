/* Internal to the driver, not for hosts.
 *
 * jsc_internal.h: the handle and the controller block. A host knows the handle as an opaque
 * pointer. JSC_Control crosses a border all the same: handles of several processes share it, so its
 * layout is fixed. Records that belong to one floor of the driver stand in that floor.
 */
#ifndef JSC_INTERNAL_H
#define JSC_INTERNAL_H

#include "../hardware/tbc_registers.h"
#include "../src/controller/time_record.h"
#include "../src/log/word_log.h"
#include "../src/sys/version_record.h"
#include "../src/transport/share_record.h"
#include "cfg_export.h"
#include "jsc_export.h"
#include "read_variable.h"
#include "shm_structs.h"

#include <semaphore.h>

/* ---- controller block -------------------------------------------------------------------------
 */

/* State of one controller, common to all handles on its pod, in a named shared block. */
typedef struct JSC_Control {
    uint16_t registerCache[TBC_EXTENDED_PORTS]; /* last value of each port; 0 to 15 are kept */
    uint32_t ctlrSoftUsed;                      /* handles initialised on this block */
    uint32_t ctlrHardUsed;                      /* handles connected; at most ctlrSoftUsed */
    JTI_ControlId ctlrRevise;                   /* controller kind found at connect */
    bool powerLossActive;                       /* target power loss seen now */
    bool powerLossErased;                       /* a power loss was seen and cleared */
    int32_t linkTiming;                         /* link delay: timing-edge contribution */
    int32_t linkDelta;                          /* link delay: accumulated corrections */
    uint32_t linkDelay;                         /* link delay: base value */
    bool priorTBC;                              /* a scan has been started */
    uint16_t priorState;                        /* last launch's state word */
    uint16_t priorConfig;                       /* bits ORed into every scan launch */
    JSC_JtagAmbleDelay ambleDelay;
    JSC_TimeDependancy timeDependOld; /* of the command in flight */
    JSC_TimeDependancy timeDependNew; /* collected for the next command */
    JSC_TimeValueType timeValue;
    uint32_t emuRevision;  /* pod revision, copied from the handle at the first connect */
    bool slowMode;         /* slow clock mode in use */
    bool fastMode;         /* fast clock mode in use */
    uint16_t StatusCache;  /* support register, refreshed by every flush */
    uint16_t Status0Cache; /* status register 0, refreshed by every flush */
    uint16_t Status1Cache; /* status register 1, refreshed by every flush */
} JSC_Control;

/* Bytes of the controller block: the record at the start, 1 MiB in reserve. */
#define SHARE_CONTROL_SIZE (0x100000u + (uint32_t)sizeof(JSC_Control))

/* ---- handle -----------------------------------------------------------------------------------
 */

/* One pending read: where its words go. */
typedef struct JSC_qel_oplist {
    uint32_t op;    /* 0: read */
    uint32_t count; /* words */
    uint16_t* ptr;  /* destination; must stay valid until the flush */
    struct JSC_qel_oplist* next;
} JSC_qel_oplist;

/* Destinations of the driver's own reads. They live in the handle because a read that is still
 * listed after a failed flush is filled by the next one that succeeds. */
typedef struct OwnReads {
    uint16_t word;        /* the one-word reads of the controller and utility code */
    uint16_t second;      /* the upper half of a two-word read */
    uint16_t discard;     /* the leading word of an adjusted scan */
    uint16_t loopback[5]; /* the loop-back test */
} OwnReads;

/* How long a wait for the proxy keeps the processor before it lets others in: what the waits so far
 * have shown. All 0: nothing yet. */
typedef struct PostSpin {
    uint32_t ticks; /* of the time-stamp counter */
    uint32_t waits; /* so far */
} PostSpin;

/* A descriptor of the pod's block, whose lock says that this handle uses it. */
typedef struct PodHold {
    bool held;
    int fd; /* while held */
} PodHold;

/* One opened scan controller. */
struct JSC_Inform {
    ShareInform tbcShare;     /* the shared block with JSC_Control */
    JSC_Control* pJscControl; /* the controller state; null while there is none */
    bool ctlrSoftOpen;        /* initialised */
    bool ctlrHardOpen;        /* connected */
    uint32_t clientRecipe;    /* JSC_RECIPE_... */
    JTI_Client jtiClientType;
    JTI_Error podError; /* sticky transport error: accesses are dropped until Diagnose clears it */
    CFG_Handle cfgHandle;
    CFG_Interface* pCfgInterface;
    ZDL_Variable zdlVariable;
    TBC_Variable tbcVariable;
    PLL_Variable pllVariable;
    DOT7_Variable dot7Variable;
    KELM_Variable kelmVariable;
    LOG_HANDLE resetLogHandle; /* null when there is none */
    QEL_Variable qelVariable;
    JSC_qel_oplist* opList;     /* pending reads, oldest first */
    JSC_qel_oplist* opListTail; /* the newest of them */
    lcl_shm* ProxyShm;          /* the pod's block; null while detached */
    sem_t* evStartSem;
    sem_t* evCompleteSem;
    uint32_t emuRevision; /* pod revision from the device table */
    int32_t instance;     /* number of this handle's connect on the controller block */

    JSC_qel_oplist* opListFree; /* spent nodes, for reuse */
    JTI_Error batchError;       /* failure of a flush that made room; reported with podError */
    OwnReads ownReads;
    PodIdentity pod;     /* whose block ProxyShm is */
    uint32_t patienceMs; /* longest wait for the proxy; 0: no limit */
    bool proxyLost;      /* it did not answer within that */
    PostSpin spin;       /* of the waits for its answers */
    PodHold podHold;
};

/* Collected during the long initialisation, for the reset log. */
typedef struct LogFileInfo {
    bool requestResetHard;
    bool requestResetSoft;
    bool hungResetHard; /* the three hung flags end the log early; nothing sets them */
    bool hungResetSoft;
    bool hungNoReset;
    bool emuPin0;
    bool emuPin1;
    uint32_t linkDelay; /* test clocks */
    bool powerLossPrior;
    bool powerLossActive;
} LogFileInfo;

JTI_STATIC_ASSERT(offsetof(JSC_Control, registerCache) == 0, "JSC_Control.registerCache");
JTI_STATIC_ASSERT(offsetof(JSC_Control, ctlrSoftUsed) == 64, "JSC_Control.ctlrSoftUsed");
JTI_STATIC_ASSERT(offsetof(JSC_Control, ctlrHardUsed) == 68, "JSC_Control.ctlrHardUsed");
JTI_STATIC_ASSERT(offsetof(JSC_Control, ctlrRevise) == 72, "JSC_Control.ctlrRevise");
JTI_STATIC_ASSERT(offsetof(JSC_Control, powerLossActive) == 76, "JSC_Control.powerLossActive");
JTI_STATIC_ASSERT(offsetof(JSC_Control, powerLossErased) == 77, "JSC_Control.powerLossErased");
JTI_STATIC_ASSERT(offsetof(JSC_Control, linkTiming) == 80, "JSC_Control.linkTiming");
JTI_STATIC_ASSERT(offsetof(JSC_Control, linkDelta) == 84, "JSC_Control.linkDelta");
JTI_STATIC_ASSERT(offsetof(JSC_Control, linkDelay) == 88, "JSC_Control.linkDelay");
JTI_STATIC_ASSERT(offsetof(JSC_Control, priorTBC) == 92, "JSC_Control.priorTBC");
JTI_STATIC_ASSERT(offsetof(JSC_Control, priorState) == 94, "JSC_Control.priorState");
JTI_STATIC_ASSERT(offsetof(JSC_Control, priorConfig) == 96, "JSC_Control.priorConfig");
JTI_STATIC_ASSERT(offsetof(JSC_Control, ambleDelay) == 100, "JSC_Control.ambleDelay");
JTI_STATIC_ASSERT(offsetof(JSC_Control, timeDependOld) == 152, "JSC_Control.timeDependOld");
JTI_STATIC_ASSERT(offsetof(JSC_Control, timeDependNew) == 172, "JSC_Control.timeDependNew");
JTI_STATIC_ASSERT(offsetof(JSC_Control, timeValue) == 192, "JSC_Control.timeValue");
JTI_STATIC_ASSERT(offsetof(JSC_Control, emuRevision) == 304, "JSC_Control.emuRevision");
JTI_STATIC_ASSERT(offsetof(JSC_Control, slowMode) == 308, "JSC_Control.slowMode");
JTI_STATIC_ASSERT(offsetof(JSC_Control, fastMode) == 309, "JSC_Control.fastMode");
JTI_STATIC_ASSERT(offsetof(JSC_Control, StatusCache) == 310, "JSC_Control.StatusCache");
JTI_STATIC_ASSERT(offsetof(JSC_Control, Status0Cache) == 312, "JSC_Control.Status0Cache");
JTI_STATIC_ASSERT(offsetof(JSC_Control, Status1Cache) == 314, "JSC_Control.Status1Cache");
JTI_STATIC_ASSERT(sizeof(JSC_Control) == 316, "JSC_Control");
JTI_STATIC_ASSERT(SHARE_CONTROL_SIZE == 1048892u, "the controller block");
JTI_STATIC_ASSERT(offsetof(PodIdentity, device) == 0, "PodIdentity.device");
JTI_STATIC_ASSERT(offsetof(PodIdentity, inode) == 8, "PodIdentity.inode");
JTI_STATIC_ASSERT(offsetof(PodIdentity, serial) == 16, "PodIdentity.serial");
JTI_STATIC_ASSERT(offsetof(PodIdentity, revision) == 20, "PodIdentity.revision");
JTI_STATIC_ASSERT(sizeof(PodIdentity) == 24, "PodIdentity");
JTI_STATIC_ASSERT(sizeof(sem_t) == 32,
                  "semaphores are shared with the proxy as the C library lays them out");

#endif /* JSC_INTERNAL_H */
