#include "host/serve/remote_bitbang.h"

#include <fmt/format.h>

#include <string>

namespace talvor {
namespace {

constexpr unsigned kTckPin = 4;
constexpr unsigned kTmsPin = 2;
constexpr unsigned kTdiPin = 1;
constexpr unsigned kTrst = 2;
constexpr unsigned kSrst = 1;
constexpr uint8_t kQuit = 'Q';

// Edges are collected up to so many.
constexpr size_t kCollectedEdges = size_t{1} << 20;

uint8_t digit_of(bool level) {
    return level ? '1' : '0';
}

Failure unknown(uint8_t byte) {
    const std::string shown = byte > ' ' && byte <= '~'
                                  ? fmt::format("'{}'", static_cast<char>(byte))
                                  : fmt::format("the byte 0x{:02x}", byte);
    return refused_error("remote_bitbang", shown + " is no request of a JTAG client");
}

} // namespace

Result<Protocol::Served> RemoteBitbang::serve(std::span<const uint8_t> input, Answer& answer) {
    Served served;
    while (served.bytes < input.size() && !served.over) {
        const uint8_t byte = input[served.bytes++];
        served.over = byte == kQuit;
        if (!served.over) {
            TRY(serve_one(byte, answer));
        }
    }
    TRY(make(answer, !served.over));
    return served;
}

Status RemoteBitbang::serve_one(uint8_t byte, Answer& answer) {
    if (byte >= '0' && byte <= '7') {
        set_pins(byte - static_cast<unsigned>('0'));
        return batch_.size() < kCollectedEdges ? Status() : make(answer, true);
    }
    if (byte >= 'r' && byte <= 'u') {
        return set_resets(byte - static_cast<unsigned>('r'), answer);
    }
    switch (byte) {
    case 'R':
        read(answer);
        return {};
    case 'B':
    case 'b':
    case '\r':
    case '\n':
        return {};
    default:
        return unknown(byte);
    }
}

void RemoteBitbang::set_pins(unsigned pins) {
    if ((pins & ~pins_ & kTckPin) != 0) {
        batch_.push((pins & kTmsPin) != 0, (pins & kTdiPin) != 0);
    }
    pins_ = pins;
}

void RemoteBitbang::read(Answer& answer) {
    const bool high = (pins_ & kTckPin) != 0;
    if (high && batch_.empty()) {
        answer.push_back(digit_of(last_tdo_));
        return;
    }
    reads_.push_back(high ? batch_.size() - 1 : batch_.size());
}

Status RemoteBitbang::set_resets(unsigned resets, Answer& answer) {
    TRY(make(answer, false));
    TRY(port_.set_trst((resets & kTrst) != 0));
    return port_.set_srst((resets & kSrst) != 0);
}

// Its TDO may be asked for yet, also where no TAP drives it.
Status RemoteBitbang::idle() {
    if (batch_.empty()) {
        return {};
    }
    batch_.ask_all();
    Bits tdo;
    TRY(batch_.make(port_, tdo));
    last_tdo_ = tdo[tdo.size() - 1];
    return {};
}

Status RemoteBitbang::make(Answer& answer, bool keep_last) {
    const bool high = (pins_ & kTckPin) != 0 && !batch_.empty();
    const bool last_is_read = !reads_.empty() && reads_.back() + 1 == batch_.size();
    const size_t keep = high && keep_last && !last_is_read ? 1 : 0;
    const size_t made = batch_.size() - keep;
    for (const size_t edge : reads_) {
        if (edge < made) {
            batch_.ask(edge);
        }
    }
    Bits tdo;
    TRY(batch_.make(port_, tdo, keep));
    if (high && keep == 0) {
        last_tdo_ = !last_is_read || tdo[made - 1];
    }
    for (const size_t edge : reads_) {
        answer.push_back(digit_of(edge < made ? tdo[edge] : TRY(port_.tdo())));
    }
    reads_.clear();
    return {};
}

} // namespace talvor
