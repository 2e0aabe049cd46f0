/*
 * jsc_export.h: what a host loads: six entry points, the table of 54 operations, the test-clock
 * arithmetic and the keyword tables.
 *
 * For hosts (C11 or C++20). A host's order is: JSC_CreateInterface once; for each scan controller
 * JSC_CreateHandle, Connect through the table, operations, Disconnect, JSC_DeleteHandle; at the end
 * JSC_DeleteInterface. A handle must not be used from two threads at once; the library makes no
 * threads and takes no locks for an operation. A handle belongs to the process that made it: a
 * child of fork must not use or delete it.
 *
 * Errors. Every operation returns 0 or a code of JTI_ErrorCode (jti_typedef.h). On top of the codes
 * that are listed with an operation of the table there are
 *   for any operation: -122 the handle is null; -116 the handle has no controller block (never
 *     initialised, or after a failed connect);
 *   for any that reaches the pod: -140 the proxy reported a failed batch, or was given up.
 * Reads that failed leave their destinations as they were; a receive buffer of a failed scan must
 * stay valid until Diagnose has reported the -140, or a later operation that reaches the pod has
 * succeeded. When work that had to be flushed early fails, the code stays in the handle and further
 * work is dropped until Diagnose has reported it. Outputs are preset (0, false) before any work
 * unless said otherwise.
 *
 * After -140 call Diagnose with that code before anything else reads from the pod. Until then the
 * reads of the failed batch stay listed: the next batch that succeeds hands its first words to
 * them, and the operation that asked for those words returns 0 with the wrong ones.
 *
 * Two hosts on one pod. A pod has one block for batches, and an operation may leave work queued in
 * it. Handles that name the same pod, in one process or in several, may be open and connected at
 * the same time, but only one of them may be at work: before another is used, the one at work must
 * have finished with an operation that reads from the pod (GetState does) so that nothing of it is
 * queued, and the target must be in a state that the other expects. Connecting and deleting count
 * as work: attaching to a pod empties its batch. Nothing here enforces that. Hosts that do not keep
 * to it destroy each other's batches: words are lost or go to the wrong host without an error, and
 * a host may wait for an answer that the other one took. Hosts that know nothing of each other
 * need a lock of their own around the whole session. `talvor` takes one that other hosts may take,
 * too, so that they see each other: flock(LOCK_EX) on the pod's block, the shared-memory object
 * that lcl_shm_name of the device table names (shm_structs.h), opened read-only on a descriptor of
 * its own that closes on exec, from before JSC_CreateHandle to after JSC_DeleteHandle; who has it
 * then looks whether the name still stands for the object, since a fresh proxy makes another one.
 *
 * A proxy that does not answer. The library waits for an answer without a limit. With the
 * environment variable TALVOR_PROXY_PATIENCE_MS set to a number of milliseconds (1 or more, longer
 * than the longest batch takes) when a handle is made, it waits that long for each answer and then
 * gives the proxy up for this handle: the operation answers -140 (a support-register write -190,
 * JSC_CreateHandle -141), every later one fails at once, and Disconnect and JSC_DeleteHandle wait
 * for nothing. There is no way back for the handle; make a new one when the proxy answers again. A
 * command that the proxy had not begun is withdrawn. One that it had begun may still be executed;
 * until it has been answered a new handle is not opened (-141 after its own patience, or a wait
 * without one), so that no handle takes another's answer for its own. What the target has seen of
 * that batch is not known: reset the TAP first.
 *
 * A host that is killed. It leaves nothing to clear up: the next handle on the pod takes the answer
 * that a dead host's command is still owed before the first of its own, which may take as long as
 * that command does, or up to a second where it cannot be seen whether one is owed. Where a host
 * was killed while it chose its pod from the proxy's device table, JSC_CreateHandle takes the
 * table's lock over after 100 ms; after 5 seconds where it is not certain that the dead host had
 * the lock and not one with another library (a handle with less patience than that answers -141 and
 * leaves it to others). A lock that a host with another library holds, living or dead, is never
 * taken over as long as no host with this one was killed over it: JSC_CreateHandle waits, or
 * answers -141 when its patience is over, until the proxy is started anew.
 *
 * Speed. What costs is the exchange with the proxy, 1 to 2 microseconds where both have a
 * processor; the words are cheap beside it. Both and Recv are one exchange for up to half a million
 * bits; Send, Fixed01 and PutState only queue, so make them first and one operation that reads
 * behind them. A wait for the proxy keeps the processor for a short while, which it learns from how
 * long the answers take, and then offers it to other threads again and again; it never sleeps.
 * Where all processors are busy, each offer may cost a slice of the scheduler, some milliseconds. A
 * host that waits for scans there gains from a short slice for its own thread, which needs no
 * privilege: sched_setattr(2) with SCHED_OTHER and a sched_runtime of 100000 ns, from Linux 6.12 on
 * (older kernels take no notice). The library leaves the scheduling of the host's threads alone.
 */
#ifndef JSC_EXPORT_H
#define JSC_EXPORT_H

#include "cfg_export.h"
#include "jsc_external.h"

/* One opened scan controller. Its fields are the driver's. */
typedef struct JSC_Inform JSC_Inform;

/* ---- bits of JSC_Parameter.clientRecipe -------------------------------------------------------
 */

/* Connect runs the long initialisation even where the short one would do. */
#define JSC_RECIPE_LONG_INIT 0x00800000u
/* Connect finishes by applying the mode configuration. */
#define JSC_RECIPE_MODE_CONFIG 0x01000000u
/* Initialisation creates the reset log. */
#define JSC_RECIPE_RESET_LOG 0x40000000u
/* Entries, in words, of the reset log that initialisation creates. */
#define JSC_RESET_LOG_WORDS 256u

/* What JSC_CreateHandle is told. The record is read during the call only; what it points to must
 * live as long as the handle. */
