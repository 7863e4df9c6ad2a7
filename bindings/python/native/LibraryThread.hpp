#pragma once

// Python code run from one of the library's threads (print callbacks, the console sink). An
// exception that leaves such a thread ends the process, so nothing may escape: a Python
// exception goes to sys.unraisablehook, as Python does for errors it cannot raise anywhere, and
// the library carries on.

#include <pybind11/pybind11.h>

#include <exception>

#include "InterpreterGate.hpp"

namespace vantopy {

class LibraryThread {
  public:
    // Runs `body` with the GIL held. `context` (the user's callable, the future) names the
    // failure in the unraisable report. Does nothing once the interpreter gate is closed.
    template <typename Body>
    static void call(py::handle context, Body&& body) noexcept {
        const InterpreterGate::Pass pass;
        if (!pass) {
            return;
        }
        try {
            py::gil_scoped_acquire gil;
            try {
                body();
            } catch (py::error_already_set& error) {
                error.discard_as_unraisable(py::reinterpret_borrow<py::object>(context));
            } catch (const std::exception& error) {
                PyErr_SetString(PyExc_RuntimeError, error.what());
                PyErr_WriteUnraisable(context.ptr());
            }
        } catch (...) {
            // Out of memory while reporting: there is no one left to tell.
        }
    }
};

}  // namespace vantopy
