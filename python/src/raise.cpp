#include "python/src/raise.h"

#include <pybind11/pybind11.h>

namespace talvor::python {
namespace {

namespace py = pybind11;

[[noreturn]] void throw_made(const py::object& exception) {
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(exception.ptr())), exception.ptr());
    throw py::error_already_set();
}

} // namespace

void raise(const Error& error) {
    throw_made(py::module_::import("talvor.errors")
                   .attr("_made")(static_cast<int>(error.kind), error.code, error.thing,
                                  error.reason, error.next_step));
}

void raise_closed() {
    throw_made(py::module_::import("talvor.errors").attr("_closed")());
}

} // namespace talvor::python
