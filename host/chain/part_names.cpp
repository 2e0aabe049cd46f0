#include "host/chain/part_names.h"

#include <fmt/format.h>

#include <fstream>
#include <optional>
#include <sstream>

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

// The first entry for `bits`, as it is written: the highest bit first.
std::optional<Entry> entry_in(const std::string& path, const std::string& bits) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        std::istringstream fields(line);
        std::string key;
        Entry entry;
        if (fields >> key && key == bits && fields >> entry.folder) {
            std::getline(fields, entry.name);
            entry.name = trimmed(std::move(entry.name));
            return entry;
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
