#include "host/format/format.h"

#include "host/svf/reader.h"
#include "host/xsvf/instruction.h"
#include "host/xsvf/reader.h"

#include <algorithm>
#include <cctype>

namespace talvor {

namespace {

bool is_blank(unsigned char byte) {
    return byte == ' ' || (byte >= '\t' && byte <= '\r');
}

// Some of the instructions are blanks in a text: the byte behind them decides. An XSVF file hardly
// begins with XSDRTDO and its like, which need a size before them.
bool begins_as_xsvf(std::span<const char> bytes) {
    const auto first = std::find_if_not(bytes.begin(), bytes.end(), [](char byte) {
        return is_blank(static_cast<unsigned char>(byte));
    });
    return first != bytes.end() && static_cast<unsigned char>(*first) < xsvf::kOpcodes;
}

} // namespace

std::string_view name_of(FileFormat format) noexcept {
    return format == FileFormat::Svf ? "SVF" : "XSVF";
}

Result<FileFormat> format_by_content(play::ByteSource& source) {
    const std::span<const char> bytes = TRY(source.next_chunk());
    if (bytes.empty()) {
        return file_error(source.name(), "is empty",
                          "check that this is the file you mean, and that it is whole");
    }
    const FileFormat format = begins_as_xsvf(bytes) ? FileFormat::Xsvf : FileFormat::Svf;
    TRY(source.rewind());
    return format;
}

std::optional<FileFormat> format_by_name(std::string_view name) {
    const auto ends = [name](std::string_view end) {
        return name.size() >= end.size() &&
               std::equal(end.begin(), end.end(), name.end() - static_cast<ptrdiff_t>(end.size()),
                          [](char one, char other) {
                              return one == std::tolower(static_cast<unsigned char>(other));
                          });
    };
    if (ends(".xsvf")) {
        return FileFormat::Xsvf;
    }
    return ends(".svf") ? std::optional(FileFormat::Svf) : std::nullopt;
}

std::unique_ptr<play::StepSource> open_steps(FileFormat format, play::ByteSource& source,
                                             const JtagPort& port, bool strict) {
    if (format == FileFormat::Xsvf) {
        return std::make_unique<xsvf::Reader>(source, port);
    }
    return std::make_unique<svf::Reader>(source, port, svf::ReaderOptions{{}, strict});
}

} // namespace talvor
