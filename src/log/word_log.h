/*
 * word_log.h: the record of a word log. C11 or C++20.
 */
#ifndef WORD_LOG_H
#define WORD_LOG_H

#include "jti_typedef.h"

/* The names are those that the driver's documents give. */
/* NOLINTBEGIN(readability-identifier-naming) */

/* A word log. */
typedef struct LS_LOGFILE {
    uint32_t* pLogFileData;   /* the entries, logFileEntryMax words; owned */
    uint32_t logFileSize;     /* bytes of the array */
    uint32_t logFileIndex;    /* words written */
    uint32_t logFileEntryMax; /* capacity in words */
    bool logFileEnable;       /* entries are recorded only while true */
    bool logFileSilent;       /* a full log drops entries without an error */
} LS_LOGFILE;

/* A log to its users; null when there is none. Points to an LS_LOGFILE. */
typedef void* LOG_HANDLE;

/* NOLINTEND(readability-identifier-naming) */

#endif /* WORD_LOG_H */
