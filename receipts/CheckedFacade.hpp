#pragma once

// The library's Vanto as the language bindings drive it: the facade's own calls, each after the
// checks that refuse what the library would send as something else or stop the process on
// (DeviceRequestCheck), and the connection manager's address and port as plain properties. The
// C API's facade handle and the Python package's Vanto are this class, so both refuse the same
// requests with the messages of the vanto command.
//
// Most calls block on the unit, and the rest take library locks that the library's threads hold
// while they call back: bindings call it without holding an interpreter lock.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "receipts/CheckedReceipt.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/connection/AbstractConnectionManager.hpp"

namespace vantoconnect {
class VantoDeliveryListener;
class VantoPrinterCallback;
}  // namespace vantoconnect

namespace vantoreceipts {

// Which of the library's two facades a binding drives. Resilient is every binding's default.
enum class Profile {
    Resilient,  // Vanto(ResilientOptions): for tills that run for days
    Classic,    // Vanto(): the library's classic behaviour, hazards included
};

struct FacadeOptions {
    Profile profile = Profile::Resilient;
    // Empty: the unit's own address on its Wi-Fi network.
    std::string address{};
    std::int32_t port = 8080;
    // The resilient profile's limits (the classic one has none) and where its lines go (the
    // classic one writes them to standard output, or to the process-wide console sink).
    std::chrono::milliseconds readTimeout{5000};
    std::chrono::milliseconds connectTimeout{3000};
    // How long a receipt may wait for a busy or unreachable printer before it is given up.
    std::chrono::milliseconds waitLimit{60000};
    std::function<void(std::string_view line)> log{};
};

class CheckedFacade {
  public:
    // Opens nothing. A port outside 1...65535 is refused with ReceiptInputError.
    explicit CheckedFacade(const FacadeOptions& options = {});
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
    // Vanto::cancel and Vanto::waitingReceipts.
    bool cancel(std::uint64_t receiptId);
    std::size_t waitingReceipts();

    Profile profile() const noexcept { return mProfile; }

  private:
    Profile mProfile;
    std::unique_ptr<vantoconnect::Vanto> mVanto;
    // The facade's own connection manager, for the address and port.
    std::shared_ptr<vantoconnect::AbstractConnectionManager> mManager;
};

}  // namespace vantoreceipts
