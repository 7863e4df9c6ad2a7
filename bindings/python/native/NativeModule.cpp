// vantoconnect._native: the library, its receipts layer and the emulated unit for Python.

#include <pybind11/pybind11.h>

#include <chrono>

#include "Bindings.hpp"
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
    // Before the interpreter finalizes: the library's threads go on writing lines and calling
    // back until the process ends, and must be done with Python first (see InterpreterGate).
    py::module_::import("atexit").attr("register")(py::cpp_function([] {
        const py::gil_scoped_release released;
        vantoconnect::setConsoleSink({});
        InterpreterGate::close(std::chrono::seconds(10));
    }));
}
