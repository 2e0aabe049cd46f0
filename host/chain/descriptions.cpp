#include "host/chain/descriptions.h"

#include "common/bsdl/reader.h"
#include "common/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

namespace talvor {
namespace {

namespace fs = std::filesystem;

constexpr size_t kVersionBits = 4; // of an IDCODE, the first of its text

bool is_bsdl_name(const fs::path& path) {
    const std::string extension = path.extension().string();
    return same_name(extension, ".bsd") || same_name(extension, ".bsdl");
}

// The files of a folder, sorted by name.
Result<std::vector<std::string>> files_of(const std::string& folder) {
    std::error_code fault;
    std::vector<std::string> paths;
    for (fs::directory_iterator at(folder, fault), end; !fault && at != end; at.increment(fault)) {
        if (is_bsdl_name(at->path())) {
            paths.push_back(at->path().string());
        }
    }
    if (fault) {
        return file_error(folder, fmt::format("cannot be read: {}", fault.message()));
    }
    if (paths.empty()) {
        return file_error(folder, "there is no BSDL file in it",
                          "it needs files that end in .bsd or .bsdl");
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

// How many bits of the first code that fits are open; nothing when none fits.
std::optional<size_t> open_bits(const bsdl::Device& device, const IdCode& code) {
    for (const bsdl::Pattern& pattern : device.idcodes) {
        if (pattern.matches(code.value)) {
            return static_cast<size_t>(std::count(pattern.text.begin(), pattern.text.end(), 'X'));
        }
    }
    return std::nullopt;
}

std::string codes_text(const std::vector<bsdl::Pattern>& codes) {
    std::vector<std::string> texts;
    for (const bsdl::Pattern& code : codes) {
        texts.push_back(code_text(code));
    }
    return fmt::format("{}", fmt::join(texts, " or "));
}

// Whether one of the codes is that of the same part, in another version.
bool is_other_version(const std::vector<bsdl::Pattern>& codes, const IdCode& code) {
    return std::any_of(codes.begin(), codes.end(), [&code](const bsdl::Pattern& pattern) {
        bsdl::Pattern any_version = pattern;
        any_version.text.replace(0, kVersionBits, kVersionBits, 'X');
        return any_version.matches(code.value);
    });
}

void check_code(const ChainDevice& device, DescriptionCheck& check) {
    const std::vector<bsdl::Pattern>& codes = device.description->idcodes;
    if (!device.idcode) {
        if (codes.empty()) {
            check.matches.emplace_back("no IDCODE");
        } else {
            check.same_part = false;
            check.contradictions.push_back(
                fmt::format("it has no IDCODE, the file says {}", codes_text(codes)));
        }
    } else if (open_bits(*device.description, *device.idcode)) {
        check.matches.emplace_back("IDCODE");
    } else {
        check.same_part = is_other_version(codes, *device.idcode);
        check.contradictions.push_back(
            fmt::format("its IDCODE is 0x{:08X}, the file says {}", device.idcode->value,
                        codes.empty() ? "that it has none" : codes_text(codes)));
    }
}

// What a device captured, written as a pattern is.
std::string captured_bits(const Bits& capture) {
    std::string text(capture.size(), '0');
    for (size_t i = 0; i < capture.size(); ++i) {
        text[capture.size() - 1 - i] = capture[i] ? '1' : '0';
    }
    return text;
}

bool fits(const bsdl::Pattern& pattern, const std::string& bits) {
    return pattern.text.size() == bits.size() &&
           std::equal(bits.begin(), bits.end(), pattern.text.begin(),
                      [](char bit, char wanted) { return wanted == 'X' || wanted == bit; });
}

void check_instruction(const Chain& chain, size_t index, DescriptionCheck& check) {
    const ChainDevice& device = chain.devices[index];
    const bsdl::Device& said = *device.description;
    if (device.instruction_bits == 0 || said.instruction_bits == 0) {
        return;
    }
    if (device.instruction_bits != said.instruction_bits) {
        check.same_part = false;
        check.contradictions.push_back(
            fmt::format("its instruction register has {}, the file says {}",
                        count_text(device.instruction_bits, "bit"), said.instruction_bits));
        return;
    }
    check.matches.emplace_back("instruction length");
    const size_t at = surroundings(chain, index, ScanPath::Ir).before;
    const std::string bits =
        captured_bits(chain.instruction_capture.slice(at, device.instruction_bits));
    if (said.instruction_capture.bits() != bits.size()) {
        return; // the file says nothing that could be compared
    }
    if (fits(said.instruction_capture, bits)) {
        check.matches.emplace_back("capture");
    } else {
        check.same_part = false;
        check.contradictions.push_back(
            fmt::format("its instruction register captures {}, the file says {}", bits,
                        said.instruction_capture.text));
    }
}

} // namespace

Result<DescriptionFile> read_description(const std::string& path) {
    bsdl::Description read = TRY(bsdl::read_bsdl(path));
    return DescriptionFile{path, std::make_shared<const bsdl::Device>(std::move(read.device))};
}

Result<DescriptionFolder> DescriptionFolder::open(const std::string& path) {
    DescriptionFolder folder;
    std::error_code fault;
    if (!fs::is_directory(path, fault)) {
        folder.files_.push_back(TRY(read_description(path)));
        return folder;
    }
    for (const std::string& file : TRY(files_of(path))) {
        if (Result<DescriptionFile> read = read_description(file)) {
            folder.files_.push_back(*std::move(read));
        } else {
            folder.faults_.push_back(std::move(read).error());
        }
    }
    return folder;
}

std::vector<DescriptionFile> DescriptionFolder::find(const IdCode& code) const {
    std::vector<std::pair<size_t, const DescriptionFile*>> fitting;
    for (const DescriptionFile& file : files_) {
        if (const auto bits = open_bits(*file.device, code)) {
            fitting.emplace_back(*bits, &file);
        }
    }
    std::stable_sort(fitting.begin(), fitting.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<DescriptionFile> found;
    for (const auto& [bits, file] : fitting) {
        found.push_back(*file);
    }
    return found;
}

DescriptionCheck check_description(const Chain& chain, size_t index) {
    DescriptionCheck check;
    check_code(chain.devices[index], check);
    check_instruction(chain, index, check);
    return check;
}

std::string code_text(const bsdl::Pattern& pattern) {
    constexpr size_t kDigitBits = 4;
    std::string text = "0x";
    for (size_t at = 0; at < pattern.bits(); at += kDigitBits) {
        const std::string digit = pattern.text.substr(at, kDigitBits);
        const bsdl::Pattern bits{digit};
        const auto open = std::count(digit.begin(), digit.end(), 'X');
        if (digit.size() != kDigitBits || (open != 0 && open != kDigitBits)) {
            return "0b" + pattern.text;
        }
        text += open != 0 ? "X" : fmt::format("{:X}", bits.value());
    }
    return text;
}

} // namespace talvor
