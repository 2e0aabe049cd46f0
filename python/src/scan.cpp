#include "host/chain/device_port.h"
#include "python/src/connection.h"
#include "python/src/parts.h"
#include "python/src/scan_data.h"

#include <fmt/format.h>

#include <chrono>
#include <cstring>
#include <pybind11/stl.h>

namespace talvor::python {
namespace {

// From this length on a scan may be ended by Ctrl-C.
constexpr uint64_t kLongBits = 65536;

struct Ways {
    ScanPath path = ScanPath::Dr;
    StableState end = StableState::Idle;
    bool fast = false;
    bool receive = true;
};

// Kept for their memory; of the thread, for the answer is taken when the turn is over.
struct Scratch {
    Bits out;
    Bits in;
};
Scratch& scratch() {
    thread_local Scratch bits;
    return bits;
}

// A caller's buffer for the answer.
class Into {
public:
    Into(const py::object& target, uint64_t bits) : target_(target) {
        if (target.is_none()) {
            return;
        }
        if (PyObject_GetBuffer(target.ptr(), &buffer_, PyBUF_C_CONTIGUOUS | PyBUF_WRITABLE) != 0) {
            PyErr_Clear();
            raise({ErrorKind::Usage, 0, "into",
                   fmt::format("a {} has no contiguous bytes that can be written",
                               Py_TYPE(target.ptr())->tp_name),
                   "give a bytearray, or an array"});
        }
        given_ = true;
        bytes_ = static_cast<size_t>((bits + 7) / 8);
        if (static_cast<size_t>(buffer_.len) < bytes_) {
            const auto room = buffer_.len;
            PyBuffer_Release(&buffer_);
            raise({ErrorKind::Usage, 0, "into",
                   fmt::format("there is room for {} bytes in it, and {} come", room, bytes_),
                   "give a larger one"});
        }
    }
    ~Into() {
        if (given_) {
            PyBuffer_Release(&buffer_);
        }
    }
    Into(const Into&) = delete;
    Into& operator=(const Into&) = delete;

