#pragma once

// One receipt's outcome, carried from the library's threads to Python: the user's on_started,
// on_completed and on_error, then the future that Vanto.print returned (vantoconnect._vanto's
// PrintFuture), told when sending starts and given the delivery report with the error, if any,
// that carries it. The report comes last, right after completed or error, on the same thread.
//
// The library keeps this object until the receipt's last callback and lets go of it on its own
// threads; the Python objects inside are HeldObjects for that reason.

#include <pybind11/pybind11.h>

#include <optional>
#include <string>

#include "HeldObject.hpp"
#include "vantoconnect/VantoDeliveryListener.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoPrinterCallback.hpp"

namespace vantopy {

class PrintCallbacks final : public vantoconnect::VantoPrinterCallback,
                             public vantoconnect::VantoDeliveryListener {
  public:
    // With the GIL held. A callback may be None.
    PrintCallbacks(py::object future, py::object onStarted, py::object onCompleted,
                   py::object onError);

    void onPrinterStarted(const std::string& ipAddress) override;
    void onPrinterCompleted(const std::string& ipAddress) override;
    void onPrinterError(const vantoconnect::VantoError& error) override;
    void onDeliveryReport(const vantoconnect::VantoDeliveryReport& report) override;

    // The report as the package's DeliveryReport. With the GIL held.
    static py::object reportObject(const vantoconnect::VantoDeliveryReport& report);

  private:
    HeldObject mFuture;
    HeldObject mOnStarted;
    HeldObject mOnCompleted;
    HeldObject mOnError;
    // Set by onPrinterError for the report that follows it on the same thread.
    std::optional<vantoconnect::VantoError> mError;
};

}  // namespace vantopy
