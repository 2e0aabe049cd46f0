// The variables of a STAPL program while it runs.
#pragma once

#include "host/jtag/bits.h"
#include "host/stapl/program.h"
#include "host/stapl/slice.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace talvor::stapl {

// What answers false has met a mistake of the program, which reason() tells; nothing has changed
// then but what a declaration replaces.
class Variables {
public:
    // The program outlives them. `max_array_bytes`: of all arrays together.
    Variables(const Program& program, size_t max_array_bytes)
        : program_(program), values_(program.variables.size()), max_array_bytes_(max_array_bytes) {}

    [[nodiscard]] const std::string& reason() const noexcept { return reason_; }

    // Declarations, which may run more than once.
    void declare(uint32_t variable, int32_t value);
    [[nodiscard]] bool declare_bits(uint32_t variable, int64_t size);
    // The bits have to be as many as the array needs.
    [[nodiscard]] bool declare_bits(uint32_t variable, int64_t size, const Slice& value);
    [[nodiscard]] bool declare_list(uint32_t variable, int64_t size);
    // The list outlives them.
    [[nodiscard]] bool declare_list(uint32_t variable, int64_t size,
                                    const std::vector<int32_t>& value);

    // Whether its declaration was run.
    [[nodiscard]] bool alive(uint32_t variable) {
        return values_[variable].alive || not_alive(variable);
    }

    // The value of one that is no array, declared or not.
    [[nodiscard]] int32_t number(uint32_t variable) const noexcept {
        return values_[variable].number;
    }
    void set_number(uint32_t variable, int32_t value) noexcept { values_[variable].number = value; }
    // A Boolean becomes 1 or 0.
    [[nodiscard]] bool store(uint32_t variable, int32_t value);

    // An element of an array, of bits or integers.
    [[nodiscard]] bool load_element(uint32_t variable, int64_t index, int32_t& value);
    [[nodiscard]] bool store_element(uint32_t variable, int64_t index, int32_t value);

    // Stretches of arrays of bits: good until the array is declared anew.
    [[nodiscard]] bool slice(uint32_t variable, int64_t left, int64_t right, Slice& slice);
    [[nodiscard]] bool whole(uint32_t variable, Slice& slice);
    // At the low end of `to`, which has as many bits or more.
    void write(const Slice& to, const Bits& bits);
    // As many bits as both have, from their low ends.
    void copy(const Slice& to, const Slice& from);

private:
    struct Value {
        bool alive = false;
        int32_t number = 0;
        const Bits* shared = nullptr; // an array that nobody has written to
        Bits own;
        const std::vector<int32_t>* shared_list = nullptr;
        std::vector<int32_t> list;
    };

    [[nodiscard]] bool wrong(std::string reason);
    [[nodiscard]] bool not_alive(uint32_t variable);
    [[nodiscard]] const std::string& name_of(uint32_t variable) const {
        return program_.variables[variable].name;
    }
    [[nodiscard]] bool is_boolean(uint32_t variable) const {
        return program_.variables[variable].type == Type::Boolean;
    }
    [[nodiscard]] const Bits& bits_of(uint32_t variable) const;
    [[nodiscard]] const std::vector<int32_t>& list_of(uint32_t variable) const;
    [[nodiscard]] Bits& writable(uint32_t variable);
    [[nodiscard]] std::vector<int32_t>& writable_list(uint32_t variable);
    [[nodiscard]] bool within(uint32_t variable, int64_t index);
    [[nodiscard]] bool room(uint32_t variable, int64_t size, size_t bytes);

    const Program& program_;
    std::vector<Value> values_; // as in the program
    size_t max_array_bytes_;
    size_t array_bytes_ = 0;
    std::string reason_;
};

} // namespace talvor::stapl
