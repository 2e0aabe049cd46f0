#include "scan/scan_stream.h"

#include "controller/wait.h"
#include "sys/check.h"
#include "transport/batch_item.h"
#include "transport/batch_run.h"

#include <algorithm>

namespace {

constexpr uint16_t kLeadingOnes = 0xFFFF;
constexpr uint32_t kWordsInFlight = 2; // that the controller's send buffer takes without a wait

// The data words of a shift on their way.
struct Stream {
    JSC_Inform* handle;
    uint16_t wait_word;     // before each word that waits; 0 for a pod that waits by itself
    const uint16_t* source; // next word to send
    uint16_t* destination;  // of the next word received
};

void send_next(Stream& stream) {
    batch_write(stream.handle, TBC_PORT_SEND, *stream.source++);
}

void send_first(Stream& stream, const ScanWords& words) {
    if (words.lead) {
        batch_write(stream.handle, TBC_PORT_SEND, kLeadingOnes);
    } else {
        send_next(stream);
    }
}

void receive(const Stream& stream, uint16_t* destination) {
    if (stream.wait_word != 0) {
        batch_wait(stream.handle, stream.wait_word);
    }
    batch_read(stream.handle, TBC_PORT_RECEIVE, destination);
}

void receive_next(Stream& stream) {
    receive(stream, stream.destination++);
}

// The leading word's place is in the handle, which lives as long as the read may stay listed.
void receive_first(Stream& stream, const ScanWords& words) {
    if (words.lead) {
        receive(stream, &stream.handle->ownReads.discard);
    } else {
        receive_next(stream);
    }
}

// All words but the first few. In each step a word that is ready is waited for, the next one goes
// out, the ready one is read.
void move_rest(Stream& stream, bool sends, bool receives, uint32_t count) {
    if (count == 0) {
        return;
    }
    batch_run(stream.handle, BatchRun{stream.wait_word, sends ? stream.source : nullptr,
                                      receives ? stream.destination : nullptr, count});
    stream.source += sends ? count : 0;
    stream.destination += receives ? count : 0;
}

void send_words(Stream& stream, const ScanWords& words) {
    const uint32_t at_once = std::min(words.count, kWordsInFlight);
    for (uint32_t sent = 0; sent < at_once; ++sent) {
        send_next(stream);
    }
    move_rest(stream, true, false, words.count - at_once);
}

void receive_words(Stream& stream, const ScanWords& words) {
    receive_first(stream, words);
    move_rest(stream, false, true, words.count - 1);
}

// Two words go out first; from then on each word that is ready makes room for the next one out,
// which goes before the read, so that two stay in flight.
void exchange_words(Stream& stream, const ScanWords& words) {
    send_first(stream, words);
    if (words.count > 1) {
        send_next(stream);
    }
    receive_first(stream, words);
    if (words.count > 1) {
        move_rest(stream, true, true, words.count - kWordsInFlight);
        receive_next(stream);
    }
}

using MoveWords = void (*)(Stream& stream, const ScanWords& words);

int32_t run(JSC_Inform* pJscInform, const ScanWords& words, JSC_StatusType status, MoveWords move) {
    Stream stream{pJscInform, wait_word_of_status(pJscInform, status), words.source,
                  words.destination};
    move(stream, words);
    return batch_failure(pJscInform);
}

int32_t run_send(JSC_Inform* pJscInform, const ScanWords& words) {
    const bool waits = words.count > kWordsInFlight;
    return run(pJscInform, words,
               waits ? eJSC_STATUS_TYPE_WR_BUFFER1_ONE : eJSC_STATUS_TYPE_HARMLESS, send_words);
}

int32_t run_receive(JSC_Inform* pJscInform, const ScanWords& words, MoveWords move) {
    return run(pJscInform, words, eJSC_STATUS_TYPE_RD_BUFFER1_ONE, move);
}

} // namespace

bool scan_sends(uint16_t option) {
    return option == TBC_SCAN_SEND || option == TBC_SCAN_BOTH;
}

bool scan_receives(uint16_t option) {
    return (option & TBC_OPTION_RECEIVE) != 0;
}

int32_t scan_stream(JSC_Inform* pJscInform, uint16_t option, const ScanWords& words) {
    switch (option) {
    case TBC_SCAN_ZEROS:
    case TBC_SCAN_ONES:
    case TBC_OPTION_DATA:
        return batch_failure(pJscInform);
    case TBC_SCAN_SEND:
        return run_send(pJscInform, words);
    case TBC_OPTION_RECEIVE:
    case TBC_OPTION_RECEIVE | TBC_OPTION_ONES:
    case TBC_SCAN_RECEIVE:
        return run_receive(pJscInform, words, receive_words);
    case TBC_SCAN_BOTH:
        return run_receive(pJscInform, words, exchange_words);
    default:
        return eJTI_ERROR_SCAN_OPTION;
    }
}
