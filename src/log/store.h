// The store of a word log: entries of 32-bit words in memory, read back by the host. A basic entry
// is its key; a number entry is LS_LOGFILE_ITSA_NUMBER, the number, the key; a string entry is
// LS_LOGFILE_ITSA_STRING, a count n, n words with the text and at least one NUL, the key.
#pragma once

#include "jsc_external.h"
#include "log/word_log.h"

// Makes a log of `entryMax` words, zeroed, disabled and not silent.
//   pLogHandle  out: the log, the caller's until zdl_LogFileDelete; null on failure. A log that
//               stood there is not freed
// -122 null pLogHandle or entryMax 0 (*pLogHandle is then untouched). -131 no memory, or more words
// than 32 bits hold the bytes of; when it is the words that fail, the record is not freed.
JTI_EXPORT int zdl_LogFileCreate(LOG_HANDLE* pLogHandle, uint32_t entryMax);

// Frees the log and sets *pLogHandle to null; 0 also when there is none. -122 null pLogHandle.
JTI_EXPORT int zdl_LogFileDelete(LOG_HANDLE* pLogHandle);

// Empties and zeroes the log, and lets entries in from now on (`enable`) or not. Null: nothing.
JTI_EXPORT void zdl_LogFileErase(LOG_HANDLE logHandle, bool enable);

// Whether a full log drops basic and number entries without an error. Null: nothing.
JTI_EXPORT void zdl_LogFileMode(LOG_HANDLE logHandle, bool silent);

// Appends a basic entry. 0 also for a null or disabled log, which ignores it, and for a full silent
// one. -520 the log is full; nothing is written.
JTI_EXPORT int zdl_LogFileBasic(LOG_HANDLE logHandle, uint32_t key);

// Appends a number entry; else as zdl_LogFileBasic. On -520 the words that fitted stay.
JTI_EXPORT int zdl_LogFileUnsign(LOG_HANDLE logHandle, uint32_t key, uint32_t number);

// Appends a string entry. 0 also for a null or disabled log, which ignores it. -122 null string.
// -520 the text and its key do not fit, in a silent log as well; the two words before the text then
// stay as far as they fitted.
JTI_EXPORT int zdl_LogFileString(LOG_HANDLE logHandle, uint32_t key, const char* string);

// Reads the log: the number of all words to come, the words written, a closing 0.
//   limit    in: at most limit - 1 words of the log are copied; below 3 nothing is
//   pValues  out: room for limit + 1 words
//   pActual  out: words of the whole list, even when the copy was cut short; 0 when nothing was
//            copied, as from a disabled log
//   pTotal   out: words of the whole list in any case; 0 for a null log
// Does nothing when one of the three pointers is null.
JTI_EXPORT void zdl_LogFileRead(LOG_HANDLE logHandle, uint32_t limit, uint32_t* pValues,
                                uint32_t* pActual, uint32_t* pTotal);

// The reset log's key for a controller kind; RSTLOG_CONTROL_UNKNOWN for an unknown one.
//   pLogEntry  out: the key
// -122 null pLogEntry.
JTI_EXPORT int zdl_LogFileXlatVersion(JTI_ControlId tbcVersion, uint32_t* pLogEntry);
