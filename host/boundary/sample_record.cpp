#include "host/boundary/sample_record.h"

#include "common/vcd_header.h"

#include <fmt/format.h>

#include <utility>

namespace talvor::boundary {
namespace {

// Elements of a vector as viewers know them: "PA[3]" for "PA(3)".
std::string vector_name(std::string name) {
    if (name.ends_with(')')) {
        if (const size_t open = name.rfind('('); open != std::string::npos) {
            name[open] = '[';
            name.back() = ']';
        }
    }
    return name;
}

} // namespace

SampleRecord::SampleRecord(const std::vector<Module>& modules) {
    VcdHeader head("talvor", "1 us");
    for (const Module& module : modules) {
        head.begin_module(module.name);
        for (const std::string& signal : module.signals) {
            codes_.push_back(vcd_code(codes_.size()));
            head.wire(codes_.back(), vector_name(signal));
        }
        head.end_module();
    }
    header_ = std::move(head).finish();
}

std::string SampleRecord::add(uint64_t time_us, std::span<const char> levels) {
    const bool first = levels_.empty();
    levels_.resize(codes_.size(), '\0');
    std::string changes;
    for (size_t i = 0; i < codes_.size(); ++i) {
        if (std::exchange(levels_[i], levels[i]) != levels[i]) {
            changes += levels[i] + codes_[i] + '\n';
        }
    }
    if (changes.empty()) {
        return {};
    }
    return first ? fmt::format("#{}\n$dumpvars\n{}$end\n", time_us, changes)
                 : fmt::format("#{}\n{}", time_us, changes);
}

std::string SampleRecord::end(uint64_t time_us) {
    return fmt::format("#{}\n", time_us);
}

} // namespace talvor::boundary
