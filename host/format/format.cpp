#include "host/format/format.h"

#include "common/text.h"
#include "host/svf/reader.h"
#include "host/xsvf/instruction.h"
#include "host/xsvf/reader.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string>

namespace talvor {

namespace {

constexpr std::array<std::string_view, 3> kNames{"SVF", "XSVF", "STAPL"}; // by FileFormat

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

bool begins_as_stapl(std::span<const char> bytes) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (std::string_view(bytes.data(), bytes.size()).starts_with(kByteOrderMark)) {
        bytes = bytes.subspan(kByteOrderMark.size());
    }
    const auto first = std::find_if_not(bytes.begin(), bytes.end(), [](char byte) {
        return is_blank(static_cast<unsigned char>(byte));
    });
    if (first != bytes.end() && *first == '\'') {
        return true;
    }
    std::string word;
    for (auto at = first; at != bytes.end() && std::isalpha(static_cast<unsigned char>(*at)) != 0 &&
                          word.size() < 10;
         ++at) {
        word += static_cast<char>(std::toupper(static_cast<unsigned char>(*at)));
    }
    constexpr std::array<std::string_view, 10> kWords{
        "NOTE", "ACTION", "PROCEDURE", "DATA", "BOOLEAN", "INTEGER", "REM", "LET", "CRC", "JAM"};
    return std::find(kWords.begin(), kWords.end(), word) != kWords.end();
}

} // namespace

std::string_view name_of(FileFormat format) noexcept {
    return kNames[static_cast<size_t>(format)];
}

std::optional<FileFormat> format_called(std::string_view name) {
    const auto found = std::find_if(kNames.begin(), kNames.end(),
                                    [name](std::string_view one) { return same_name(one, name); });
    return found == kNames.end() ? std::nullopt
                                 : std::optional(static_cast<FileFormat>(found - kNames.begin()));
}

Result<FileFormat> format_by_content(play::ByteSource& source) {
    const std::span<const char> bytes = TRY(source.next_chunk());
    if (bytes.empty()) {
        return file_error(source.name(), "is empty",
                          "check that this is the file you mean, and that it is whole");
    }
    const FileFormat format = begins_as_xsvf(bytes)    ? FileFormat::Xsvf
                              : begins_as_stapl(bytes) ? FileFormat::Stapl
                                                       : FileFormat::Svf;
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
