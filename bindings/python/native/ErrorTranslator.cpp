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
    using Kind = vantoconnect::VantoError::Kind;
    struct Shown {
        const char* kind;
        const char* className;
    };
    const Shown shown = [&]() -> Shown {
        switch (error.kind()) {
            case Kind::PRINTER_NOT_RESPONDING:
                return {"PRINTER_NOT_RESPONDING", "PrinterNotResponding"};
            case Kind::CONNECTION_LOST:
                return {"CONNECTION_LOST", "ConnectionLostError"};
            case Kind::CANCELLED:
                return {"CANCELLED", "ReceiptCancelled"};
            case Kind::GENERIC:
                break;
        }
        return {"GENERIC", "VantoError"};
    }();
    return errorClass(shown.className)(
        error.message(), py::arg("kind") = errorClass("ErrorKind").attr(shown.kind),
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
