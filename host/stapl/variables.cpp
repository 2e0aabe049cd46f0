#include "host/stapl/variables.h"

#include "host/stapl/bit_range.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace talvor::stapl {

namespace {

size_t bytes_of_bits(int64_t size) {
    return (static_cast<size_t>(size) + Bits::kWordBits - 1) / Bits::kWordBits * sizeof(uint16_t);
}

size_t bytes_of_list(int64_t size) {
    return static_cast<size_t>(std::max<int64_t>(size, 0)) * sizeof(int32_t);
}

} // namespace

bool Variables::wrong(std::string reason) {
    reason_ = std::move(reason);
    return false;
}

bool Variables::not_alive(uint32_t variable) {
    return wrong(fmt::format("{} is used before its declaration was run", name_of(variable)));
}

// ---- declarations -------------------------------------------------------------------------------

// Whether an array of `size` can be had. What the variable held goes.
bool Variables::room(uint32_t variable, int64_t size, size_t bytes) {
    Value& value = values_[variable];
    if (size <= 0) {
        return wrong(fmt::format("{} is to have {} elements", name_of(variable), size));
    }
    array_bytes_ -= value.own.words().size_bytes() + value.list.size() * sizeof(int32_t);
    value.own.clear();
    value.list.clear();
    value.shared = nullptr;
    value.shared_list = nullptr;
    if (bytes > max_array_bytes_ - array_bytes_) {
        return wrong(fmt::format("the arrays have more than the {} bytes that this player takes",
                                 max_array_bytes_));
    }
    array_bytes_ += bytes;
    value.alive = true;
    return true;
}

void Variables::declare(uint32_t variable, int32_t value) {
    values_[variable].number = value;
    values_[variable].alive = true;
}

bool Variables::declare_bits(uint32_t variable, int64_t size) {
    if (!room(variable, size, bytes_of_bits(size))) {
        return false;
    }
    values_[variable].own.resize(static_cast<size_t>(size));
    return true;
}

bool Variables::declare_bits(uint32_t variable, int64_t size, const Slice& value) {
    const auto wanted = static_cast<size_t>(std::max<int64_t>(size, 0));
    const bool written = value.unit_bits != 0;
    const size_t unit = written ? value.unit_bits : 1;
    if ((wanted + unit - 1) / unit * unit != value.count && (written || value.count < wanted)) {
        return wrong(
            fmt::format("{} has {} bits, and its value {}", name_of(variable), size, value.count));
    }
    const bool same = written && value.count == wanted;
    Bits bits = same ? Bits() : value.read();
    if (!room(variable, size, same ? 0 : bytes_of_bits(size))) {
        return false;
    }
    bits.resize(same ? 0 : wanted);
    values_[variable].own = std::move(bits);
    values_[variable].shared = same ? value.bits : nullptr;
    return true;
}

bool Variables::declare_list(uint32_t variable, int64_t size) {
    if (!room(variable, size, bytes_of_list(size))) {
        return false;
    }
    values_[variable].list.resize(static_cast<size_t>(size));
    return true;
}

bool Variables::declare_list(uint32_t variable, int64_t size, const std::vector<int32_t>& value) {
    if (size != static_cast<int64_t>(value.size())) {
        return wrong(fmt::format("{} has {} elements, and its value {}", name_of(variable), size,
                                 value.size()));
    }
    if (!room(variable, size, 0)) {
        return false;
    }
    values_[variable].shared_list = &value;
    return true;
}

// ---- numbers and elements -----------------------------------------------------------------------

bool Variables::store(uint32_t variable, int32_t value) {
    values_[variable].number = is_boolean(variable) ? (value != 0 ? 1 : 0) : value;
    return alive(variable);
}

const Bits& Variables::bits_of(uint32_t variable) const {
    const Value& value = values_[variable];
    return value.shared != nullptr ? *value.shared : value.own;
}

const std::vector<int32_t>& Variables::list_of(uint32_t variable) const {
    const Value& value = values_[variable];
    return value.shared_list != nullptr ? *value.shared_list : value.list;
}

Bits& Variables::writable(uint32_t variable) {
    Value& value = values_[variable];
    if (value.shared != nullptr) {
        value.own = *std::exchange(value.shared, nullptr);
        array_bytes_ += value.own.words().size_bytes();
    }
    return value.own;
}

std::vector<int32_t>& Variables::writable_list(uint32_t variable) {
    Value& value = values_[variable];
    if (value.shared_list != nullptr) {
        value.list = *std::exchange(value.shared_list, nullptr);
        array_bytes_ += value.list.size() * sizeof(int32_t);
    }
    return value.list;
}

bool Variables::within(uint32_t variable, int64_t index) {
    if (!alive(variable)) {
        return false;
    }
    const size_t size = is_boolean(variable) ? bits_of(variable).size() : list_of(variable).size();
    return (index >= 0 && static_cast<size_t>(index) < size) ||
           wrong(
               fmt::format("{}[{}] is outside of the array of {}", name_of(variable), index, size));
}

bool Variables::load_element(uint32_t variable, int64_t index, int32_t& value) {
    if (!within(variable, index)) {
        return false;
    }
    const auto at = static_cast<size_t>(index);
    value = is_boolean(variable) ? (bits_of(variable)[at] ? 1 : 0) : list_of(variable)[at];
    return true;
}

bool Variables::store_element(uint32_t variable, int64_t index, int32_t value) {
    if (!within(variable, index)) {
        return false;
    }
    const auto at = static_cast<size_t>(index);
    if (is_boolean(variable)) {
        writable(variable).set(at, value != 0);
    } else {
        writable_list(variable)[at] = value;
    }
    return true;
}

// ---- stretches ----------------------------------------------------------------------------------

bool Variables::slice(uint32_t variable, int64_t left, int64_t right, Slice& slice) {
    if (!alive(variable)) {
        return false;
    }
    const Bits& bits = bits_of(variable);
    const auto [low, high] = std::minmax(left, right);
    if (low < 0 || static_cast<size_t>(high) >= bits.size()) {
        return wrong(fmt::format("{}[{}..{}] is outside of the array of {}", name_of(variable),
                                 left, right, bits.size()));
    }
    slice = {variable,     &bits, 0, static_cast<size_t>(low), static_cast<size_t>(high - low + 1),
             left < right, 0};
    return true;
}

bool Variables::whole(uint32_t variable, Slice& slice) {
    return this->slice(variable, static_cast<int64_t>(bits_of(variable).size()) - 1, 0, slice);
}

void Variables::write(const Slice& to, const Bits& bits) {
    if (to.reversed) {
        copy_bits(writable(to.variable), to.first + to.count - bits.size(), reversed(bits), 0,
                  bits.size());
    } else {
        copy_bits(writable(to.variable), to.first, bits, 0, bits.size());
    }
}

void Variables::copy(const Slice& to, const Slice& from) {
    const size_t count = std::min(from.count, to.count);
    if (from.bits != nullptr && !from.reversed && !to.reversed && from.variable != to.variable) {
        copy_bits(writable(to.variable), to.first, *from.bits, from.first, count);
        return;
    }
    Bits bits = from.read();
    bits.resize(count);
    write(to, bits);
}

} // namespace talvor::stapl
