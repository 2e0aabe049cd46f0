// The rules of a scan, written down once more and word by word: what a scan puts on the wire and
// into the host's buffer. It knows the wire format and nothing of the engine.
#pragma once

#include "jsc_export.h"

#include <cstdint>
#include <string>
#include <vector>

namespace scan_rules {

using Words = std::vector<uint16_t>;

enum class Kind { Zeros, Ones, Send, Both, Receive };

struct ScanCase {
    Kind kind = Kind::Zeros;
    bool ir = false;
    uint32_t bits = 1;
    JSC_JtagState end = eJSC_JTAG_STATE_IDLE;
    JSC_JtagAmble amble = eJSC_JTAG_AMBLE_NEITHER;
    bool adjust = false;
    uint32_t repeat = 1;
    bool reuse = false;
    JSC_JtagWidth width = eJSC_JTAG_WIDTH_16;
    JSC_JtagTransit before = eJSC_JTAG_TRANSIT_QUICKEST;
    JSC_JtagTransit after = eJSC_JTAG_TRANSIT_QUICKEST;
};

// The board that a scan is made on.
struct Board {
    uint32_t pre_ir = 3;
    uint32_t pos_ir = 5;
    uint32_t pre_dr = 2;
    uint32_t pos_dr = 7;
    uint16_t config = 0x0083; // priorConfig
    bool host_waits = true;   // the batch holds the status waits
    bool settles = false;     // an old pod with a slow clock
    uint16_t revision = 0x0100;
};

inline uint16_t source_word(uint32_t index) {
    return static_cast<uint16_t>(index * 40503U + 0x1234U);
}

inline uint16_t received_word(uint32_t index) {
    return static_cast<uint16_t>(~index * 30011U);
}

// What a scan must put on the wire, and into the host's buffer. The words are without the two of an
// empty batch, and without markers; a block has no end here.
class Generator {
public:
    Generator(const ScanCase& scan, const Board& board, uint32_t buffer_words)
        : destination(buffer_words, kUntouched), scan_(scan), board_(board) {
        make();
    }

    static constexpr uint16_t kUntouched = 0xDEAD;

    std::vector<Words> batches; // flushed ones, then what is left queued
    Words destination;

private:
    const ScanCase& scan_;
    const Board& board_;
    uint16_t cache_[16] = {};
    Words now_;
    uint32_t received_ = 0;

    void put(unsigned word) { now_.push_back(static_cast<uint16_t>(word)); }

    void write(unsigned port, unsigned value) {
        if (port < 16 && port != 10 && cache_[port] == value) {
            return;
        }
        if (port < 16) {
            cache_[port] = static_cast<uint16_t>(value);
        }
        put(0x4000U | port);
        put(value);
        if (port == 23 && board_.settles) {
            put(0x4010);
            put(0);
        }
    }

    void wait_done() { put(0x9011); }

    void wait_buffer(unsigned word) {
        if (board_.host_waits) {
            put(word);
        }
    }

    void go_to(JSC_JtagTransit transit, unsigned state) {
        if (transit == eJSC_JTAG_TRANSIT_QUICKEST) {
            return;
        }
        wait_done();
        write(11, (transit == eJSC_JTAG_TRANSIT_VIA_IDLE ? 0x20E0U : 0x1000U) | state);
        write(10, 0x4080);
    }

    void launch(unsigned state, unsigned option, uint32_t value) {
        write(12, value & 0xFFFF);
        write(13, value >> 16);
        wait_done();
        write(11, 0x3000U | state);
        write(4, option | board_.config);
        write(10, 0x6001);
        write(10, 0x4080);
    }

    unsigned path_flag() const { return scan_.ir ? 8 : 0; }
    unsigned pause() const { return scan_.ir ? 15 : 6; }

    unsigned end_code() const {
        switch (scan_.end) {
        case eJSC_JTAG_STATE_RESET:
            return 0;
        case eJSC_JTAG_STATE_IDLE:
            return 2;
        case eJSC_JTAG_STATE_PAUSE_DR:
            return 6;
        default:
            return 7;
        }
    }

    uint32_t preamble() const {
        const bool on =
            scan_.amble == eJSC_JTAG_AMBLE_PREAMBLE || scan_.amble == eJSC_JTAG_AMBLE_BOTH;
        return on ? (scan_.ir ? board_.pre_ir : board_.pre_dr) : 0;
    }

    uint32_t postamble() const {
        const bool on =
            scan_.amble == eJSC_JTAG_AMBLE_POSTAMBLE || scan_.amble == eJSC_JTAG_AMBLE_BOTH;
        return on ? (scan_.ir ? board_.pos_ir : board_.pos_dr) : 0;
    }

