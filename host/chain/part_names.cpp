#include "host/chain/part_names.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <optional>
#include <string_view>

namespace talvor {
namespace {

struct Entry {
    std::string folder;
    std::string name;
};

// The rest of a line without its comment and the blanks around it.
std::string trimmed(std::string text) {
    text.erase(std::min(text.find('#'), text.size()));
    text.erase(text.find_last_not_of(" \t\r") + 1);
    text.erase(0, std::min(text.find_first_not_of(" \t"), text.size()));
    return text;
}

// Takes the first field, between blanks, off the front of `text`.
std::string_view take_field(std::string_view& text) {
    constexpr std::string_view kBlanks = " \t\n\v\f\r";
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    const std::string_view field = text.substr(0, text.find_first_of(kBlanks));
    text.remove_prefix(field.size());
    return field;
}

// The first entry for `bits`, as it is written: the highest bit first.
std::optional<Entry> entry_in(const std::string& path, const std::string& bits) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        std::string_view rest = line;
        if (take_field(rest) != bits) {
            continue;
        }
        if (const std::string_view folder = take_field(rest); !folder.empty()) {
            return Entry{std::string(folder), trimmed(std::string(rest))};
        }
    }
    return std::nullopt;
}

std::string bits_text(uint32_t value, int width) {
    return fmt::format("{:0{}b}", value, width);
}

constexpr int kManufacturerBits = 11;
constexpr int kPartBits = 16;
constexpr int kVersionBits = 4;

} // namespace

Result<PartNames> PartNames::open(const std::string& folder) {
    if (!std::ifstream(folder + "/MANUFACTURERS")) {
        return file_error(folder, "has no list MANUFACTURERS that can be read",
                          "name a folder in UrJTAG's format, as in " + std::string(kUsualFolder));
    }
    PartNames names;
    names.folder_ = folder;
    return names;
}

PartName PartNames::find(const IdCode& code) const {
    PartName known;
    if (folder_.empty()) {
        return known;
    }
    std::string at = folder_ + "/";
    const auto manufacturer =
        entry_in(at + "MANUFACTURERS", bits_text(code.manufacturer(), kManufacturerBits));
    if (!manufacturer) {
        return known;
    }
    known.manufacturer = manufacturer->name;
    at += manufacturer->folder + "/";
    const auto part = entry_in(at + "PARTS", bits_text(code.part(), kPartBits));
    if (!part) {
        return known;
    }
    known.part = part->name;
    at += part->folder + "/";
    if (const auto stepping = entry_in(at + "STEPPINGS", bits_text(code.version(), kVersionBits))) {
        known.stepping = stepping->name;
    }
    return known;
}

} // namespace talvor