typedef struct JSC_Parameter {
    bool validParameters;         /* the host's; not read */
    uint32_t clientRecipe;        /* JSC_RECIPE_... bits */
    JTI_Client jtiClientType;     /* kind of client, 1 to 20 */
    CFG_Interface* pCfgInterface; /* the host's configuration table */
    CFG_Handle cfgHandle;         /* what goes with it; not null */
} JSC_Parameter;

/* ---- the operations ---------------------------------------------------------------------------
 */

/*
 * Brings pod and controller from open to ready. Only the first connect on a pod touches the
 * hardware; later ones are counted in.
 *   pFirst  out: whether this was that first connect; true on every failure
 * -122 null pointer. -116 not initialised, already connected, or counters inconsistent. -203 the
 * configured pod generation and the pod's revision are at odds, or the controller kind is not 1
 * to 3. -157 the pod set-up could not be sent. -171, -173 to -176 loop-back test. -180 to -183
 * power, clock or cable. -190 support-register write refused. -122 also for a controller of kind 2,
 * whose done-wait is not offered. After a failure the handle counts as connected but has lost its
 * controller block: Disconnect clears the connected mark and then answers -116, as JSC_DeleteHandle
 * does.
 */
typedef JTI_Error (*JSC_Connect_t)(JSC_Inform* pJscInform, bool* pFirst);

/*
 * Undoes Connect; with the last connected handle the controller is parked.
 *   pLast  out: whether this was that last one; true on every failure
 * -122 null pointer. -116 not connected, or counters inconsistent. Else what parking the controller
 * gave, after Diagnose; the controller block is then released.
 */
typedef JTI_Error (*JSC_Disconnect_t)(JSC_Inform* pJscInform, bool* pLast);

/*
 * Level of the target's TRSTn, as of the last flush.
 *   pPinTRSTn  out: true for high
 * -122 null pointer.
 */
typedef JTI_Error (*JSC_StatusTrstn_t)(JSC_Inform* pJscInform, bool* pPinTRSTn);

/*
 * Drives TRSTn and waits the pulse-recovery time.
 *   jtagPin     in: eJSC_JTAG_PIN_SET_LEVEL; everything else is refused
 *   parameter1  in: 0 for low, else high
 *   parameter2  in: not used
 * -122 any other pin operation, before anything is sent.
 */
typedef JTI_Error (*JSC_ModifyTrstn_t)(JSC_Inform* pJscInform, JSC_JtagPin jtagPin,
                                       uint32_t parameter1, uint32_t parameter2);

/*
 * Reads the amble settings.
 *   pAmbleDelay  in: which groups (use flags); out: those groups; others are untouched
 */
typedef JTI_Error (*JSC_GetAmbleDelay_t)(JSC_Inform* pJscInform, JSC_JtagAmbleDelay* pAmbleDelay);

/*
 * Sets the amble settings. End delays that the board configuration forces win over the caller's.
 *   pAmbleDelay  in: groups to set (use flags) and their values; the flags themselves are not kept
 * The settings hold also when the work before them could not be flushed, which is returned.
 */
typedef JTI_Error (*JSC_PutAmbleDelay_t)(JSC_Inform* pJscInform, JSC_JtagAmbleDelay* pAmbleDelay);

/*
 * The link delay, in test clocks.
 *   pDefaultDelay  out: 3
 *   pMaximumDelay  out: 31
 *   pActualDelay   out: the sum of base, delta and timing; what is applied is this modulo 32
 * -122 null pointer.
 */
typedef JTI_Error (*JSC_GetLinkDelay_t)(JSC_Inform* pJscInform, uint32_t* pDefaultDelay,
                                        uint32_t* pMaximumDelay, uint32_t* pActualDelay);

/*
 * Adds to the link delay and applies it.
 *   modifyDelay  in: signed change, test clocks; changes accumulate
 */
typedef JTI_Error (*JSC_PutLinkDelay_t)(JSC_Inform* pJscInform, int32_t modifyDelay);

/*
 * Queues short settle delays: none for 0, one for an odd count, two for an even one. Hosts rely on
 * this rule; it does not wait for periodDelay periods.
 */
typedef JTI_Error (*JSC_WaitForTclk_t)(JSC_Inform* pJscInform, uint32_t periodDelay);

/*
 * Connects the outputs to the target, or disconnects them.
 *   holdTms  in: true disconnects; the other three are accepted and ignored
 */
typedef JTI_Error (*JSC_HoldFreeOuts_t)(JSC_Inform* pJscInform, bool holdTclk, bool holdTrst,
                                        bool holdTms, bool holdTdo);

/*
 * Sets the signal edges and applies the link delay anew. The edge itself comes from the board
 * configuration; the two arguments are accepted.
 */
typedef JTI_Error (*JSC_TimingEdge_t)(JSC_Inform* pJscInform, bool outputFall, bool inputFall);

/*
 * Where the TAP is, once the controller is idle. One flush.
 *   pState  out: the state; eJSC_JTAG_STATE_INVALID_FIRST on failure
 * -122 null pointer.
 */
typedef JTI_Error (*JSC_GetState_t)(JSC_Inform* pJscInform, JSC_JtagState* pState);

/*
 * Moves the TAP to a stable state, without a shift. Stays queued until the next flush.
 *   pCommand     in: jtagBefore and jtagShift 0; jtagAfter how, jtagEnd where
 *   delayCount   in: not used
 *   repeatCount  in: how often; 0 is refused
 * -122 refused command or count; nothing is written then but, for the count, the wait before it.
 */
typedef JTI_Error (*JSC_PutState_t)(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                    uint32_t delayCount, uint32_t repeatCount);

/*
 * Shifts all ones or all zeros. Stays queued until the next flush.
 *   pCommand  in: path, ambles and end state
 *   pParam    in: repeats, bits, ones or zeros
 * -122 refused command, a repeat count of 0, or a shift of 0 bits; nothing is written then.
 */
typedef JTI_Error (*JSC_ScanFixed01_t)(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                       const JSC_JtagParam01* pParam);

