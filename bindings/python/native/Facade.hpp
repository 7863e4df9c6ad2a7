#pragma once

// The library's Vanto with the address and port of its connection manager, for the package's
// Vanto class. Device requests go through the receipts layer's checks first, so a request the
// library would send as something else, or stop the process on (LED_PED), is refused with
// ValueError, as the vanto command refuses it.
//
// The bindings call everything here without the GIL: most calls block on the unit, and the rest
// take library locks that the library's threads hold while they wait for the GIL.

#include <cstdint>
#include <memory>
#include <string>

#include "receipts/CheckedReceipt.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"

namespace vantopy {

class PrintCallbacks;

class Facade {
  public:
    Facade();
    // Waits for the connection's queued writes, whose callbacks may need the GIL.
    ~Facade();
    Facade(const Facade&) = delete;
    Facade& operator=(const Facade&) = delete;

    std::string address() const;
    void setAddress(const std::string& address);
    std::int64_t port() const;
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

    // Queues the receipt model itself, as the library does; returns the receipt id.
    std::uint64_t print(const vantoreceipts::CheckedReceipt& receipt,
                        std::shared_ptr<PrintCallbacks> callbacks);

  private:
    std::unique_ptr<vantoconnect::Vanto> mVanto;
    std::shared_ptr<vantoconnect::GenericConnectionManager> mManager;
};

}  // namespace vantopy
