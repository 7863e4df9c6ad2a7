#pragma once

// C++ exceptions as the package's JavaScript errors, made on the main thread:
//   ReceiptInputError, Image::Error  -> RangeError with the receipts layer's message
//   VantoError                       -> VantoError / PrinterNotRespondingError (code, report)
//   FatalError                       -> FatalError with the sentence for a fatal edge
//   std::bad_alloc                   -> Error "out of memory"; anything else -> Error

#include <napi.h>

#include <exception>

#include "vantoconnect/VantoError.hpp"

namespace vantonode {

class JsErrors {
  public:
    static Napi::Error from(Napi::Env env, std::exception_ptr thrown);
    // `report` is the receipt's delivery report, or undefined.
    static Napi::Error vantoError(Napi::Env env, const vantoconnect::VantoError& error,
                                  Napi::Value report);
};

}  // namespace vantonode
