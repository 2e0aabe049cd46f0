// Makes traces: a little TAP in a value change dump.
#pragma once

#include "common/tap_state.h"
#include "host/jtag/bits.h"

#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace talvor::waveform {

// Writes one TCK after the other as the simulated pod does: TMS, TDI and TDO change when TCK falls,
// the state when it rises. The TAP starts in Test-Logic-Reset.
class Trace {
public:
    explicit Trace(bool with_state = true) : with_state_(with_state) {
        text_ = "$date today $end\n$version a pod $end\n$timescale 1 ns $end\n"
                "$scope module jtag $end\n"
                "$var wire 1 ! tck $end\n$var wire 1 \" tms $end\n$var wire 1 # tdi $end\n"
                "$var wire 1 $ tdo $end\n$var wire 1 % trstn $end\n$var wire 1 & emu0 $end\n"
                "$var wire 1 ' emu1 $end\n$var wire 1 ( treset $end\n";
        if (with_state) {
            text_ += "$var reg 4 ) tap_state [3:0] $end\n$var string 1 * tap_state_name $end\n";
        }
        text_ += "$upscope $end\n$enddefinitions $end\n#0\n$dumpvars\n0!\n1\"\n1#\n1$\n1%\n1&\n1'"
                 "\n0(\n";
        state_change();
        text_ += "$end\n";
    }

    Trace& clock(bool tms, bool tdi = true, bool tdo = true) {
        text_ +=
            fmt::format("#{}\n0!\n{}\"\n{}#\n{}$\n", now_, tms ? 1 : 0, tdi ? 1 : 0, tdo ? 1 : 0);
        now_ += kPeriod / 2;
        state_ = next_state(state_, tms);
        text_ += fmt::format("#{}\n1!\n", now_);
        state_change();
        now_ += kPeriod / 2;
        return *this;
    }
    // TMS as written: "01100".
    Trace& moves(std::string_view tms) {
        for (const char level : tms) {
            clock(level == '1');
        }
        return *this;
    }
    // From a Shift state to Exit1.
    Trace& shift(const Bits& tdi, const Bits& tdo) {
        for (size_t i = 0; i < tdi.size(); ++i) {
            clock(i + 1 == tdi.size(), tdi[i], tdo[i]);
        }
        return *this;
    }
    Trace& shift(uint64_t tdi, uint64_t tdo, size_t length) {
        return shift(Bits::from_uint(tdi, length), Bits::from_uint(tdo, length));
    }
    Trace& rest(uint64_t ns) {
        text_ += fmt::format("#{}\n0!\n", now_);
        now_ += ns;
        return *this;
    }
    // '%' TRSTn, '&' EMU0, '\'' EMU1, '(' target reset.
    Trace& pin(char code, bool level) {
        text_ += fmt::format("#{}\n{}{}\n", now_, level ? 1 : 0, code);
        if (code == '%' && !level) {
            state_ = TapState::TestLogicReset;
            state_change();
        }
        return *this;
    }

    [[nodiscard]] std::string text() const { return text_ + fmt::format("#{}\n0!\n", now_); }

    static constexpr uint64_t kPeriod = 100;

private:
    void state_change() {
        if (with_state_) {
            text_ +=
                fmt::format("b{:04b} )\ns{} *\n", static_cast<unsigned>(state_), name_of(state_));
        }
    }

    bool with_state_;
    std::string text_;
    uint64_t now_ = 0;
    TapState state_ = TapState::TestLogicReset;
};

} // namespace talvor::waveform