/*
 * The twelve scans with data: Send shifts out, Both out and in, Recv in while zeros go out. Send
 * stays queued until the next flush, except that work beyond the room of a batch is flushed as it
 * comes; Both and Recv are one flush where the scan fits a batch. The slots of all widths hold the
 * 16-bit operations: whatever the width in the name, the buffers are taken as 16-bit words.
 *   pCommand  in: path, ambles, usage (Send, Both), adjustment (Both, Recv) and end state
 *   pParam    in: repeats, bits; pOutBuffer (Send, Both), read during the call; pInBuffer (Both,
 *             Recv) is filled
 * -122 refused command, missing buffer, a repeat count of 0, or a shift of 0 bits; nothing is
 * written then. Any other failure leaves the controller within the command; the next operation
 * waits for it.
 */

/* Out. Takes 16-bit words. */
typedef JTI_Error (*JSC_ScanSend08_t)(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                      const JSC_JtagParam08* pParam);

/* Out. Takes its own width. */
typedef JTI_Error (*JSC_ScanSend16_t)(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                      const JSC_JtagParam16* pParam);

/* Out. Takes 16-bit words. */
typedef JTI_Error (*JSC_ScanSend32_t)(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                      const JSC_JtagParam32* pParam);

/* Out. Takes 16-bit words. */
typedef JTI_Error (*JSC_ScanSend64_t)(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                      const JSC_JtagParam64* pParam);

/* Out and in. Takes 16-bit words. */
typedef JTI_Error (*JSC_ScanBoth08_t)(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                      const JSC_JtagParam08* pParam);

/* Out and in. Takes its own width. */
typedef JTI_Error (*JSC_ScanBoth16_t)(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                      const JSC_JtagParam16* pParam);

/* Out and in. Takes 16-bit words. */
typedef JTI_Error (*JSC_ScanBoth32_t)(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                      const JSC_JtagParam32* pParam);

/* Out and in. Takes 16-bit words. */
typedef JTI_Error (*JSC_ScanBoth64_t)(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                      const JSC_JtagParam64* pParam);

/* In, while zeros go out. Takes 16-bit words. */
typedef JTI_Error (*JSC_ScanRecv08_t)(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                      const JSC_JtagParam08* pParam);

/* In, while zeros go out. Takes its own width. */
typedef JTI_Error (*JSC_ScanRecv16_t)(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                      const JSC_JtagParam16* pParam);

/* In, while zeros go out. Takes 16-bit words. */
typedef JTI_Error (*JSC_ScanRecv32_t)(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                      const JSC_JtagParam32* pParam);

/* In, while zeros go out. Takes 16-bit words. */
typedef JTI_Error (*JSC_ScanRecv64_t)(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                      const JSC_JtagParam64* pParam);

/*
 * Serial-wire-debug register read: not offered, always -120, nothing is touched.
 */
typedef JTI_Error (*JSC_SwdRegRead_t)(void* jscHandle, uint32_t index, uint32_t address,
                                      uint32_t* pData);

/*
 * Serial-wire-debug register write: not offered, always -120, nothing is touched.
 */
typedef JTI_Error (*JSC_SwdRegWrite_t)(void* jscHandle, uint32_t index, uint32_t address,
                                       uint32_t* pData, bool flush);

/*
 * Creates a log anew, disabled until it is erased. A log that could not be made leaves none, and a
 * size of 0 the old one; 0 is returned all the same.
 *   logFileId      in: only eJSC_LOGFILE_ID_RESET has a log
 *   pLogFileKnown  out: whether the id names a log
 *   logFileSizeRequest  in: capacity in words
 *   pLogFileSizeActual  out: the request, or 0 for an unknown id
 * -122 null pointer.
 */
typedef JTI_Error (*JSC_LogFileCreate_t)(JSC_Inform* pJscInform, JSC_LogFileId logFileId,
                                         bool* pLogFileKnown, uint32_t logFileSizeRequest,
                                         uint32_t* pLogFileSizeActual);

/*
 * Deletes a log.
 *   logFileId      in: only eJSC_LOGFILE_ID_RESET has a log
 *   pLogFileKnown  out: whether the id names a log
 * -122 null pointer.
 */
typedef JTI_Error (*JSC_LogFileDelete_t)(JSC_Inform* pJscInform, JSC_LogFileId logFileId,
                                         bool* pLogFileKnown);

/*
 * Empties a log and enables it.
 *   logFileId      in: only eJSC_LOGFILE_ID_RESET has a log
 *   pLogFileKnown  out: whether the id names a log
 * -122 null pointer.
 */
typedef JTI_Error (*JSC_LogFileErase_t)(JSC_Inform* pJscInform, JSC_LogFileId logFileId,
                                        bool* pLogFileKnown);

/*
 * Chooses what a full log does.
 *   logFileId      in: only eJSC_LOGFILE_ID_RESET has a log
 *   pLogFileKnown  out: whether the id names a log
 *   silent  in: true drops further entries without an error
 * -122 null pointer.
 */
typedef JTI_Error (*JSC_LogFileMode_t)(JSC_Inform* pJscInform, JSC_LogFileId logFileId,
                                       bool* pLogFileKnown, bool silent);

/*
 * Reads a log: the total count, the entries, a closing 0.
 *   logFileId      in: only eJSC_LOGFILE_ID_RESET has a log
 *   pLogFileKnown  out: whether the id names a log
 *   logFileSizeLimit    in: words that may be used, not 0; below 3 nothing is read
 *   pLogFileValues      out: room for logFileSizeLimit + 1 words
 *   pLogFileSizeActual  out: words of a full copy, also when the copy was cut short; 0 when nothing
 *                       was read (unknown id, no log, disabled log, small limit)
 *   pLogFileSizeTotal   out: words that a full copy needs; null: nothing is read, which is no error
 * -122 another null pointer, or a limit of 0.
 */
typedef JTI_Error (*JSC_LogFileRead_t)(JSC_Inform* pJscInform, JSC_LogFileId logFileId,
                                       bool* pLogFileKnown, uint32_t logFileSizeLimit,
                                       uint32_t* pLogFileValues, uint32_t* pLogFileSizeActual,
                                       uint32_t* pLogFileSizeTotal);

