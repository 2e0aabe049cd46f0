#include "scan/scan_stream.h"

#include "controller/wait.h"
#include "sys/check.h"
#include "transport/batch.h"
#include "transport/batch_cursor.h"

namespace {

constexpr uint16_t kLeadingOnes = 0xFFFF;
constexpr uint32_t kWordsInFlight = 2; // that the controller's send buffer takes without a wait

// A run of data words. The loops below are the hot ones of the driver: they work on the cursor, so
// that a word costs a few stores.
struct Stream {
    BatchCursor cursor;
    uint16_t wait_word;     // before each word that waits; 0 for a pod that waits by itself
    const uint16_t* source; // next word to send
    uint16_t* destination;  // of the next word received
};

inline void wait_for_buffer(Stream& stream) {
    if (stream.wait_word != 0) {
        cursor_wait(stream.cursor, stream.wait_word);
    }
}

inline void send_next(Stream& stream) {
    cursor_write(stream.cursor, TBC_PORT_SEND, *stream.source++);
}

inline void receive_next(Stream& stream) {
    cursor_read(stream.cursor, TBC_PORT_RECEIVE, stream.destination++);
}

inline void send_first(Stream& stream, const ScanWords& words) {
    if (words.lead) {
        cursor_write(stream.cursor, TBC_PORT_SEND, kLeadingOnes);
    } else {
        send_next(stream);
    }
}

// The leading word's place is in the handle, which lives as long as the read may stay listed.
inline void receive_first(Stream& stream, const ScanWords& words) {
    wait_for_buffer(stream);
    if (words.lead) {
        cursor_read(stream.cursor, TBC_PORT_RECEIVE, &stream.cursor.handle->ownReads.discard);
    } else {
        receive_next(stream);
    }
}

void send_words(Stream& stream, const ScanWords& words) {
    for (uint32_t sent = 0; sent < words.count; ++sent) {
        if (sent >= kWordsInFlight) {
            wait_for_buffer(stream);
        }
        send_next(stream);
    }
}

void receive_words(Stream& stream, const ScanWords& words) {
    receive_first(stream, words);
    for (uint32_t received = 1; received < words.count; ++received) {
        wait_for_buffer(stream);
        receive_next(stream);
    }
}

// Two words go out first; from then on each word that is ready makes room for the next one out,
// which goes before the read, so that two stay in flight.
void exchange_words(Stream& stream, const ScanWords& words) {
    send_first(stream, words);
    if (words.count > 1) {
        send_next(stream);
    }
    receive_first(stream, words);
    for (uint32_t sent = kWordsInFlight; sent < words.count; ++sent) {
        wait_for_buffer(stream);
        send_next(stream);
        receive_next(stream);
    }
    if (words.count > 1) {
        wait_for_buffer(stream);
        receive_next(stream);
    }
}

using MoveWords = void (*)(Stream& stream, const ScanWords& words);

int32_t run(JSC_Inform* pJscInform, const ScanWords& words, JSC_StatusType status, MoveWords move) {
    Stream stream{BatchCursor{}, wait_word_of_status(pJscInform, status), words.source,
                  words.destination};
    stream.cursor = cursor_open(pJscInform);
    move(stream, words);
    cursor_close(stream.cursor);
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
