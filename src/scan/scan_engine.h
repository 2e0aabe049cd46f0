// The scan engine: a scan as controller work, from the go-to before it to the postamble behind it,
// repeated.
#pragma once

#include "jsc_internal.h"

// Makes a scan.
//   control       in: TBC_SCAN_...: what goes out and whether it is collected
//   count         in: bits of the main shift, ambles not counted; not 0
//   lengthAdjust  in: compensate the return path by one leading word
//   sendOnly      in: nothing is received; else pBufferDst is needed
//   sendFixed     in: no data is sent; else pBufferSrc is needed
//   repeatCount   in: how often; not 0. The buffers advance by whole words from one to the next
//   pBufferDst    out: words received, (count + 15) / 16 a repeat; filled when the scan succeeds
//   pBufferSrc    in: words to send, as many; read during the call
// 0. -116 without a controller block. -122 a null handle or command, a missing buffer, a count or
// repeat count of 0, or a command that is refused. Nothing is written then. Else the code of a
// failed flush: the controller is left within the command.
JTI_EXPORT int32_t TbcScan(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                           uint16_t control, uint32_t count, bool lengthAdjust, bool sendOnly,
                           bool sendFixed, uint32_t repeatCount, uint16_t* pBufferDst,
                           uint16_t* pBufferSrc);

// Shifts `count` ones or zeros, 16 more with lengthAdjust, and ends in wakeEndState (state code,
// TBC_STATE_IR_PATH for the instruction path). -122 for a count of 0, before anything is written;
// -122 and -116 for the handle.
JTI_EXPORT int32_t TbcScanFixed(JSC_Inform* pJscInform, uint16_t wakeEndState, uint32_t count,
                                bool lengthAdjust, bool useOnes);

// The three strategies: fixed scans; scans that send, or send and receive; scans that receive, with
// the option bits as they are. Each makes one repeat, ambles included, and takes what TbcScan
// takes. 0, or a code that TbcScan returns.
JTI_EXPORT int32_t TbcScanBypass(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                 uint16_t wakeEndState, uint16_t scanOption, uint32_t count,
                                 bool lengthAdjust, bool sendOnly, uint16_t* pBufferDst,
                                 uint16_t* pBufferSrc);
JTI_EXPORT int32_t TbcScanOldStyle2(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                    uint16_t wakeEndState, uint16_t scanOption, uint32_t count,
                                    bool lengthAdjust, bool sendOnly, uint16_t* pBufferDst,
                                    uint16_t* pBufferSrc);
JTI_EXPORT int32_t TbcScanOldStyle8(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                    uint16_t wakeEndState, uint16_t scanOption, uint32_t count,
                                    bool lengthAdjust, bool sendOnly, uint16_t* pBufferDst,
                                    uint16_t* pBufferSrc);
