#include "log/store.h"

#include "sys/check.h"
#include "sys/memory.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>

namespace {

constexpr uint32_t kWordSize = sizeof(uint32_t);

// The word count before the entries and the word that closes them.
constexpr uint32_t kListFrame = 2;
// A reader with less room is given nothing.
constexpr uint32_t kSmallestLimit = 3;

LS_LOGFILE* store_of(LOG_HANDLE handle) {
    return static_cast<LS_LOGFILE*>(handle);
}

// Null also for more words than the 32 bits of sys_MemAlloc can ask for.
uint32_t* allocate_words(uint32_t count) {
    if (count > std::numeric_limits<uint32_t>::max() / kWordSize) {
        return nullptr;
    }
    return static_cast<uint32_t*>(sys_MemAlloc(count * kWordSize));
}

// Words that a text takes with at least one NUL.
constexpr uint64_t text_words(uint64_t length) {
    return length / kWordSize + 1;
}

// Appends the words one by one; stops at the first error.
template <size_t count>
int append(LOG_HANDLE handle, const uint32_t (&words)[count]) {
    for (const uint32_t word : words) {
        RETURN_ON_ERROR(zdl_LogFileBasic(handle, word));
    }
    return eJTI_ERROR_NONE;
}

// The controller kinds list the hardware build of a controller before its software model, the log's
// keys the model first: each pair is crossed.
constexpr uint32_t kControllerKeys[] = {
    RSTLOG_CONTROL_PROTOTYPE_TBC, // eJTI_CONTROL_ID_OBSOLETE
    RSTLOG_CONTROL_TBC,           // eJTI_CONTROL_ID_TBC
    RSTLOG_CONTROL_EXL,           // eJTI_CONTROL_ID_EXL
    RSTLOG_CONTROL_DPM,           // eJTI_CONTROL_ID_DPM
    RSTLOG_CONTROL_FTDI_FT2232,   // eJTI_CONTROL_ID_FTDI_FT2232
    RSTLOG_CONTROL_NANO_VHDL,     // eJTI_CONTROL_ID_NANO_VHDL
    RSTLOG_CONTROL_NANO_CMODEL,   // eJTI_CONTROL_ID_NANO_CMODEL
    RSTLOG_CONTROL_PICO_VHDL,     // eJTI_CONTROL_ID_PICO_VHDL
    RSTLOG_CONTROL_PICO_CMODEL,   // eJTI_CONTROL_ID_PICO_CMODEL
    RSTLOG_CONTROL_SERDES_VHDL,   // eJTI_CONTROL_ID_SERDES_VHDL
    RSTLOG_CONTROL_SERDES_CMODEL, // eJTI_CONTROL_ID_SERDES_CMODEL
    RSTLOG_CONTROL_BITIO_VHDL,    // eJTI_CONTROL_ID_BITIO_VHDL
    RSTLOG_CONTROL_BITIO_CMODEL,  // eJTI_CONTROL_ID_BITIO_CMODEL
};
static_assert(std::size(kControllerKeys) == eJTI_CONTROL_ID_INVALID_LAST);

} // namespace

int zdl_LogFileCreate(LOG_HANDLE* pLogHandle, uint32_t entryMax) {
    RETURN_IF(pLogHandle == nullptr || entryMax == 0, eJTI_ERROR_BAD_ARGUMENT);
    *pLogHandle = nullptr;
    LS_LOGFILE* log = store_of(sys_MemAlloc(sizeof(LS_LOGFILE)));
    RETURN_IF(log == nullptr, eJTI_ERROR_NO_MEMORY);
    log->pLogFileData = allocate_words(entryMax);
    if (log->pLogFileData == nullptr) {
        // Kept: nothing is undone on the way out, the record stays allocated.
        return eJTI_ERROR_NO_MEMORY;
    }
    log->logFileEntryMax = entryMax;
    log->logFileSize = entryMax * kWordSize;
    log->logFileSilent = false;
    zdl_LogFileErase(log, false);
    *pLogHandle = log;
    return eJTI_ERROR_NONE;
}

