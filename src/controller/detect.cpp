#include "controller/detect.h"

#include "controller/registers.h"
#include "controller/wait.h"
#include "sys/check.h"
#include "transport/attached.h"
#include "transport/batch.h"
#include "transport/port.h"

#include <cstdio>

namespace {

constexpr uint32_t kLoopWords = 5;

constexpr uint16_t kWordsSent[kLoopWords] = {0xC35A, 0x3CA5, 0xF0F0, 0xA53C, 0x5AC3};
// The same, each reversed end to end.
constexpr uint16_t kWordsExpected[kLoopWords] = {0x5AC3, 0xA53C, 0x0F0F, 0x3CA5, 0xC35A};
constexpr uint16_t kWordsRestored[kLoopWords] = {0x0000, 0x0000, 0xFFFF, 0x0000, 0x0000};

constexpr uint16_t kLoopBitCount = 15;

constexpr uint16_t kHighByte = 0xFF00;
constexpr uint16_t kLowByte = 0x00FF;

// What the words read have in common.
struct LoopFindings {
    bool low_bad = false;   // some low byte is not the expected one
    bool high_bad = false;  // some high byte is not the expected one
    bool high_ones = true;  // all high bytes are ones
    bool low_ones = true;   // all low bytes are ones
    bool high_zeros = true; // all high bytes are zeros
    bool low_zeros = true;  // all low bytes are zeros
};

void set_config(JSC_Inform* pJscInform, uint16_t config) {
    pJscInform->pJscControl->priorConfig = config;
    PortWrite(pJscInform, TBC_PORT_CONFIG, config);
}

void enter_loopback(JSC_Inform* pJscInform) {
    PortWrite(pJscInform, TBC_PORT_COUNT_LOW, kLoopBitCount);
    PortWrite(pJscInform, TBC_PORT_COUNT_HIGH, 0);
    PortWrite(pJscInform, TBC_PORT_CONTROL, TBC_CONTROL_EMPTY);
    set_config(pJscInform, TBC_CONFIG_LOOPBACK);
    PortWrite(pJscInform, TBC_PORT_COMMAND, TBC_COMMAND_LOOPBACK);
    WaitAWhileTbc(pJscInform);
}

int32_t send_words(JSC_Inform* pJscInform, const uint16_t* words) {
    return RegisterWrite(pJscInform, false, true, TBC_PORT_SEND, kLoopWords, words);
}

int32_t receive_words(JSC_Inform* pJscInform) {
    return RegisterRead(pJscInform, false, true, TBC_PORT_RECEIVE, kLoopWords,
                        pJscInform->ownReads.loopback);
}

int32_t leave_loopback(JSC_Inform* pJscInform) {
    const int32_t code = send_words(pJscInform, kWordsRestored);
    PortWrite(pJscInform, TBC_PORT_COMMAND, TBC_COMMAND_RELEASE);
    WaitAWhileTbc(pJscInform);
    set_config(pJscInform, 0);
    PortWrite(pJscInform, TBC_PORT_COUNT_LOW, 0);
    PortWrite(pJscInform, TBC_PORT_COUNT_HIGH, 0);
    PortWrite(pJscInform, TBC_PORT_CONTROL, TBC_CONTROL_EMPTY);
    PortWrite(pJscInform, TBC_PORT_CONTROL, TBC_CONTROL_IDLE);
    return code;
}

LoopFindings compare(const uint16_t* words_read) {
    LoopFindings found;
    for (uint32_t index = 0; index < kLoopWords; ++index) {
        const uint16_t word = words_read[index];
        const int difference = word ^ kWordsExpected[index];
        found.low_bad |= (difference & kLowByte) != 0;
        found.high_bad |= (difference & kHighByte) != 0;
        found.high_ones &= (word & kHighByte) == kHighByte;
        found.low_ones &= (word & kLowByte) == kLowByte;
        found.high_zeros &= (word & kHighByte) == 0;
        found.low_zeros &= (word & kLowByte) == 0;
    }
    return found;
}

// The order of the rules settles which code a word pattern gets that matches several.
int32_t verdict(const LoopFindings& found) {
    if (!found.low_bad && found.high_zeros) {
        return !found.high_bad && found.low_zeros ? eJTI_ERROR_LOOP_LOW_ZEROS
                                                  : eJTI_ERROR_LOOP_HIGH_ZEROS;
    }
    RETURN_IF(!found.high_bad && found.low_zeros, eJTI_ERROR_LOOP_LOW_ZEROS);
    RETURN_IF(!found.high_bad && found.low_ones, eJTI_ERROR_LOOP_LOW_ONES);
    RETURN_IF(!found.low_bad && found.high_ones, eJTI_ERROR_LOOP_HIGH_ONES);
    RETURN_IF(found.high_bad || found.low_bad, eJTI_ERROR_LOOP_CORRUPT);
    return eJTI_ERROR_NONE;
}

void print_pairs(const uint16_t* words_read) {
    for (uint32_t index = 0; index < kLoopWords; ++index) {
        std::printf("%04x %04x\n", words_read[index], kWordsExpected[index]);
    }
}

} // namespace

int32_t CheckCtlrExist(JSC_Inform* pJscInform) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    enter_loopback(pJscInform);
    // The words of the first round are whatever the path held.
    RETURN_ON_ERROR(receive_words(pJscInform));
    RETURN_ON_ERROR(send_words(pJscInform, kWordsSent));
    RETURN_ON_ERROR(receive_words(pJscInform));
    const uint16_t* const words_read = pJscInform->ownReads.loopback;
    const int32_t result = verdict(compare(words_read));
    if (result == eJTI_ERROR_LOOP_CORRUPT) {
        print_pairs(words_read);
    }
    RETURN_ON_ERROR(leave_loopback(pJscInform));
    return result;
}

JTI_ControlId CheckCtlrVersion(JSC_Inform* pJscInform) {
    RETURN_IF(check_attached(pJscInform) != eJTI_ERROR_NONE, eJTI_CONTROL_ID_OBSOLETE);
    uint16_t& version = pJscInform->ownReads.word;
    version = 0;
    PortWrite(pJscInform, TBC_PORT_COMMAND, TBC_COMMAND_VERSION);
    WaitAWhileTbc(pJscInform);
    if (PortRead(pJscInform, TBC_PORT_VERSION, &version) != eJTI_ERROR_NONE ||
        qel_PerformIo(pJscInform) != eJTI_ERROR_NONE) {
        return eJTI_CONTROL_ID_OBSOLETE;
    }
    PortWrite(pJscInform, TBC_PORT_COMMAND, TBC_COMMAND_RELEASE);
    return static_cast<JTI_ControlId>(version & TBC_VERSION_MASK);
}
