// A stretch of a waveform, drawn or in numbers.
#include "host/waveform/svg.h"
#include "host/waveform/text.h"
#include "host/waveform/vcd.h"
#include "host/waveform/waveform.h"
#include "python/src/connection.h"
#include "python/src/parts.h"

#include <algorithm>
#include <pybind11/stl.h>
#include <string>

namespace talvor::python {
namespace {

// The TCKs from `first` on, or, with `last`, those at the end; no more than `count`.
waveform::Waveform read(const std::string& path, uint64_t first, uint64_t count, bool last,
                        const Connection* connection) {
    Result<waveform::Waveform> trace = [&]() -> Result<waveform::Waveform> {
        const py::gil_scoped_release free;
        uint64_t from = first;
        if (last) {
            const uint64_t total = TRY(waveform::read_vcd_file(path, {0, 0})).total_tcks;
            from = total - std::min(total, count);
        }
        return waveform::read_vcd_file(path, {from, count});
    }();
    waveform::Waveform read = value_of(std::move(trace));
    if (connection != nullptr) {
        read.passes = connection->passes;
    }
    return read;
}

// (path, TDI, TDO or None, bits, first TCK, what it was for, cut)
py::list shifts(const waveform::Waveform& trace) {
    py::list list;
    for (const waveform::ShiftRun& run : waveform::shift_runs(trace)) {
        list.append(py::make_tuple(
            run.path == ScanPath::Ir ? "ir" : "dr", run.tdi.to_hex(),
            run.tdo_known ? py::object(py::str(run.tdo.to_hex())) : py::object(py::none()),
            run.tdi.size(), trace.first_tck + run.first, std::string(run.pass), run.cut()));
    }
    return list;
}

// (state, TCKs) one after the other.
py::list states(const waveform::Waveform& trace) {
    py::list list;
    for (const waveform::StateRun& run : waveform::state_runs(trace)) {
        list.append(py::make_tuple(std::string(name_of(run.state)), run.count));
    }
    return list;
}

} // namespace

void add_trace(py::module_& module) {
    py::class_<waveform::Waveform>(module, "Waveform")
        .def_readonly("first_tck", &waveform::Waveform::first_tck)
        .def_readonly("total_tcks", &waveform::Waveform::total_tcks)
        .def_readonly("ends_early", &waveform::Waveform::ends_early)
        .def("__len__", [](const waveform::Waveform& trace) { return trace.samples.size(); })
        .def("shifts", shifts)
        .def("states", states)
        .def("to_svg",
             [](const waveform::Waveform& trace, const std::string& title) {
                 return waveform::to_svg(trace, {.title = title});
             })
        .def("to_text", [](const waveform::Waveform& trace, size_t width, bool unicode) {
            return waveform::to_text(trace,
                                     {.width = std::max<size_t>(width, 24), .unicode = unicode});
        });
    module.def("read_vcd", read);
}

} // namespace talvor::python
