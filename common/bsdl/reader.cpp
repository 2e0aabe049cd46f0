#include "common/bsdl/reader.h"

#include "common/bsdl/attributes.h"
#include "common/bsdl/checks.h"
#include "common/bsdl/instructions.h"
#include "common/bsdl/parser.h"
#include "common/bsdl/pin_maps.h"
#include "common/toml.h"

#include <algorithm>
#include <utility>

namespace talvor::bsdl {
namespace {

// A hundred times what the largest devices need.
constexpr uint64_t kMostBytes = uint64_t{64} << 20U;

// "STD_1149_1_1994" and the like.
uint32_t edition_of(const Source& source) {
    constexpr std::string_view kPrefix = "STD_1149_1_";
    for (const std::string_view use : source.uses) {
        if (same_name(use.substr(0, kPrefix.size()), kPrefix) && use.size() == kPrefix.size() + 4) {
            uint32_t year = 0;
            for (const char c : use.substr(kPrefix.size())) {
                year = c >= '0' && c <= '9' ? year * 10 + static_cast<uint32_t>(c - '0') : 0;
            }
            return year;
        }
    }
    return 0;
}

} // namespace

bool Description::usable() const noexcept {
    return std::none_of(findings.begin(), findings.end(),
                        [](const Finding& finding) { return finding.severity == Severity::Error; });
}

Result<Description> read_bsdl(const std::string& path, const ReadOptions& options) {
    return parse_bsdl(TRY(read_text_file(path, kMostBytes)), path, options);
}

Result<Description> parse_bsdl(std::string_view text, const std::string& name,
                               const ReadOptions& options) {
    Report report(name);
    const Source source = parse_source(text, report);
    TRY(report.status());
    Draft draft{source, report};
    draft.device.name = source.entity;
    draft.device.place = source.place;
    draft.device.edition = edition_of(source);
    draft.ports.build(source, draft.device.signals, report);
    TRY(report.status());
    read_pin_maps(draft, options.package);
    read_attributes(draft);
    add_implied(draft);
    TRY(report.status());
    check_device(draft);
    return Description{std::move(draft.device), report.findings()};
}

} // namespace talvor::bsdl
