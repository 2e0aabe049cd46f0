#include "host/driver/error_text.h"

#include "host/board/configuration.h"
#include "jti_typedef.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace talvor {
namespace {

constexpr std::string_view kBoardStep =
    "correct the key in the board file; docs/board-file.md lists what each key takes";
constexpr std::string_view kCableStep = "check that the pod's cable is plugged in at both ends";
constexpr std::string_view kPodStep =
    "unplug the pod and plug it in again; when it happens again, the pod needs service";
constexpr std::string_view kToolStep = "this is an error of this program; please report it";
constexpr std::string_view kProxyLogStep = "look at the proxy's log for the reason";
constexpr std::string_view kHandleStep =
    "run 'talvor doctor': it says whether another host uses the pod or left it unfinished";

constexpr auto kPod = ErrorKind::Pod;
constexpr auto kRefused = ErrorKind::Refused;
constexpr auto kFile = ErrorKind::BadFile;

#define TALVOR_CODE(name) name, #name

constexpr std::array kCodes{
    CodeText{TALVOR_CODE(eJTI_ERROR_TRANSPORT), "the pod's channel could not be opened",
             "start a pod proxy, or use --simulate", kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_SCAN_OPTION), "the scan's options are unknown", kToolStep,
             kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_HANDLE_STATE),
             "the handle is in the wrong state, or the controller's use counters are inconsistent",
             kHandleStep, kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_NOT_OFFERED), "this controller does not offer the operation",
             "", kRefused},
    CodeText{TALVOR_CODE(eJTI_ERROR_BAD_ARGUMENT), "an argument was refused", "", kRefused},
    CodeText{TALVOR_CODE(eJTI_ERROR_NO_MEMORY), "there is no memory left", "close other programs",
             kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_NO_RELEASE), "a configuration record could not be released",
             kToolStep, kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_BATCH_FAILED), "the proxy could not execute a batch",
             kProxyLogStep, kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_POD_OPEN), "the pod could not be opened",
             "run 'talvor info' to see the pods that the proxy has", kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_POD_SETUP), "the pod's set-up could not be sent", kProxyLogStep,
             kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_SHARED_BLOCK),
             "the shared controller block could not be named, opened, sized or mapped",
             "set KELM.POD_DRVR in the board file; if it is set, a block of a wrong size stands in "
             "/dev/shm: remove it",
             kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_REGISTER_RANGE), "the controller has no such register",
             "basic controllers have registers 0 to 23, the others 0 to 31", kRefused},
    CodeText{TALVOR_CODE(eJTI_ERROR_LOOP_CORRUPT),
             "the controller's loop-back test got wrong words", kPodStep, kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_LOOP_HIGH_ONES),
             "in the controller's loop-back test the high byte is stuck at ones", kPodStep, kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_LOOP_LOW_ONES),
             "in the controller's loop-back test the low byte is stuck at ones", kPodStep, kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_LOOP_HIGH_ZEROS),
             "in the controller's loop-back test the high byte reads zero", kPodStep, kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_LOOP_LOW_ZEROS),
             "in the controller's loop-back test the low byte reads zero", kPodStep, kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_NO_POWER), "the target has no power",
             "switch the target on and check that the cable carries its supply to the pod", kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_NO_CLOCK), "the target returns no test clock",
             "check the return-clock line of the cable and the target's clock", kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_CABLE_NEAR), "the cable is broken near the pod", kCableStep,
             kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_CABLE_FAR), "the cable is broken far from the pod", kCableStep,
             kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_SUPPORT_WRITE), "the proxy refused a support-register write",
             kProxyLogStep, kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_CONTROLLER_KIND),
             "the pod's generation and its revision are at odds, or its controller is of a kind "
             "that cannot be driven",
             "set KELM.POD_EMUVERSION to the major revision that 'talvor info' shows", kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_JTAG_BOOT_MODE), "VEXIL.JTAGBOOT_MODE is not one of its words",
             kBoardStep, kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_JTAG_BOOT_VALUE),
             "VEXIL.JTAGBOOT_VALUE is not one of its words", kBoardStep, kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_POWER_BOOT_MODE),
             "VEXIL.POWERBOOT_MODE is not one of its words", kBoardStep, kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_POWER_BOOT_VALUE),
             "VEXIL.POWERBOOT_VALUE is not one of its words", kBoardStep, kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_EMU_OUTPUT_MODE),
             "VEXIL.EMUOUTPUT_MODE is not one of its words", kBoardStep, kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_EMU_OUTPUT_VALUE),
             "VEXIL.EMUOUTPUT_VALUE is not one of its words", kBoardStep, kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_LOOP_BACK_MODE), "VEXIL.LOOPBACK_MODE is not one of its words",
             kBoardStep, kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_LOOP_BACK_VALUE),
             "VEXIL.LOOPBACK_VALUE is not one of its words", kBoardStep, kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_BOOT_PIN_MAP), "VEXIL.BOOT_PINMAP is not one of its words",
             kBoardStep, kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_SCAN_BITS), "VEXIL.TCLK_SCAN_BITS is outside 1024 to 524288",
             kBoardStep, kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_IR_SIZE), "VEXIL.TCLK_PATH_IRSIZE is above 524288", kBoardStep,
             kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_DR_SIZE), "VEXIL.TCLK_PATH_DRSIZE is above 524288", kBoardStep,
             kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_TCLK_PROGRAM), "VEXIL.TCLK_PROGRAM is not one of its words",
             kBoardStep, kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_TCLK_BEGINNING),
             "VEXIL.TCLK_BEGINNING is neither a word nor a frequency", kBoardStep, kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_TCLK_FREQUENCY),
             "VEXIL.TCLK_FREQUENCY is neither a word nor a frequency", kBoardStep, kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_TCLK_ADVANCE), "VEXIL.TCLK_ADVANCE is no number from 1 to 63",
             kBoardStep, kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_TCLK_RETREAT), "VEXIL.TCLK_RETREAT is no number from 1 to 63",
             kBoardStep, kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_TCLK_REFERENCE),
             "VEXIL.TCLK_REFERENCE is neither a word nor a frequency", kBoardStep, kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_TCLK_INITIAL),
             "VEXIL.TCLK_INITIAL is neither a word nor true or false", kBoardStep, kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_TCLK_TERMINAL),
             "VEXIL.TCLK_TERMINAL is neither a word nor true or false", kBoardStep, kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_TCLK_TESTMODE), "VEXIL.TCLK_TESTMODE is not one of its words",
             kBoardStep, kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_TCLK_OVERFLOW), "VEXIL.TCLK_OVERFLOW is not one of its words",
             kBoardStep, kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_POD_RANGE), "a KELM.POD_ value is out of its range", kBoardStep,
             kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_PATH_LENGTH),
             "a driver path or serial name is longer than 256 characters", kBoardStep, kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_CONTROLLER_VALUE),
             "an edge, a link delay, an end delay, an isolation word or a number is no good",
             kBoardStep, kFile},
    CodeText{TALVOR_CODE(eJTI_ERROR_SEARCH_REQUEST),
             "the frequency search was asked for an unknown phase", kToolStep, kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_LOG_FULL), "the reset log is full", kToolStep, kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_TABLE_DELETED), "the operation table was deleted", kToolStep,
             kPod},
    CodeText{TALVOR_CODE(eJTI_ERROR_PROPERTY), "the library's description is inconsistent",
             "the library file is damaged; install it again", kPod},
    CodeText{HostErrorNotCalled, "eHOST_ERROR_NOT_CALLED",
             "the library called a configuration operation that it never calls",
             "library and tool do not belong together; install them from one build", kPod},
    CodeText{HostErrorBadEntry, "eHOST_ERROR_BAD_ENTRY",
             "the library asked for an entry that does not exist",
             "library and tool do not belong together; install them from one build", kPod},
    CodeText{HostErrorNotANumber, "eHOST_ERROR_NOT_A_NUMBER", "the value is no number of 32 bits",
             "write a decimal number, or a hexadecimal one with 0x", kFile},
    CodeText{HostErrorNotABoolean, "eHOST_ERROR_NOT_A_BOOLEAN",
             "the value is neither true nor false", "write true or false", kFile},
};

#undef TALVOR_CODE

} // namespace

const CodeText* find_code(int32_t code) noexcept {
    const auto* found = std::find_if(kCodes.begin(), kCodes.end(),
                                     [code](const CodeText& text) { return text.code == code; });
    return found == kCodes.end() ? nullptr : found;
}

std::span<const CodeText> all_codes() noexcept {
    return kCodes;
}

std::string code_label(int32_t code) {
    const CodeText* text = find_code(code);
    return text == nullptr ? fmt::format("{}", code) : fmt::format("{} {}", code, text->name);
}

Failure library_error(std::string thing, int32_t code) {
    const CodeText* text = find_code(code);
    if (text == nullptr) {
        return Failure({ErrorKind::Pod, code, std::move(thing),
                        fmt::format("the library answered the unknown code {}", code), ""});
    }
    return Failure({text->kind, code, std::move(thing),
                    fmt::format("{} ({})", text->sentence, code_label(code)),
                    std::string(text->next_step)});
}

} // namespace talvor