    void read_word(uint32_t* slot) {
        put(22);
        const uint16_t value = received_word(received_++);
        if (slot != nullptr) {
            destination[(*slot)++] = value;
        }
    }

    void flush() {
        batches.push_back(now_);
        now_.clear();
        batches.back().insert(batches.back().end(), {31, 16, 17});
    }

    void fixed_repeat() {
        const unsigned end = path_flag() | end_code();
        if (scan_.kind == Kind::Ones) {
            launch(end, 0x0100, preamble() + scan_.bits + postamble() - 1);
            return;
        }
        if (preamble() > 0) {
            launch(pause(), 0x0100, preamble() - 1);
        }
        launch(postamble() > 0 ? pause() : end, 0x0000, scan_.bits - 1);
        if (postamble() > 0) {
            launch(end, 0x0100, postamble() - 1);
        }
    }

    void data_repeat(uint32_t source, uint32_t slot) {
        const bool sends = scan_.kind != Kind::Receive;
        const bool receives = scan_.kind != Kind::Send;
        const unsigned option = sends && receives ? 0x0700 : sends ? 0x0300 : 0x0600;
        const unsigned end = path_flag() | end_code();
        if (preamble() > 0) {
            launch(pause(), 0x0100, preamble() + (scan_.adjust ? 15 : -1U));
        }
        const bool lead = receives && scan_.adjust && preamble() == 0;
        launch(postamble() > 0 ? pause() : end, option, scan_.bits + (lead ? 15 : -1U));
        const uint32_t data = (scan_.bits + 15) / 16;
        const uint32_t words = data + (lead ? 1 : 0);
        uint32_t sent = 0;
        const auto send = [&] {
            if (sends && sent < words) {
                const bool leading = lead && sent == 0;
                write(23, leading ? 0xFFFF : source_word(source + sent - (lead ? 1 : 0)));
                ++sent;
            }
        };
        send();
        if (receives) {
            send();
            for (uint32_t word = 0; word < words; ++word) {
                wait_buffer(0x8812);
                if (word > 0) {
                    send();
                }
                read_word(lead && word == 0 ? nullptr : &slot);
            }
            flush();
        } else {
            while (sent < words) {
                if (sent > 1) {
                    wait_buffer(0x8012);
                }
                send();
            }
        }
        if (postamble() > 0) {
            launch(end, 0x0100, postamble() - 1);
        }
    }

    void make() {
        const bool fixed = scan_.kind == Kind::Zeros || scan_.kind == Kind::Ones;
        const uint32_t step =
            scan_.width == eJSC_JTAG_WIDTH_32 ? (scan_.bits + 31) / 32 * 2 : (scan_.bits + 15) / 16;
        for (uint32_t turn = 0; turn < scan_.repeat; ++turn) {
            go_to(scan_.before, scan_.ir ? 7 : 6);
            if (fixed) {
                fixed_repeat();
            } else {
                data_repeat(scan_.reuse ? 0 : turn * step, turn * step);
            }
            go_to(scan_.after, end_code());
        }
        batches.push_back(now_);
    }
};

inline JSC_JtagCommand command_of(const ScanCase& scan) {
    JSC_JtagCommand command{};
    command.jtagBefore = scan.before;
    command.jtagShift = scan.ir ? eJSC_JTAG_SHIFT_IR : eJSC_JTAG_SHIFT_DR;
    command.jtagAfter = scan.after;
    command.jtagEnd = scan.end;
    command.jtagDelay = eJSC_JTAG_DELAY_USE_END;
    command.jtagAmble = scan.amble;
    command.jtagUsage = scan.reuse ? eJSC_JTAG_USAGE_REUSE : eJSC_JTAG_USAGE_FRESH;
    command.jtagWidth = scan.width;
    command.jtagAdjust = scan.adjust ? eJSC_JTAG_ADJUST_AUTO : eJSC_JTAG_ADJUST_USER;
    return command;
}

inline std::string describe(const ScanCase& scan) {
    return "kind " + std::to_string(static_cast<int>(scan.kind)) + (scan.ir ? " IR " : " DR ") +
           std::to_string(scan.bits) + " bits, end " + std::to_string(scan.end) + ", amble " +
           std::to_string(scan.amble) + (scan.adjust ? ", adjusted" : "") + ", repeat " +
           std::to_string(scan.repeat) + (scan.reuse ? " reuse" : " fresh") + ", width " +
           std::to_string(scan.width) + ", before " + std::to_string(scan.before) + ", after " +
           std::to_string(scan.after);
}

} // namespace scan_rules
