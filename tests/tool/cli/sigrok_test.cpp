// Another program sees in a waveform what talvor sees.
#include "host/waveform/vcd.h"
#include "program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace talvor::cli {
namespace {

// As sigrok's decoder writes it: path, line, the last bit first.
std::string line_of(const waveform::ShiftRun& shift, const char* line, const Bits& bits) {
    std::string text = std::string(shift.path == ScanPath::Dr ? "DR " : "IR ") + line + ": ";
    for (size_t i = bits.size(); i-- > 0;) {
        text += bits[i] ? '1' : '0';
    }
    return text;
}

std::vector<std::string> scans_of(const std::string& vcd) {
    std::vector<std::string> lines;
    const auto wave = waveform::read_vcd_file(vcd);
    EXPECT_TRUE(wave);
    for (const waveform::ShiftRun& shift : waveform::shift_runs(*wave)) {
        lines.push_back(line_of(shift, "TDI", shift.tdi));
        lines.push_back(line_of(shift, "TDO", shift.tdo));
    }
    return lines;
}

test_support::ProgramResult sigrok(const std::vector<std::string>& arguments) {
    std::vector<std::string> command{"sigrok-cli"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return test_support::run_program(command);
}

// "jtag-1: DR TDI: 1010 (0xa), 4 bits"; what goes by Shift is a scan of no bits to it.
std::vector<std::string> scans_in(const std::string& decoded) {
    std::vector<std::string> scans;
    std::istringstream lines(decoded);
    for (std::string line; std::getline(lines, line);) {
        const std::string prefix = "jtag-1: ";
        const size_t end = line.find(" (0x");
        if (line.starts_with(prefix) && end != std::string::npos && line[end - 1] != ' ') {
            scans.push_back(line.substr(prefix.size(), end - prefix.size()));
        }
    }
    return scans;
}

// The decoder makes one scan of what Pause states part, so nothing is asked for here: such a scan
// goes out in one piece.
TEST(SigrokTest, SeesTheScansThatTalvorSees) {
    if (test_support::run_program({"sh", "-c", "command -v sigrok-cli"}).status != 0) {
        GTEST_SKIP() << "sigrok-cli is not installed";
    }
    const std::string svf = file_with("scans.svf", "STATE RESET;\nSIR 33 TDI (1ABCDEF01);\n"
                                                   "SDR 65 TDI (10123456789ABCDEF);\n"
                                                   "STATE RESET;\nSDR 130 TDI (0);\n"
                                                   "SDR 1 TDI (1);\n");
    for (const bool plain : {false, true}) {
        const std::string vcd = file_with("scans.vcd", "");
        std::vector<std::string> trace{"trace", "--vcd", vcd, "--count", "1"};
        if (plain) {
            trace.emplace_back("--vcd-plain");
        }
        trace.insert(trace.end(), {"svf", svf});
        const Outcome outcome = talvor(trace);
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        const auto decoded =
            sigrok({"-I", "vcd", "-i", vcd, "-P", "jtag:tck=tck:tms=tms:tdi=tdi:tdo=tdo", "-A",
                    "jtag=bitstring-tdi:bitstring-tdo"});
        EXPECT_EQ(decoded.status, 0) << decoded.errors;
        const std::vector<std::string> scans = scans_in(decoded.output);
        EXPECT_EQ(scans.size(), 8U) << decoded.output;
        EXPECT_THAT(scans, testing::UnorderedElementsAreArray(scans_of(vcd)));
        if (plain) {
            EXPECT_EQ(decoded.errors, "");
        }
    }
}

TEST(SigrokTest, APlainFileWantsAName) {
    const Outcome outcome = talvor({"trace", "--vcd-plain", "chain"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "talvor: --vcd-plain: there is no file that it is about\n"
                           "  next: name one with --vcd\n");
}

} // namespace
} // namespace talvor::cli
