// The parts of the module: each adds its classes and functions.
#pragma once

#include <pybind11/pybind11.h>

namespace talvor::python {

void add_scan(pybind11::class_<class Connection>& connection);
void add_control(pybind11::class_<class Connection>& connection);
void add_chain(pybind11::module_& module, pybind11::class_<class Connection>& connection);
void add_play(pybind11::module_& module, pybind11::class_<class Connection>& connection);
void add_pins(pybind11::module_& module, pybind11::class_<class Connection>& connection);
void add_interconnect(pybind11::class_<class Connection>& connection);
void add_shmoo(pybind11::class_<class Connection>& connection);
void add_trace(pybind11::module_& module);
void add_simulation(pybind11::module_& module);

} // namespace talvor::python