int zdl_LogFileDelete(LOG_HANDLE* pLogHandle) {
    RETURN_IF(pLogHandle == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_IF(*pLogHandle == nullptr, eJTI_ERROR_NONE);
    void* words = store_of(*pLogHandle)->pLogFileData;
    sys_MemFree(&words);
    sys_MemFree(pLogHandle);
    return eJTI_ERROR_NONE;
}

void zdl_LogFileErase(LOG_HANDLE logHandle, bool enable) {
    if (logHandle == nullptr) {
        return;
    }
    LS_LOGFILE* log = store_of(logHandle);
    log->logFileEnable = enable;
    log->logFileIndex = 0;
    std::memset(log->pLogFileData, 0, log->logFileSize);
}

void zdl_LogFileMode(LOG_HANDLE logHandle, bool silent) {
    if (logHandle != nullptr) {
        store_of(logHandle)->logFileSilent = silent;
    }
}

int zdl_LogFileBasic(LOG_HANDLE logHandle, uint32_t key) {
    LS_LOGFILE* log = store_of(logHandle);
    RETURN_IF(log == nullptr || !log->logFileEnable, eJTI_ERROR_NONE);
    if (log->logFileIndex >= log->logFileEntryMax) {
        return log->logFileSilent ? eJTI_ERROR_NONE : eJTI_ERROR_LOG_FULL;
    }
    log->pLogFileData[log->logFileIndex++] = key;
    return eJTI_ERROR_NONE;
}

int zdl_LogFileUnsign(LOG_HANDLE logHandle, uint32_t key, uint32_t number) {
    return append(logHandle, {static_cast<uint32_t>(LS_LOGFILE_ITSA_NUMBER), number, key});
}

int zdl_LogFileString(LOG_HANDLE logHandle, uint32_t key, const char* string) {
    RETURN_IF(string == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    LS_LOGFILE* log = store_of(logHandle);
    RETURN_IF(log == nullptr || !log->logFileEnable, eJTI_ERROR_NONE);
    const size_t length = std::strlen(string);
    const uint64_t words = text_words(length);
    RETURN_ON_ERROR(append(
        logHandle, {static_cast<uint32_t>(LS_LOGFILE_ITSA_STRING), static_cast<uint32_t>(words)}));
    // Kept: a text that does not fit is an error even in a silent log. Hosts learn by it that the
    // log was cut.
    RETURN_IF(log->logFileIndex + words >= log->logFileEntryMax, eJTI_ERROR_LOG_FULL);
    uint32_t* text = log->pLogFileData + log->logFileIndex;
    text[words - 1] = 0;
    std::memcpy(text, string, length);
    log->logFileIndex += static_cast<uint32_t>(words);
    return zdl_LogFileBasic(logHandle, key);
}

void zdl_LogFileRead(LOG_HANDLE logHandle, uint32_t limit, uint32_t* pValues, uint32_t* pActual,
                     uint32_t* pTotal) {
    if (pValues == nullptr || pActual == nullptr || pTotal == nullptr) {
        return;
    }
    const LS_LOGFILE* log = store_of(logHandle);
    *pActual = 0;
    *pTotal = log == nullptr ? 0 : log->logFileIndex + kListFrame;
    if (log == nullptr || !log->logFileEnable || limit < kSmallestLimit) {
        return;
    }
    // Kept: only one word of the frame counts against the limit, so up to limit + 1 words are
    // written. Hosts size their arrays for that and expect the entries.
    const uint32_t copied = std::min(log->logFileIndex, limit - 1);
    pValues[0] = *pTotal;
    std::copy_n(log->pLogFileData, copied, pValues + 1);
    pValues[copied + 1] = LS_LOGFILE_ITSA_FINISH;
    *pActual = *pTotal;
}

int zdl_LogFileXlatVersion(JTI_ControlId tbcVersion, uint32_t* pLogEntry) {
    RETURN_IF(pLogEntry == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    const bool known = tbcVersion >= 0 && tbcVersion < eJTI_CONTROL_ID_INVALID_LAST;
    *pLogEntry = known ? kControllerKeys[tbcVersion] : uint32_t{RSTLOG_CONTROL_UNKNOWN};
    return eJTI_ERROR_NONE;
}