/*
 * Appends one basic entry; a full log is no error.
 *   logFileId      in: only eJSC_LOGFILE_ID_RESET has a log
 *   pLogFileKnown  out: whether the id names a log
 *   logFileValue  in: the key
 * -122 null pointer.
 */
typedef JTI_Error (*JSC_LogFileAppend_t)(JSC_Inform* pJscInform, JSC_LogFileId logFileId,
                                         bool* pLogFileKnown, uint32_t logFileValue);

/*
 * Initialises controller and pod as after a long connect, with the resets asked for. Erases the
 * reset log and, when verbose, writes it anew.
 *   pResetAction  in: what to do
 * -122 null pointer, or trstAssert and trstNegate differ (nothing is touched then). -180 target
 * power stays lost. -190 support-register write refused. -520 the log is full. A failed hidden
 * reset leaves the outputs disconnected.
 */
typedef JTI_Error (*JSC_Reset_t)(JSC_Inform* pJscInform, JSC_ResetAction* pResetAction);

/*
 * Turns an error code into the most telling one: a transport error kept in the handle goes first
 * (and is cleared), then the conditions of cable, power and clock, then the code itself. Once it
 * has reported or was given -140, the reads of the failed batch are forgotten.
 *   symptom  in: the code at hand, or 0
 * Returns that code; -180 to -183 for a condition. Without a controller block the transport error,
 * or else -116.
 */
typedef JTI_Error (*JSC_Diagnose_t)(JSC_Inform* pJscInform, int32_t symptom);

/*
 * Applies the clock mode of the board configuration and, when fresh, a test-clock frequency for the
 * time-outs.
 *   pAdjustStuff  in: frequency in hertz, never 0 when fresh
 * -122 null pointer.
 */
typedef JTI_Error (*JSC_Adjust_t)(JSC_Inform* pJscInform, JSC_AdjustStuff* pAdjustStuff);

/*
 * Pod features: none is supported.
 *   pIsSupported  out: false
 * -122 null pointer.
 */
typedef JTI_Error (*JSC_PodConfig_t)(JSC_Inform* pJscInform, uint32_t featureId, bool querySupport,
                                     bool* pIsSupported, uint32_t command, bool alsoWait);

/*
 * Latched conditions, collected over up to three readings while any is seen, then cleared.
 *   pPodStatus  out: what was seen
 * -122 null pointer.
 */
typedef JTI_Error (*JSC_PodStatus_t)(JSC_Inform* pJscInform, JSC_PodStatus* pPodStatus);

/*
 * Whether the controller answers, and the EMU pins. One flush.
 *   pOldStatus  out: alive and levels; false, true, true on failure
 * -122 null pointer.
 */
typedef JTI_Error (*JSC_OldStatus_t)(JSC_Inform* pJscInform, JSC_OldStatus* pOldStatus);

/*
 * Self tests: there are none.
 *   pLogFileKnown  out: false
 * -122 null pointer.
 */
typedef JTI_Error (*JSC_Test_t)(JSC_Inform* pJscInform, JSC_LogFileId logFileId,
                                bool* pLogFileKnown, uint32_t testMajor, uint32_t testMinor);

/*
 * Versions.
 *   featureId      in: which
 *   pFeatureKnown  out: whether the id is known
 *   pFeatureValue  out: its value, else 0
 * -122 null pointer.
 */
typedef JTI_Error (*JSC_MultipleVersion_t)(JSC_Inform* pJscInform, JSC_FeatureId featureId,
                                           bool* pFeatureKnown, uint32_t* pFeatureValue);

/*
 * Re-arms the event counter.
 *   eventPinIndex   in: 0 or 1, the EMU pin whose edges are counted
 *   eventPinRise    in: rising edges
 *   pEventPinCount  out: always 0; what was counted is dropped, and hosts rely on that
 * -122 null pointer or an index above 1; the count is untouched then.
 */
typedef JTI_Error (*JSC_Benchmark_t)(JSC_Inform* pJscInform, uint32_t eventPinIndex,
                                     bool eventPinRise, uint32_t* pEventPinCount);

/*
 * Firmware: none is known or supported.
 *   pFirmwareKnown, pFirmwareSupport  out: false
 * -122 null pointer.
 */
typedef JTI_Error (*JSC_FirmwareSupport_t)(JSC_Inform* pJscInform, JSC_FirmwareId firmwareId,
                                           bool* pFirmwareKnown, bool* pFirmwareSupport);

/*
 * Firmware version.
 *   pFirmwareKnown, pFirmwareSupport  out: false
 *   pFirmwareVersion                  out: 0
 * -122 null pointer.
 */
typedef JTI_Error (*JSC_FirmwareVersion_t)(JSC_Inform* pJscInform, JSC_FirmwareId firmwareId,
                                           bool* pFirmwareKnown, bool* pFirmwareSupport,
                                           uint32_t* pFirmwareVersion);

/*
 * Firmware load; nothing is ever written.
 *   pFirmwareKnown, pFirmwareSupport  out: false
 *   pFirmwareAction                   in: what is asked
 *   pFirmwareDataValue                in: data, needed with firmwareExternal and firmwareLoadData
 *   firmwareDataSize                  in: its bytes, not 0 then
 *   pFirmwareDataUsed                 out: 0
 * -122 null pointer, or data that is needed and missing.
 */
typedef JTI_Error (*JSC_FirmwareConfig_t)(JSC_Inform* pJscInform, JSC_FirmwareId firmwareId,
                                          bool* pFirmwareKnown, bool* pFirmwareSupport,
                                          JSC_FirmwareAction* pFirmwareAction,
                                          uint32_t firmwareVersion, uint32_t firmwareCheckSum,
                                          uint8_t* pFirmwareDataValue, uint32_t firmwareDataSize,
                                          uint32_t* pFirmwareDataUsed);

/*
 * Clock generation and measurement: neither is supported.
 *   pGenerateSupport, pMeasureSupport  out: false
 * -122 null pointer.
 */
