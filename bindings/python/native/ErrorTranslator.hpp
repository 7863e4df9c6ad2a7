#pragma once

// The library's errors as the package's Python exceptions (vantoconnect._errors):
//   VantoError (GENERIC)                        -> vantoconnect.VantoError
//   VantoError (PRINTER_NOT_RESPONDING)         -> vantoconnect.PrinterNotResponding
//   VantoError (CONNECTION_LOST)                -> vantoconnect.ConnectionLostError
//   VantoError (CANCELLED)                      -> vantoconnect.ReceiptCancelled
//   FatalError on the caller's thread           -> vantoconnect.FatalError
//   ReceiptInputError, Image::Error (bad input) -> ValueError, with the receipts layer's message

#include <pybind11/pybind11.h>

#include "vantoconnect/VantoError.hpp"

namespace vantopy {

namespace py = pybind11;

class ErrorTranslator {
  public:
    // Once, when the module is made.
    static void install();

    // The Python exception object for a library error, carrying the receipt's report when there
    // is one (None otherwise). With the GIL held.
    static py::object vantoError(const vantoconnect::VantoError& error, py::object report);
};

}  // namespace vantopy
