#pragma once

// The parts of the native module vantoconnect._native, each bound in its own file. The public
// names and their documentation for editors are in vantoconnect/_native.pyi; keep the two in
// step (the stub test compares them).

#include <pybind11/pybind11.h>

namespace vantopy {

namespace py = pybind11;

void bindReceipts(py::module_& module);
void bindFacade(py::module_& module);
void bindEmulator(py::module_& module);

// A member of one of the package's constants (vantoconnect._enums), as the value Python shows.
py::object constant(const char* enumName, std::int64_t value);

}  // namespace vantopy