typedef JTI_Error (*JSC_ClockSupport_t)(JSC_Inform* pJscInform, bool* pGenerateSupport,
                                        bool* pMeasureSupport);

/*
 * Not offered: -120.
 */
typedef JTI_Error (*JSC_ClockConfig_t)(JSC_Inform* pJscInform, bool force, uint32_t options,
                                       uint32_t coord);

/*
 * Not offered: -120. -122 null pointer. The frequency is untouched.
 */
typedef JTI_Error (*JSC_ClockMeasure_t)(JSC_Inform* pJscInform, uint32_t* pFrequency);

/*
 * Not offered: -120.
 */
typedef JTI_Error (*JSC_ClockSourceArchive_t)(JSC_Inform* pJscInform, bool itsExternal);

/*
 * Not offered: -120. -122 null pointer. The flag is untouched.
 */
typedef JTI_Error (*JSC_ClockSourceRetrieve_t)(JSC_Inform* pJscInform, bool* pItsExternal);

/*
 * Queues a wait for a controller condition.
 *   statusType  in: 2 (nothing), 3, 4, 7, 8 (data buffers), 12 (idle)
 *   parameter   in: not used
 * -122 every other type, 14 among them.
 */
typedef JTI_Error (*JSC_RegisterPoll_t)(JSC_Inform* pJscInform, JSC_StatusType statusType,
                                        uint32_t parameter);

/*
 * Reads controller registers; registers 0 to 15 come from the cache. One flush.
 *   incAdrs  in: advance the register number with each word
 *   incData  in: advance the destination with each word
 *   address  in: first register
 *   count    in: words; 0 just flushes
 *   pData    out: count words, or one without incData
 * -122 null pointer. -170 the first register is out of range; only the first is checked.
 */
typedef JTI_Error (*JSC_RegisterRead_t)(JSC_Inform* pJscInform, bool incAdrs, bool incData,
                                        uint32_t address, uint32_t count, uint16_t* pData);

/*
 * Queues writes of controller registers; for 0 to 15 only changes are sent.
 *   incAdrs, incData, address, count  in: as for RegisterRead
 *   pData                             in: count words, or one without incData
 * -122 null pointer. -170 the first register is out of range.
 */
typedef JTI_Error (*JSC_RegisterWrite_t)(JSC_Inform* pJscInform, bool incAdrs, bool incData,
                                         uint32_t address, uint32_t count, uint16_t* pData);

/* The table of operations. It holds no state besides its pointers. */
typedef struct JSC_Interface {
    JSC_Connect_t Connect;                         /* 0 */
    JSC_Disconnect_t Disconnect;                   /* 1 */
    JSC_StatusTrstn_t StatusTrstn;                 /* 2 */
    JSC_ModifyTrstn_t ModifyTrstn;                 /* 3 */
    JSC_GetAmbleDelay_t GetAmbleDelay;             /* 4 */
    JSC_PutAmbleDelay_t PutAmbleDelay;             /* 5 */
    JSC_GetLinkDelay_t GetLinkDelay;               /* 6 */
    JSC_PutLinkDelay_t PutLinkDelay;               /* 7 */
    JSC_WaitForTclk_t WaitForTclk;                 /* 8 */
    JSC_HoldFreeOuts_t HoldFreeOuts;               /* 9 */
    JSC_TimingEdge_t TimingEdge;                   /* 10 */
    JSC_GetState_t GetState;                       /* 11 */
    JSC_PutState_t PutState;                       /* 12 */
    JSC_ScanFixed01_t ScanFixed01;                 /* 13 */
    JSC_ScanSend08_t ScanSend08;                   /* 14 */
    JSC_ScanSend16_t ScanSend16;                   /* 15 */
    JSC_ScanSend32_t ScanSend32;                   /* 16 */
    JSC_ScanSend64_t ScanSend64;                   /* 17 */
    JSC_ScanBoth08_t ScanBoth08;                   /* 18 */
    JSC_ScanBoth16_t ScanBoth16;                   /* 19 */
    JSC_ScanBoth32_t ScanBoth32;                   /* 20 */
    JSC_ScanBoth64_t ScanBoth64;                   /* 21 */
    JSC_ScanRecv08_t ScanRecv08;                   /* 22 */
    JSC_ScanRecv16_t ScanRecv16;                   /* 23 */
    JSC_ScanRecv32_t ScanRecv32;                   /* 24 */
    JSC_ScanRecv64_t ScanRecv64;                   /* 25 */
    JSC_SwdRegRead_t SwdRegRead;                   /* 26 */
    JSC_SwdRegWrite_t SwdRegWrite;                 /* 27 */
    JSC_LogFileCreate_t LogFileCreate;             /* 28 */
    JSC_LogFileDelete_t LogFileDelete;             /* 29 */
    JSC_LogFileErase_t LogFileErase;               /* 30 */
    JSC_LogFileMode_t LogFileMode;                 /* 31 */
    JSC_LogFileRead_t LogFileRead;                 /* 32 */
    JSC_LogFileAppend_t LogFileAppend;             /* 33 */
    JSC_Reset_t Reset;                             /* 34 */
    JSC_Diagnose_t Diagnose;                       /* 35 */
    JSC_Adjust_t Adjust;                           /* 36 */
    JSC_PodConfig_t PodConfig;                     /* 37 */
    JSC_PodStatus_t PodStatus;                     /* 38 */
    JSC_OldStatus_t OldStatus;                     /* 39 */
    JSC_Test_t Test;                               /* 40 */
    JSC_MultipleVersion_t MultipleVersion;         /* 41 */
    JSC_Benchmark_t Benchmark;                     /* 42 */
    JSC_FirmwareSupport_t FirmwareSupport;         /* 43 */
    JSC_FirmwareVersion_t FirmwareVersion;         /* 44 */
    JSC_FirmwareConfig_t FirmwareConfig;           /* 45 */
    JSC_ClockSupport_t ClockSupport;               /* 46 */
    JSC_ClockConfig_t ClockConfig;                 /* 47 */
    JSC_ClockMeasure_t ClockMeasure;               /* 48 */
    JSC_ClockSourceArchive_t ClockSourceArchive;   /* 49 */
    JSC_ClockSourceRetrieve_t ClockSourceRetrieve; /* 50 */
    JSC_RegisterPoll_t RegisterPoll;               /* 51 */
    JSC_RegisterRead_t RegisterRead;               /* 52 */
    JSC_RegisterWrite_t RegisterWrite;             /* 53 */
} JSC_Interface;

