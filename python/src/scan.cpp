#include "host/chain/chain.h"
#include "python/src/connection.h"
#include "python/src/parts.h"
#include "python/src/scan_data.h"

#include <fmt/format.h>

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

Status shift(Session& session, const Ways& ways) {
    PodPort& port = session.port();
    port.set_receive_mode(ways.fast ? PodPort::ReceiveMode::Adjusted : PodPort::ReceiveMode::Exact);
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
    const ScanSurroundings around = surroundings(chain, index, path);
    return scan_with(connection, what, ways, into, [&](Session& session) -> Status {
        const Bits before = Bits::ones(around.before);
        const Bits after = Bits::ones(around.after);
        const size_t length = scratch().out.size();
        scratch().out = Bits::concat({&before, &scratch().out, &after});
        TRY(shift(session, ways));
        scratch().in = scratch().in.slice(around.before, length);
        return {};
    });
}

} // namespace

void add_scan(py::class_<Connection>& connection) {
    connection.def("scan", scan);
    connection.def("scan_device", scan_device);
}

} // namespace talvor::python
