#include "host/driver/reset_log.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

namespace talvor {
namespace {

constexpr auto kNumberMark = static_cast<uint32_t>(LS_LOGFILE_ITSA_NUMBER);
constexpr auto kStringMark = static_cast<uint32_t>(LS_LOGFILE_ITSA_STRING);

struct KeyText {
    VexilResetLogIndex key;
    std::string_view text;
};

constexpr std::array kTexts{
    KeyText{RSTLOG_HARD_RST_VIA_SPRT, "a hard reset goes through the support register"},
    KeyText{RSTLOG_SOFT_RST_VIA_SPRT, "a soft reset goes through the support register"},
    KeyText{RSTLOG_SUCCESSFUL_ACCESS, "the controller was reached"},
    KeyText{RSTLOG_USE_ONLY_TBC, "only the test-bus controller is used"},
    KeyText{RSTLOG_USE_NORMAL_CLK_MODE, "the controller runs in normal clock mode"},
    KeyText{RSTLOG_USE_SLOWER_CLK_MODE, "the controller runs in slow clock mode"},
    KeyText{RSTLOG_USE_FASTER_CLK_MODE, "the controller runs in fast clock mode"},
    KeyText{RSTLOG_USE_OUTPUT_EDGE_RISE, "TDO is sampled on the rising edge"},
    KeyText{RSTLOG_USE_OUTPUT_EDGE_FALL, "TDO is sampled on the falling edge"},
    KeyText{RSTLOG_USE_INPUT_EDGE_NOSUPPORT, "the edge of TDI cannot be chosen"},
    KeyText{RSTLOG_EMU0_INPUT_IS_ONE, "EMU0 reads 1"},
    KeyText{RSTLOG_EMU0_INPUT_IS_ZERO, "EMU0 reads 0"},
    KeyText{RSTLOG_EMU1_INPUT_IS_ONE, "EMU1 reads 1"},
    KeyText{RSTLOG_EMU1_INPUT_IS_ZERO, "EMU1 reads 0"},
    KeyText{RSTLOG_PRIOR_POWER_LOSS_YES, "target power had been lost before"},
    KeyText{RSTLOG_PRIOR_POWER_LOSS_NOT, "target power had not been lost before"},
    KeyText{RSTLOG_CURRENT_POWER_LOSS_YES, "target power is lost"},
    KeyText{RSTLOG_CURRENT_POWER_LOSS_NOT, "target power is there"},
    KeyText{RSTLOG_LINK_DELAY_IS_SPECIFIC, "the link delay in test clocks is"},
    KeyText{RSTLOG_SCAN_PATH_TRST_TOGGLE, "TRSTn was pulsed"},
    KeyText{RSTLOG_SCAN_PATH_TRST_NEGATE, "TRSTn was found low and driven high"},
    KeyText{RSTLOG_CONTROL_PROTOTYPE_TBC, "the controller is a prototype"},
    KeyText{RSTLOG_CONTROL_TBC, "the controller is of the basic kind"},
    KeyText{RSTLOG_CONTROL_EXL, "the controller is of the extended kind"},
    KeyText{RSTLOG_CONTROL_DPM, "the controller is of the extended kind with dual-port memory"},
    KeyText{RSTLOG_CONTROL_UNKNOWN, "the controller is of an unknown kind"},
};

std::string text_of(std::span<const uint32_t> words) {
    std::string bytes(words.size_bytes(), '\0');
    std::memcpy(bytes.data(), words.data(), words.size_bytes());
    bytes.resize(std::min(bytes.size(), bytes.find('\0')));
    return bytes;
}

Failure cut_short() {
    return pod_error("reset log", "it ends within an entry");
}

} // namespace

Result<std::vector<ResetLogEntry>> parse_reset_log(std::span<const uint32_t> words) {
    std::vector<ResetLogEntry> entries;
    // The first word is the count.
    size_t at = 1;
    while (at < words.size() && words[at] != LS_LOGFILE_ITSA_FINISH) {
        ResetLogEntry entry;
        if (words[at] == kNumberMark) {
            if (words.size() - at < 3) {
                return cut_short();
            }
            entry.number = words[at + 1];
            at += 2;
        } else if (words[at] == kStringMark) {
            if (words.size() - at < 3 || words[at + 1] > words.size() - at - 3) {
                return cut_short();
            }
            entry.text = text_of(words.subspan(at + 2, words[at + 1]));
            at += 2 + words[at + 1];
        }
        entry.key = words[at++];
        entries.push_back(std::move(entry));
    }
    return entries;
}

Result<std::vector<ResetLogEntry>> reset(Pod& pod, const ResetRequest& request) {
    JSC_ResetAction action{};
    action.resetSoft = request.soft;
    action.resetHard = request.hard;
    action.resetHidden = request.hidden;
    action.trstAssert = request.trst;
    action.trstNegate = request.trst;
    action.verbose = true;
    TRY(pod.run("resetting", &JSC_Interface::Reset, &action));
    // A full read writes one word more than its limit.
    std::array<uint32_t, JSC_RESET_LOG_WORDS + 3> words{};
    bool known = false;
    uint32_t actual = 0;
    uint32_t total = 0;
    TRY(pod.run("reading the reset log", &JSC_Interface::LogFileRead, eJSC_LOGFILE_ID_RESET, &known,
                static_cast<uint32_t>(words.size() - 1), words.data(), &actual, &total));
    return parse_reset_log(std::span(words).first(std::min<size_t>(actual, words.size())));
}

std::string sentence(const ResetLogEntry& entry) {
    const auto* found = std::find_if(kTexts.begin(), kTexts.end(), [&entry](const KeyText& text) {
        return static_cast<uint32_t>(text.key) == entry.key;
    });
    std::string text =
        found == kTexts.end() ? fmt::format("entry {}", entry.key) : std::string(found->text);
    if (entry.number) {
        text += fmt::format(" {}", *entry.number);
    }
    if (entry.text) {
        text += fmt::format(" {}", *entry.text);
    }
    return text;
}

} // namespace talvor