JTI_STATIC_ASSERT(offsetof(JSC_Interface, Connect) == 0 * 8, "JSC_Interface.Connect");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, Disconnect) == 1 * 8, "JSC_Interface.Disconnect");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, StatusTrstn) == 2 * 8, "JSC_Interface.StatusTrstn");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, ModifyTrstn) == 3 * 8, "JSC_Interface.ModifyTrstn");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, GetAmbleDelay) == 4 * 8, "JSC_Interface.GetAmbleDelay");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, PutAmbleDelay) == 5 * 8, "JSC_Interface.PutAmbleDelay");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, GetLinkDelay) == 6 * 8, "JSC_Interface.GetLinkDelay");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, PutLinkDelay) == 7 * 8, "JSC_Interface.PutLinkDelay");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, WaitForTclk) == 8 * 8, "JSC_Interface.WaitForTclk");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, HoldFreeOuts) == 9 * 8, "JSC_Interface.HoldFreeOuts");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, TimingEdge) == 10 * 8, "JSC_Interface.TimingEdge");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, GetState) == 11 * 8, "JSC_Interface.GetState");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, PutState) == 12 * 8, "JSC_Interface.PutState");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, ScanFixed01) == 13 * 8, "JSC_Interface.ScanFixed01");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, ScanSend08) == 14 * 8, "JSC_Interface.ScanSend08");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, ScanSend16) == 15 * 8, "JSC_Interface.ScanSend16");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, ScanSend32) == 16 * 8, "JSC_Interface.ScanSend32");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, ScanSend64) == 17 * 8, "JSC_Interface.ScanSend64");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, ScanBoth08) == 18 * 8, "JSC_Interface.ScanBoth08");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, ScanBoth16) == 19 * 8, "JSC_Interface.ScanBoth16");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, ScanBoth32) == 20 * 8, "JSC_Interface.ScanBoth32");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, ScanBoth64) == 21 * 8, "JSC_Interface.ScanBoth64");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, ScanRecv08) == 22 * 8, "JSC_Interface.ScanRecv08");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, ScanRecv16) == 23 * 8, "JSC_Interface.ScanRecv16");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, ScanRecv32) == 24 * 8, "JSC_Interface.ScanRecv32");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, ScanRecv64) == 25 * 8, "JSC_Interface.ScanRecv64");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, SwdRegRead) == 26 * 8, "JSC_Interface.SwdRegRead");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, SwdRegWrite) == 27 * 8, "JSC_Interface.SwdRegWrite");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, LogFileCreate) == 28 * 8, "JSC_Interface.LogFileCreate");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, LogFileDelete) == 29 * 8, "JSC_Interface.LogFileDelete");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, LogFileErase) == 30 * 8, "JSC_Interface.LogFileErase");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, LogFileMode) == 31 * 8, "JSC_Interface.LogFileMode");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, LogFileRead) == 32 * 8, "JSC_Interface.LogFileRead");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, LogFileAppend) == 33 * 8, "JSC_Interface.LogFileAppend");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, Reset) == 34 * 8, "JSC_Interface.Reset");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, Diagnose) == 35 * 8, "JSC_Interface.Diagnose");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, Adjust) == 36 * 8, "JSC_Interface.Adjust");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, PodConfig) == 37 * 8, "JSC_Interface.PodConfig");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, PodStatus) == 38 * 8, "JSC_Interface.PodStatus");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, OldStatus) == 39 * 8, "JSC_Interface.OldStatus");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, Test) == 40 * 8, "JSC_Interface.Test");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, MultipleVersion) == 41 * 8,
                  "JSC_Interface.MultipleVersion");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, Benchmark) == 42 * 8, "JSC_Interface.Benchmark");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, FirmwareSupport) == 43 * 8,
                  "JSC_Interface.FirmwareSupport");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, FirmwareVersion) == 44 * 8,
                  "JSC_Interface.FirmwareVersion");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, FirmwareConfig) == 45 * 8,
                  "JSC_Interface.FirmwareConfig");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, ClockSupport) == 46 * 8, "JSC_Interface.ClockSupport");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, ClockConfig) == 47 * 8, "JSC_Interface.ClockConfig");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, ClockMeasure) == 48 * 8, "JSC_Interface.ClockMeasure");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, ClockSourceArchive) == 49 * 8,
                  "JSC_Interface.ClockSourceArchive");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, ClockSourceRetrieve) == 50 * 8,
                  "JSC_Interface.ClockSourceRetrieve");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, RegisterPoll) == 51 * 8, "JSC_Interface.RegisterPoll");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, RegisterRead) == 52 * 8, "JSC_Interface.RegisterRead");
JTI_STATIC_ASSERT(offsetof(JSC_Interface, RegisterWrite) == 53 * 8, "JSC_Interface.RegisterWrite");
JTI_STATIC_ASSERT(sizeof(JSC_Interface) == 432, "JSC_Interface has 54 slots");
JTI_STATIC_ASSERT(offsetof(JSC_Parameter, validParameters) == 0, "JSC_Parameter.validParameters");
JTI_STATIC_ASSERT(offsetof(JSC_Parameter, clientRecipe) == 4, "JSC_Parameter.clientRecipe");
JTI_STATIC_ASSERT(offsetof(JSC_Parameter, jtiClientType) == 8, "JSC_Parameter.jtiClientType");
JTI_STATIC_ASSERT(offsetof(JSC_Parameter, pCfgInterface) == 16, "JSC_Parameter.pCfgInterface");
JTI_STATIC_ASSERT(offsetof(JSC_Parameter, cfgHandle) == 24, "JSC_Parameter.cfgHandle");
JTI_STATIC_ASSERT(sizeof(JSC_Parameter) == 32, "JSC_Parameter");

