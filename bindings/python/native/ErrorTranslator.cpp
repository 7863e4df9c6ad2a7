#include "ErrorTranslator.hpp"

#include <exception>
#include <string>

#include "receipts/FatalEdge.hpp"
#include "receipts/ReceiptInputError.hpp"
#include "receipts/UnitIoError.hpp"
#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/support/Image.hpp"

namespace vantopy {

namespace {

py::object errorClass(const char* name) {
    return py::module_::import("vantoconnect._errors").attr(name);
}

void raise(const py::object& exception) {
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(exception.ptr())), exception.ptr());
}

}  // namespace

py::object ErrorTranslator::vantoError(const vantoconnect::VantoError& error, py::object report) {
    const bool dropped = error.kind() == vantoconnect::VantoError::Kind::PRINTER_NOT_RESPONDING;
    const py::object kinds = errorClass("ErrorKind");
    return errorClass(dropped ? "PrinterNotResponding" : "VantoError")(
        error.message(),
        py::arg("kind") = kinds.attr(dropped ? "PRINTER_NOT_RESPONDING" : "GENERIC"),
        py::arg("description") = error.description(), py::arg("report") = std::move(report));
}

void ErrorTranslator::install() {
    py::register_exception_translator([](std::exception_ptr thrown) {
        if (!thrown) {
            return;
        }
        try {
            try {
                std::rethrow_exception(thrown);
            } catch (const vantoconnect::VantoError& e) {
                raise(vantoError(e, py::none()));
            } catch (const vantoconnect::FatalError& e) {
                raise(errorClass("FatalError")(vantoreceipts::FatalEdge::explain(e.what())));
            } catch (const vantoreceipts::ReceiptInputError& e) {
                PyErr_SetString(PyExc_ValueError, e.what());
            } catch (const vantoreceipts::UnitIoError& e) {
                PyErr_SetString(PyExc_OSError, e.what());
            } catch (const vantoconnect::Image::Error& e) {
                PyErr_SetString(PyExc_ValueError, e.what());
            }
        } catch (py::error_already_set& failed) {
            // Making the exception object failed (an import, memory): raise that instead.
            failed.restore();
        }
    });
}

}  // namespace vantopy
