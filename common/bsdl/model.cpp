#include "common/bsdl/model.h"

#include <algorithm>
#include <charconv>

namespace talvor::bsdl {
namespace {

template <typename Fits>
std::optional<size_t> index_of(const Device& device, Fits fits) {
    const auto found = std::find_if(device.signals.begin(), device.signals.end(), fits);
    return found == device.signals.end()
               ? std::nullopt
               : std::optional(static_cast<size_t>(found - device.signals.begin()));
}

// What `name` says behind the name of `signal`'s port: "3", "(3)" or "[3]" of a vector.
bool names_element(std::string_view name, const Signal& signal) {
    if (!signal.index || name.size() <= signal.port.size() ||
        !same_name(name.substr(0, signal.port.size()), signal.port)) {
        return false;
    }
    std::string_view index = name.substr(signal.port.size());
    if ((index.front() == '(' && index.back() == ')') ||
        (index.front() == '[' && index.back() == ']')) {
        index = index.substr(1, index.size() - 2);
    }
    int64_t value = 0;
    const auto [end, fault] = std::from_chars(index.data(), index.data() + index.size(), value);
    return fault == std::errc() && end == index.data() + index.size() && value == *signal.index;
}

} // namespace

bool Pattern::matches(uint64_t value) const noexcept {
    for (size_t i = 0; i < std::min<size_t>(bits(), 64); ++i) {
        const char wanted = bit(i);
        if (wanted != 'X' && (wanted == '1') != ((value >> i & 1U) != 0)) {
            return false;
        }
    }
    return true;
}

uint64_t Pattern::value() const noexcept {
    uint64_t value = 0;
    for (size_t i = 0; i < std::min<size_t>(bits(), 64); ++i) {
        value |= uint64_t{bit(i) == '1'} << i;
    }
    return value;
}

const Instruction* find_instruction(const Device& device, std::string_view name) {
    const auto found =
        std::find_if(device.instructions.begin(), device.instructions.end(),
                     [name](const Instruction& one) { return same_name(one.name, name); });
    return found == device.instructions.end() ? nullptr : &*found;
}

std::optional<size_t> find_signal(const Device& device, std::string_view name) {
    if (name.empty()) {
        return std::nullopt;
    }
    if (const auto named = index_of(
            device, [name](const Signal& signal) { return same_name(signal.name, name); })) {
        return named;
    }
    if (const auto element = index_of(
            device, [name](const Signal& signal) { return names_element(name, signal); })) {
        return element;
    }
    return index_of(device, [name](const Signal& signal) { return same_name(signal.pin, name); });
}

} // namespace talvor::bsdl