/* ---- entry points -----------------------------------------------------------------------------
 */

JTI_BEGIN_C

/*
 * Makes a table of operations, independent of every other.
 *   ppInterface  out: the table, the caller's until JSC_DeleteInterface; null on failure
 * -122 null pointer. -131 no memory.
 */
JTI_EXPORT JTI_Error JSC_CreateInterface(JSC_Interface** ppInterface);

/*
 * Releases a table. Handles live on without it. Every slot is overwritten first: a call through a
 * stale copy of the pointer answers -601 while the memory is still there.
 *   ppInterface  in: the table; out: null
 * -122 null pointer or null table.
 */
JTI_EXPORT JTI_Error JSC_DeleteInterface(JSC_Interface** ppInterface);

/*
 * Makes and initialises a handle: reads the board configuration, opens the pod, attaches the
 * controller block. Nothing is sent to the controller.
 *   ppHandle    out: the handle. When initialisation fails the handle stays allocated here
 *   pParameter  in: what to open and how
 * -122 null pointer (no handle is made then); client kind outside 1 to 20; null configuration. -131
 * no memory. -132 a scratch record could not be released. -141 the pod could not be opened: no
 * proxy, no such pod, no answer in time. -164 controller block (a full /dev/shm, or an object of
 * its name that is not one or may not be opened). -116 counters inconsistent. Else the code of a
 * configuration key, or the host's own.
 */
JTI_EXPORT JTI_Error JSC_CreateHandle(JSC_Inform** ppHandle, JSC_Parameter* pParameter);

/*
 * Closes and frees a handle.
 *   ppHandle  in: the handle; out: null, when it was closed
 * -122 null pointer or null handle. -116 still connected, not initialised, or without controller
 * block: the handle is then left allocated.
 */
JTI_EXPORT JTI_Error JSC_DeleteHandle(JSC_Inform** ppHandle);

/*
 * Makes the description of the library.
 *   ppProperty  out: the record, the caller's until JSC_DeleteProperty; null on failure
 * -122 null pointer. -131 no memory. -603 the record came out incomplete.
 */
JTI_EXPORT JTI_Error JSC_CreateProperty(JTI_Property** ppProperty);

/*
 * Releases a description.
 *   ppProperty  in: the record; out: null
 * -122 null pointer or null record.
 */
JTI_EXPORT JTI_Error JSC_DeleteProperty(JTI_Property** ppProperty);

/* ---- test-clock coordinates -------------------------------------------------------------------
 */
/*
 * Coordinates wrap silently in their 8-bit parts; none of these functions checks that a coordinate
 * is in range. A null output is left out, and a null coordinate to change is left alone.
 */

/* Packs y and z; also stores the result in *pw. */
JTI_EXPORT coord_t pll_RePack(coord_t* pw, int8_t y, uint8_t z);

/* Splits w; bits above 15 are dropped, so PLL_TCLK_W_NOTHING gives (0, 0). */
JTI_EXPORT void pll_UnPack(coord_t w, int8_t* py, uint8_t* pz);

/* The frequency in hertz, truncated: 2^y * (1 + z / 64) * 1,000,000. From 2^32 on it wraps. */
JTI_EXPORT hertz_t pll_CoordToHertz(coord_t coord);

/* The frequency of one mantissa unit in coord's octave: (y - 6, 0). */
JTI_EXPORT coord_t pll_CoordToStep(coord_t coord);

/* Sign, magnitude of y and z in hexadecimal, as in "- 01 00"; "  -- --" for PLL_TCLK_W_NOTHING.
 * Returns one static buffer of 17 bytes that the next call overwrites; not for two threads. */
JTI_EXPORT const char* pll_CoordToText(coord_t coord);

/* Whether a >= b. */
JTI_EXPORT bool pll_OneGteTwo(coord_t a, coord_t b);

/* Whether a < b. */
JTI_EXPORT bool pll_OneAltTwo(coord_t a, coord_t b);

/* Raises by (margin + 1) / 64 of the coordinate's own frequency, rounded down to a mantissa unit.
 */
JTI_EXPORT void pll_AddMargin(coord_t* pCoord, uint32_t margin);

/* Lowers by (margin - 1) / 64. Unlike raising, a margin of 1 changes nothing; hosts rely on it. */
JTI_EXPORT void pll_SubMargin(coord_t* pCoord, uint32_t margin);

/* Multiplies by 2^value. */
JTI_EXPORT void pll_PowerOfTwo(coord_t* pCoord, int value);

/* Adds as fixed-point numbers y + z / 64. */
JTI_EXPORT void pll_AddValue(coord_t* pCoord, coord_t value);

/* Subtracts as fixed-point numbers y + z / 64. */
JTI_EXPORT void pll_SubValue(coord_t* pCoord, coord_t value);

/* Rounds the mantissa down to a multiple of value; a value of 0 leaves the coordinate unchanged. */
JTI_EXPORT void pll_SubModulo(coord_t* pCoord, uint32_t value);

/*
 * Counts mantissa steps from start to finish.
 *   pCheckItem   out: the steps
 *   pShownItem   out: the steps once start is moved down and finish up to multiples of columnTotal
 *   columnTotal  in: columns of a chart; 0 leaves start and finish where they are
 */
JTI_EXPORT void pll_CountItems(uint32_t* pCheckItem, uint32_t* pShownItem, uint32_t columnTotal,
                               coord_t startCoord, coord_t finishCoord);

/*
 * Reads a frequency text, as in "10.5", "10.375MHz", "500kHz": at most 64 MHz; "kHz" up to about
 * 1000, "Hz" up to about a million. The unit must end the whole NUL-terminated string.
 *   length  in: characters of pValue that count
 *   pCoord  out: the coordinate; PLL_TCLK_W_NOTHING on failure, untouched for null or no text
 * 0, or 1 on failure.
 */
