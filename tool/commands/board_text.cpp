#include "tool/commands/board_text.h"

#include "tool/commands/chain_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <set>

namespace talvor {
namespace {

constexpr const char* kHead =
    "# A board file for talvor, made by 'talvor init' from what it found. The tables [VEXIL] and\n"
    "# [KELM] hold the driver's own keys; docs/board-file.md lists all of them.\n";

std::string key(const std::string& setting, const std::string& about) {
    return fmt::format("{:<25}# {}\n", setting, about);
}

std::string pod_text(const BoardFacts& facts) {
    return "\n[KELM]\n" +
           key("POD_DRVR = \"talvor-pod\"", "names the controller block that hosts share") +
           key(fmt::format("POD_SN = {}", facts.serial), "serial number; 0 is the first pod") +
           key(fmt::format("POD_EMUVERSION = {}", facts.generation),
               "generation: the major number of the pod's revision") +
           key(fmt::format("POD_TCKDIV = {}", facts.clock.divider),
               fmt::format("test clock {}; 'talvor tclk search' finds the highest",
                           frequency_text(static_cast<double>(facts.hertz)))) +
           key(fmt::format("POD_TCKEXP = {}", facts.clock.exponent), "halves it so many times") +
           key(fmt::format("POD_TCKPREDIVENA = {}", facts.clock.predivide),
               "divides the pod's base first");
}

std::string link_text(const BoardFacts& facts) {
    return "\n[VEXIL]\n" + key(fmt::format("LINKDLY = {}", facts.link_delay),
                               "test clocks on the cable; 'talvor link find' finds them");
}

std::string clock_text(const ClockFormula& formula) {
    return fmt::format("\n# Test clock: base / ((POD_TCKDIV + offset) << POD_TCKEXP).\n"
                       "[clock]\nbase_hz = {}\npredivided_hz = {}\noffset = {}\n",
                       formula.base_hz, formula.predivided_hz, formula.offset);
}

// The part in small letters where it is known, else "deviceN"; each name once.
std::string device_name(const PartName& known, size_t number, std::set<std::string>& taken) {
    std::string name;
    for (const char part_letter : known.part) {
        const auto letter = static_cast<unsigned char>(part_letter);
        if (std::isalnum(letter) != 0 || letter == '-' || letter == '_') {
            name += static_cast<char>(std::tolower(letter));
        }
    }
    name = name.empty() ? fmt::format("device{}", number) : name;
    return taken.insert(name).second ? name : fmt::format("{}-{}", name, number);
}

// What is found must not end the comment that it stands in.
std::string one_line(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; }, ' ');
    return text;
}

std::string device_text(const ChainDevice& device, const PartName& known, size_t number,
                        std::set<std::string>& taken) {
    std::string about = fmt::format("IDCODE {}", idcode_text(device.idcode));
    for (const std::string& one : {known.manufacturer, known.part}) {
        about += one.empty() ? "" : ", " + one_line(one);
    }
    std::string text =
        fmt::format("\n[[device]] # {}\nname = \"{}\"\n", about, device_name(known, number, taken));
    text += device.instruction_bits != 0
                ? fmt::format("ir = {}\n", device.instruction_bits)
                : "# ir = 4 # the length of its instruction register, which could not be found\n";
    return text;
}

std::string chain_text(const Result<Chain>& chain, const PartNames& names) {
    if (!chain) {
        return fmt::format("\n# The chain could not be found: {}\n# {}\n",
                           one_line(headline(chain.error())), one_line(chain.error().next_step));
    }
    std::string text = "\n# The chain, nearest TDI first.\n";
    std::set<std::string> taken;
    size_t number = 0;
    for (const ChainDevice& device : chain->devices) {
        const PartName known = device.idcode ? names.find(*device.idcode) : PartName();
        text += device_text(device, known, ++number, taken);
    }
    return text;
}

} // namespace

std::string board_text(const BoardFacts& facts, const PartNames& names) {
    return kHead + pod_text(facts) + link_text(facts) + clock_text(facts.formula) +
           chain_text(facts.chain, names);
}

} // namespace talvor
