// The lengths that registers had when they were last scanned: guesses, never more.
#pragma once

#include "host/jtag/port.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace talvor {

// Registers are told apart by path and instruction. What was remembered long ago may be gone.
class LengthMemory {
public:
    [[nodiscard]] std::optional<size_t> recall(ScanPath path, uint64_t instruction) const noexcept {
        const Entry& entry = entries_[place(path, instruction)];
        return entry.used && entry.instruction == key(path, instruction)
                   ? std::optional(entry.length)
                   : std::nullopt;
    }
    void remember(ScanPath path, uint64_t instruction, size_t length) noexcept {
        entries_[place(path, instruction)] = {key(path, instruction), length, true};
    }

private:
    static constexpr size_t kPlaces = 64;

    struct Entry {
        uint64_t instruction = 0;
        size_t length = 0;
        bool used = false;
    };

    // There is one instruction path, whatever it holds.
    static constexpr uint64_t key(ScanPath path, uint64_t instruction) noexcept {
        return path == ScanPath::Ir ? 0 : instruction;
    }
    static constexpr size_t place(ScanPath path, uint64_t instruction) noexcept {
        return path == ScanPath::Ir ? 0 : 1 + key(path, instruction) % (kPlaces - 1);
    }

    std::array<Entry, kPlaces> entries_{};
};

} // namespace talvor