JTI_EXPORT int pll_StrLenToCoord(uint32_t length, const char* pValue, coord_t* pCoord);

/* The same for the characters up to the first blank or tab; true on failure. */
JTI_EXPORT bool pll_StrWs0ToCoord(const char* pValue, coord_t* pCoord);

/*
 * The next frequency of a search for the highest one that works: a ramp up (STEP), a bisection
 * (POWER), steps back (MARGIN), each entered by its INIT request. The host programs and tests.
 *   status     in: whether the test at lastFreq failed; read by PLL_STATE_POWER only
 *   lastFreq   in: what was tried last, or where the phase starts; not read by PLL_STATE_STEP_INIT
 *   request    in: VexilPllStateAction
 *   pIsItDone  out: the phase has ended and *pNextFreq is its result
 *   pNextFreq  out: what to try next
 *   pHistory   in, out: the host's record of the search
 * None of the three pointers may be null.
 * -502 unknown request; nothing is written.
 */
JTI_EXPORT int pll_GetNextFrequency(bool status, coord_t lastFreq, uint32_t request,
                                    bool* pIsItDone, coord_t* pNextFreq, PLL_Next* pHistory);

/* ---- keyword tables ---------------------------------------------------------------------------
 */
/*
 * Words of the board configuration and what they mean: a Title table of texts closed by null, and
 * a Value table of the same length closed by LS_VALUE_NOTHING. Words match in any case and by
 * leading abbreviation; the first entry that matches wins, so order and duplicates matter.
 */

JTI_EXPORT extern const char* const gTdoEdgeTitle[];
JTI_EXPORT extern const uint32_t gTdoEdgeValue[];
JTI_EXPORT extern const char* const gTdiEdgeTitle[];
JTI_EXPORT extern const uint32_t gTdiEdgeValue[];
JTI_EXPORT extern const char* const gBootModeTitle[];
JTI_EXPORT extern const uint32_t gBootModeValue[];
JTI_EXPORT extern const char* const gBootValueTitle[];
JTI_EXPORT extern const uint32_t gBootValueValue[];
JTI_EXPORT extern const char* const gLoopModeTitle[];
JTI_EXPORT extern const uint32_t gLoopModeValue[];
JTI_EXPORT extern const char* const gLoopValueTitle[];
JTI_EXPORT extern const uint32_t gLoopValueValue[];
JTI_EXPORT extern const char* const gBootPinMapTitle[];
JTI_EXPORT extern const uint32_t gBootPinMapValue[];
JTI_EXPORT extern const char* const gJtagIsolateTitle[];
JTI_EXPORT extern const uint32_t gJtagIsolateValue[];
JTI_EXPORT extern const char* const gLinkModeTitle[];
JTI_EXPORT extern const uint32_t gLinkModeValue[];
JTI_EXPORT extern const char* const gLinkValueTitle[];
JTI_EXPORT extern const uint32_t gLinkValueValue[];
JTI_EXPORT extern const char* const gSignalTitle[];
JTI_EXPORT extern const uint32_t gSignalValue[];
JTI_EXPORT extern const char* const gStateTitle[];
JTI_EXPORT extern const uint32_t gStateValue[];
JTI_EXPORT extern const char* const gGotoTitle[];
JTI_EXPORT extern const uint32_t gGotoValue[];
JTI_EXPORT extern const char* const gErrorFileTypeTitle[];
JTI_EXPORT extern const uint32_t gErrorFileTypeValue[];
JTI_EXPORT extern const char* const gSystemResetTitle[];
JTI_EXPORT extern const uint32_t gSystemResetValue[];
JTI_EXPORT extern const char* const gReorderTitle[];
JTI_EXPORT extern const uint32_t gReorderValue[];
JTI_EXPORT extern const char* const gMethodTitle[];
JTI_EXPORT extern const uint32_t gMethodValue[];
JTI_EXPORT extern const char* const gHierarchyTitle[];
JTI_EXPORT extern const uint32_t gHierarchyValue[];
JTI_EXPORT extern const char* const gRepeatTitle[];
JTI_EXPORT extern const uint32_t gRepeatValue[];
JTI_EXPORT extern const char* const gDataTitle[];
JTI_EXPORT extern const uint32_t gDataValue[];
JTI_EXPORT extern const char* const gBitsTitle[];
JTI_EXPORT extern const uint32_t gBitsValue[];
JTI_EXPORT extern const char* const gPathTitle[];

/* The same for the test clock. */
JTI_EXPORT extern const char* const gTclkProgTitle[];
JTI_EXPORT extern const uint32_t gTclkProgValue[];
JTI_EXPORT extern const char* const gTclkFreqTitle[];
JTI_EXPORT extern const uint32_t gTclkFreqValue[];
JTI_EXPORT extern const char* const gTclkLimitTitle[];
JTI_EXPORT extern const uint32_t gTclkLimitValue[];
JTI_EXPORT extern const char* const gTclkTestModeTitle[];
JTI_EXPORT extern const uint32_t gTclkTestModeValue[];
JTI_EXPORT extern const char* const gTclkOverFlowTitle[];
JTI_EXPORT extern const uint32_t gTclkOverFlowValue[];
JTI_EXPORT extern const char* const gTclkReferTitle[];
JTI_EXPORT extern const uint32_t gTclkReferValue[];
JTI_EXPORT extern const char* const gTclkInitialTitle[];
JTI_EXPORT extern const uint32_t gTclkInitialValue[];
JTI_EXPORT extern const char* const gTclkTerminalTitle[];
JTI_EXPORT extern const uint32_t gTclkTerminalValue[];
JTI_EXPORT extern const char* const gTclkBitsTitle[];
JTI_EXPORT extern const uint32_t gTclkBitsValue[];
JTI_EXPORT extern const char* const gTclkPathTitle[];

JTI_END_C

#endif /* JSC_EXPORT_H */
