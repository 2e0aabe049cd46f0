#include "tool/commands/part_option.h"

#include "tool/command_line/command_line.h"

#include <cstdlib>

namespace talvor {

void add_parts_option(Command& command, std::string& folder) {
    command
        .option(
            "--parts", folder,
            "Names of manufacturers and parts, a folder in UrJTAG's format; else $TALVOR_PARTS, "
            "else that of the package urjtag where it is installed")
        .type_name("FOLDER");
}

Result<PartNames> part_names(const std::string& folder) {
    if (!folder.empty()) {
        return PartNames::open(folder);
    }
    if (const char* variable = std::getenv("TALVOR_PARTS"); variable != nullptr) {
        return *variable != '\0' ? PartNames::open(variable) : Result<PartNames>(PartNames());
    }
    return PartNames::open(PartNames::kUsualFolder).value_or(PartNames());
}

} // namespace talvor
