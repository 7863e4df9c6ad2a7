#pragma once

#include <string>

#include "vantoconnect/VantoError.hpp"

namespace vantoconnect {

// How an application hears what became of a receipt it handed to Vanto::print.
// onPrinterStarted runs on the printer queue's timer thread before any byte is sent;
// onPrinterCompleted runs on the connection's work queue once it has passed the receipt's last
// message; onPrinterError runs on the timer thread when the receipt is dropped unprinted.
// Keep the work in them short: they hold up printing while they run. They must not throw: an
// exception leaving a callback ends the process, as on any thread the library runs.
class VantoPrinterCallback {
  public:
    virtual ~VantoPrinterCallback() = default;

    // ipAddress is the unit's address as the connection manager holds it.
    virtual void onPrinterStarted(const std::string& ipAddress) = 0;
    virtual void onPrinterCompleted(const std::string& ipAddress) = 0;
    virtual void onPrinterError(const VantoError& error) = 0;
};

}  // namespace vantoconnect
