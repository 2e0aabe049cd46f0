#include "common/vcd_header.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace talvor {
namespace {

constexpr char kFirstCode = '!';
constexpr size_t kCodes = '~' - '!' + 1;

std::string word_of(std::string_view name) {
    std::string word(name);
    std::replace_if(
        word.begin(), word.end(), [](char c) { return c <= ' ' || c > '~'; }, '_');
    return word;
}

} // namespace

std::string vcd_code(size_t index) {
    std::string code(1, static_cast<char>(kFirstCode + static_cast<int>(index % kCodes)));
    for (index /= kCodes; index != 0; index = (index - 1) / kCodes) {
        code += static_cast<char>(kFirstCode + static_cast<int>((index - 1) % kCodes));
    }
    return code;
}

VcdHeader::VcdHeader(std::string_view program, std::string_view timescale)
    : text_(fmt::format("$version {} $end\n$timescale {} $end\n", program, timescale)) {}

void VcdHeader::begin_module(std::string_view name) {
    text_ += fmt::format("$scope module {} $end\n", word_of(name));
}

void VcdHeader::end_module() {
    text_ += "$upscope $end\n";
}

void VcdHeader::wire(std::string_view code, std::string_view name) {
    text_ += fmt::format("$var wire 1 {} {} $end\n", code, word_of(name));
}

void VcdHeader::text(std::string_view code, std::string_view name) {
    text_ += fmt::format("$var string 1 {} {} $end\n", code, word_of(name));
}

std::string VcdHeader::finish() && {
    text_ += "$enddefinitions $end\n";
    return std::move(text_);
}

} // namespace talvor
