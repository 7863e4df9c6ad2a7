#pragma once

// The library's Vanto as the language bindings drive it: the facade's own calls, each after the
// checks that refuse what the library would send as something else or stop the process on
// (DeviceRequestCheck), and the connection manager's address and port as plain properties. The
// C API's facade handle and the Python package's Vanto are this class, so both refuse the same
// requests with the messages of the vanto command.
//
// Most calls block on the unit, and the rest take library locks that the library's threads hold
// while they call back: bindings call it without holding an interpreter lock.

#include <cstdint>
#include <memory>
#include <string>

#include "receipts/CheckedReceipt.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"

namespace vantoconnect {
class VantoDeliveryListener;
class VantoPrinterCallback;
}  // namespace vantoconnect

namespace vantoreceipts {

class CheckedFacade {
  public:
    // Vanto(): opens nothing, keeps the library's default address and port 8080.
    CheckedFacade();
    CheckedFacade(const CheckedFacade&) = delete;
    CheckedFacade& operator=(const CheckedFacade&) = delete;

    std::string address() const;
    void setAddress(const std::string& address);
    std::int32_t port() const;
    // 1...65535.
    void setPort(std::int64_t port);
    std::int64_t connectionStatus();
    void disconnect();

    std::int64_t cashDrawerStatus();
    bool openCashDrawer(bool validate);
    bool printerBusy();
    void setDiagnosticLed(std::int64_t position, std::int64_t colour);
    void setCosmeticLed(std::int64_t colour);
    void enableUsb();
    void disableUsb();

    // Queues the receipt model itself, as Vanto::print(receipt, callback, listener) does;
    // returns the receipt id the report carries. Either pointer may be null.
    std::uint64_t print(const CheckedReceipt& receipt,
                        std::shared_ptr<vantoconnect::VantoPrinterCallback> callback,
                        std::shared_ptr<vantoconnect::VantoDeliveryListener> listener);

  private:
    vantoconnect::Vanto mVanto;
    // The facade's own connection manager, for the address and port.
    std::shared_ptr<vantoconnect::GenericConnectionManager> mManager;
};

}  // namespace vantoreceipts
