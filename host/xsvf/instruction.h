// The instructions of an XSVF file, as the application note that describes the format lists them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace talvor::xsvf {

// The numbers are the bytes in the file; 0x05 and 0x06 mean nothing.
enum class Opcode : uint8_t {
    Complete = 0x00,
    TdoMask = 0x01,
    Sir = 0x02,
    Sdr = 0x03,
    RunTest = 0x04,
    Repeat = 0x07,
    SdrSize = 0x08,
    SdrTdo = 0x09,
    SetSdrMasks = 0x0A,
    SdrInc = 0x0B,
    SdrB = 0x0C,
    SdrC = 0x0D,
    SdrE = 0x0E,
    SdrTdoB = 0x0F,
    SdrTdoC = 0x10,
    SdrTdoE = 0x11,
    State = 0x12,
    EndIr = 0x13,
    EndDr = 0x14,
    Sir2 = 0x15,
    Comment = 0x16,
    Wait = 0x17,
};
inline constexpr size_t kOpcodes = 0x18;

inline constexpr std::array<std::string_view, kOpcodes> kInstructionNames{
    "XCOMPLETE", "XTDOMASK", "XSIR",         "XSDR",    "XRUNTEST", "",      "",         "XREPEAT",
    "XSDRSIZE",  "XSDRTDO",  "XSETSDRMASKS", "XSDRINC", "XSDRB",    "XSDRC", "XSDRE",    "XSDRTDOB",
    "XSDRTDOC",  "XSDRTDOE", "XSTATE",       "XENDIR",  "XENDDR",   "XSIR2", "XCOMMENT", "XWAIT"};

[[nodiscard]] constexpr std::string_view name(Opcode opcode) noexcept {
    return kInstructionNames[static_cast<size_t>(opcode)];
}

} // namespace talvor::xsvf
