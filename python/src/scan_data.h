// The data of scans as Python has them: an integer, or bytes in anything that has a buffer.
#pragma once

#include "host/jtag/bits.h"
#include "host/jtag/port.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <pybind11/pybind11.h>

namespace talvor::python {

namespace py = pybind11;

// The bits of a scan, read where they lie; bit 0 of an integer, or of the first byte, goes first.
class ScanData {
public:
    // `bits`: how many; nothing: all of a buffer, or `own_bits` where that is not 0. Throws what is
    // wrong with them.
    ScanData(const py::object& data, std::optional<uint64_t> bits, uint64_t own_bits = 0);
    ~ScanData();
    ScanData(const ScanData&) = delete;
    ScanData& operator=(const ScanData&) = delete;

    [[nodiscard]] uint64_t bits() const noexcept { return bits_; }
    // Needs no lock of the interpreter.
    void copy_to(Bits& to) const;
    // The answer, as the data were given: an integer, or bytes.
    [[nodiscard]] py::object answer(const Bits& from) const;

private:
    ScanData() = default;

    // False: it has no bytes of its own.
    [[nodiscard]] bool take_buffer(const py::object& data, std::optional<uint64_t> bits);
    void take_integer(const py::object& data, uint64_t bits);

    Py_buffer buffer_{};
    bool has_buffer_ = false;
    uint64_t number_ = 0;
    py::object large_; // bytes of an integer above 64 bits
    const void* bytes_ = nullptr;
    size_t byte_count_ = 0;
    uint64_t bits_ = 0;
};

} // namespace talvor::python
