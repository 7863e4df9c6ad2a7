// vantoconnect._native: the library, its receipts layer and the emulated unit for Python.

#include <pybind11/pybind11.h>

#include <chrono>

#include "Bindings.hpp"
#include "ClosableFacade.hpp"
#include "ErrorTranslator.hpp"
#include "InterpreterGate.hpp"
#include "vantoconnect/support/Console.hpp"

namespace vantopy {

py::object constant(const char* enumName, std::int64_t value) {
    return py::module_::import("vantoconnect._enums").attr(enumName)(value);
}

}  // namespace vantopy

PYBIND11_MODULE(_native, module) {
    using namespace vantopy;
    module.doc() = "The native part of vantoconnect; import vantoconnect instead.";
    ErrorTranslator::install();
    bindReceipts(module);
    bindFacade(module);
    bindEmulator(module);
    // Imported first, so that its own exit handler (which flushes and closes the handlers) runs
    // after ours: exit handlers run last registered first.
    py::module_::import("logging");
    // Before the interpreter finalizes: the library's threads go on writing lines and calling
    // back until the process ends, and must be done with Python first (see InterpreterGate).
    // Then the resilient facades still open stop at once, without calling back: the program's
    // exit never waits on a unit. A thread still inside Python past the gate's limit may be the
    // one a facade would join, so then they are left to run on.
    py::module_::import("atexit").attr("register")(py::cpp_function([] {
        const py::gil_scoped_release released;
        vantoconnect::setConsoleSink({});
        if (InterpreterGate::close(std::chrono::seconds(10))) {
            ClosableFacade::closeAllResilient();
        }
    }));
}