    [[nodiscard]] bool given() const noexcept { return given_; }
    void fill(const Bits& from) const { std::memcpy(buffer_.buf, from.words().data(), bytes_); }
    [[nodiscard]] py::object target() const { return target_; }

private:
    const py::object& target_;
    Py_buffer buffer_{};
    size_t bytes_ = 0;
    bool given_ = false;
};

void choose_mode(PodPort& port, const Ways& ways) {
    port.set_receive_mode(ways.fast ? PodPort::ReceiveMode::Adjusted : PodPort::ReceiveMode::Exact);
}

Status shift(Session& session, const Ways& ways) {
    PodPort& port = session.port();
    choose_mode(port, ways);
    Bits* const in = ways.receive ? &scratch().in : nullptr;
    TRY(port.scan({ways.path, &scratch().out, in, ways.end}));
    // Who asked for the answer has it when the target has done all of the scan, its Update too.
    return ways.receive ? port.flush() : Status();
}

// What `shifted` has left in the scratch, as the caller wants it.
template <typename Shifted>
py::object scan_with(Connection& connection, const ScanData& data, const Ways& ways,
                     const py::object& into, Shifted&& shifted) {
    const Into target(into, data.bits());
    connection.use(data.bits() >= kLongBits ? Length::Long : Length::Short,
                   [&](Session& session) -> Status {
                       data.copy_to(scratch().out);
                       TRY(shifted(session));
                       if (ways.receive && target.given()) {
                           target.fill(scratch().in);
                       }
                       return {};
                   });
    if (!ways.receive) {
        return py::none();
    }
    return target.given() ? target.target() : data.answer(scratch().in);
}

py::object scan(Connection& connection, ScanPath path, const py::object& data,
                std::optional<uint64_t> bits, StableState end, bool fast, bool receive,
                const py::object& into) {
    const Ways ways{path, end, fast, receive};
    const ScanData what(data, bits);
    return scan_with(connection, what, ways, into,
                     [&](Session& session) { return shift(session, ways); });
}

// Through one device, while the others are in BYPASS.
py::object scan_device(Connection& connection, const Chain& chain, size_t index, ScanPath path,
                       const py::object& data, std::optional<uint64_t> bits, StableState end,
                       bool fast, const py::object& into) {
    const Ways ways{path, end, fast, true};
    const uint64_t own = path == ScanPath::Ir ? chain.devices[index].instruction_bits : 0;
    const ScanData what(data, bits, own);
    const DevicePlace place = place_of(chain, index, IdCodes::Unknown);
    return scan_with(connection, what, ways, into, [&](Session& session) -> Status {
        PodPort& port = session.port();
        choose_mode(port, ways);
        TRY(talvor::scan_device(port, place, {path, &scratch().out, &scratch().in, end}));
        return port.flush();
    });
}

// A number of Python's as one of 64 bits; nothing where it is none, or does not fit.
std::optional<uint64_t> small_number(PyObject* object) {
    if (PyLong_CheckExact(object) == 0) {
        return std::nullopt;
    }
    const uint64_t number = PyLong_AsUnsignedLongLong(object);
    if (number == UINT64_MAX && PyErr_Occurred() != nullptr) {
        PyErr_Clear();
        return std::nullopt;
    }
    return number;
}

// quick_scan(data, bits, is_ir): what most scans are, an integer of up to 64 bits that ends in
// Run-Test/Idle and is answered, without what pybind11 does for arguments in general. It answers
// NotImplemented, and has done nothing, where it is anything else, right or wrong.
PyObject* quick_scan(PyObject* self, PyObject* const* arguments, Py_ssize_t count) {
    const auto data = count == 3 ? small_number(arguments[0]) : std::nullopt;
    const auto bits = count == 3 ? small_number(arguments[1]) : std::nullopt;
    if (!data || !bits || *bits == 0 || *bits > 64 || (*bits < 64 && *data >> *bits != 0)) {
        Py_RETURN_NOTIMPLEMENTED;
    }
    auto& connection = *static_cast<Connection*>(PyCapsule_GetPointer(self, nullptr));
    const Ways ways{.path = arguments[2] == Py_True ? ScanPath::Ir : ScanPath::Dr};
    try {
        connection.use(Length::Short, [&](Session& session) -> Status {
            Bits& out = scratch().out;
            out.resize(static_cast<size_t>(*bits));
            for (size_t i = 0; i < out.words().size(); ++i) {
                out.words()[i] = static_cast<uint16_t>(*data >> (i * Bits::kWordBits));
            }
            return shift(session, ways);
        });
        return PyLong_FromUnsignedLongLong(scratch().in.to_uint());
    } catch (py::error_already_set& error) {
        error.restore();
    } catch (const std::exception& error) {
        PyErr_SetString(PyExc_RuntimeError, error.what());
    }
    return nullptr;
}

// quick_scan() of a connection, which lives as long as that function does.
py::object quick_scanner(const py::object& connection) {
    static PyMethodDef method{"quick_scan",
                              reinterpret_cast<PyCFunction>(reinterpret_cast<void*>(quick_scan)),
                              METH_FASTCALL, nullptr};
    auto* const keeper = new py::object(connection);
    const auto capsule = py::reinterpret_steal<py::object>(
        PyCapsule_New(connection.cast<Connection*>(), nullptr, [](PyObject* self) {
            delete static_cast<py::object*>(PyCapsule_GetContext(self));
        }));
    PyCapsule_SetContext(capsule.ptr(), keeper);
    return py::reinterpret_steal<py::object>(PyCFunction_New(&method, capsule.ptr()));
}

// Seconds that `count` scans of the data registers take, each answered, with no Python around them:
// for benchmarks.
double time_scans(Connection& connection, uint64_t bits, uint32_t count) {
    const Ways ways;
    const auto began = std::chrono::steady_clock::now();
    connection.use(Length::Long, [&](Session& session) -> Status {
        scratch().out = Bits(static_cast<size_t>(bits), true);
        for (uint32_t i = 0; i < count; ++i) {
            TRY(shift(session, ways));
        }
        return {};
    });
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
}

} // namespace

void add_scan(py::class_<Connection>& connection) {
    connection.def("scan", scan);
    connection.def("scan_device", scan_device);
    connection.def("quick_scanner", quick_scanner);
    connection.def("time_scans", time_scans);
}

} // namespace talvor::python
