#include "python/src/scan_data.h"

#include "python/src/raise.h"

#include <fmt/format.h>

#include <cstring>

namespace talvor::python {
namespace {

constexpr uint64_t kMostBits = uint64_t{1} << 36U;

size_t bytes_of(uint64_t bits) {
    return static_cast<size_t>((bits + 7) / 8);
}

void put(Bits& to, const void* bytes, size_t count, uint64_t bits) {
    to.resize(static_cast<size_t>(bits));
    if (const size_t words = to.words().size_bytes(); words != count) {
        to.words().back() = 0; // its upper byte is not copied
    }
    std::memcpy(to.words().data(), bytes, count);
    to.clear_unused();
}

// Neither a number nor bytes.
[[noreturn]] void raise_wrong_type(const py::object& data) {
    const py::object made =
        py::module_::import("talvor.errors")
            .attr("_wrong_type")("data",
                                 fmt::format("a {} is no integer and has no contiguous bytes",
                                             Py_TYPE(data.ptr())->tp_name),
                                 "give an int, bytes, or an array that "
                                 "numpy.ascontiguousarray() made");
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(made.ptr())), made.ptr());
    throw py::error_already_set();
}

} // namespace

ScanData::ScanData(const py::object& data, std::optional<uint64_t> bits, uint64_t own_bits)
    : ScanData() { // whose destructor runs when this throws
    if (bits && (*bits == 0 || *bits > kMostBits)) {
        raise({ErrorKind::Usage, 0, fmt::format("bits={}", *bits), "is no length of a scan",
               "give how many bits are shifted, 1 or more"});
    }
    if (PyLong_Check(data.ptr())) {
        take_integer(data, bits.value_or(own_bits));
    } else if (!take_buffer(data, bits)) {
        // A scalar of numpy's, whose bytes nobody means, or a number of another kind.
        const auto number = py::reinterpret_steal<py::object>(PyNumber_Index(data.ptr()));
        PyErr_Clear();
        number ? take_integer(number, bits.value_or(own_bits)) : raise_wrong_type(data);
    }
}

ScanData::~ScanData() {
    if (has_buffer_) {
        PyBuffer_Release(&buffer_);
    }
}

void ScanData::take_integer(const py::object& data, uint64_t bits) {
    if (bits == 0) {
        raise({ErrorKind::Usage, 0, "bits", "an integer does not say how many bits are shifted",
               "add bits=, as in dr(0x1234, bits=16)"});
    }
    bits_ = bits;
    byte_count_ = bytes_of(bits);
    if (bits <= 64) {
        number_ = PyLong_AsUnsignedLongLong(data.ptr());
        const bool fits = PyErr_Occurred() == nullptr && (bits == 64 || number_ >> bits == 0);
        PyErr_Clear();
        bytes_ = &number_;
        if (fits) {
            return;
        }
    } else if (data.attr("bit_length")().cast<uint64_t>() <= bits && data >= py::int_(0)) {
        large_ = data.attr("to_bytes")(byte_count_, "little");
        bytes_ = PyBytes_AS_STRING(large_.ptr());
        return;
    }
    raise(
        {ErrorKind::Usage, 0, "data",
         fmt::format("{} does not fit into {} bit{}",
                     py::str(py::module_::import("builtins").attr("hex")(data)).cast<std::string>(),
                     bits, bits == 1 ? "" : "s"),
         "give a number from 0 to 2**bits - 1, or a larger bits="});
}

bool ScanData::take_buffer(const py::object& data, std::optional<uint64_t> bits) {
    if (PyObject_GetBuffer(data.ptr(), &buffer_, PyBUF_C_CONTIGUOUS | PyBUF_FORMAT) != 0) {
        PyErr_Clear();
        return false;
    }
    if (buffer_.ndim == 0) {
        PyBuffer_Release(&buffer_);
        return false;
    }
    has_buffer_ = true;
    if (buffer_.format != nullptr && std::strcmp(buffer_.format, "?") == 0) {
        raise({ErrorKind::Usage, 0, "data", "an array of truth values has a byte for each bit",
               "pack it with numpy.packbits(array, bitorder='little')"});
    }
    const auto room = static_cast<uint64_t>(buffer_.len) * 8;
    bits_ = bits.value_or(room);
    if (bits_ == 0 || bits_ > room) {
        raise({ErrorKind::Usage, 0, "data",
               fmt::format("there are {} bits in it, not {}", room, bits_),
               "give as many bytes as the bits need"});
    }
    bytes_ = buffer_.buf;
    byte_count_ = bytes_of(bits_);
    return true;
}

void ScanData::copy_to(Bits& to) const {
    put(to, bytes_, byte_count_, bits_);
}

py::object ScanData::answer(const Bits& from) const {
    const auto* bytes = reinterpret_cast<const char*>(from.words().data());
    if (has_buffer_) {
        return py::bytes(bytes, byte_count_);
    }
    if (bits_ <= 64) {
        return py::reinterpret_steal<py::object>(PyLong_FromUnsignedLongLong(from.to_uint()));
    }
    return py::reinterpret_borrow<py::object>(reinterpret_cast<PyObject*>(&PyLong_Type))
        .attr("from_bytes")(py::bytes(bytes, byte_count_), "little");
}

} // namespace talvor::python
