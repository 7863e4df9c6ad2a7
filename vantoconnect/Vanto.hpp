#pragma once

#include <cstdint>
#include <memory>

namespace vantoconnect {

class GenericConnectionManager;
class PrinterQueue;
class VantoConfigurationController;
class VantoConnectionManager;
class VantoDeliveryListener;
class VantoLedController;
class VantoPrinterCallback;
class VantoPrinterController;
class VantoReceipt;

// The one object an application creates to drive a Vanto unit.
//
// Creating it opens no connection: every request connects anew to the address set through
// getConnectionManager()->setConnectionIPAddress(...). Every operation except print() runs on
// the calling thread and may block it for a long time when the unit does not answer, so call
// them off the user-interface thread.
class Vanto {
  public:
    static constexpr std::int64_t CUT_TYPE_FULL = 0;
    static constexpr std::int64_t CUT_TYPE_PARTIAL = 1;
    // Text styles are bit flags and may be combined with |.
    static constexpr std::int64_t TEXT_STYLE_NONE = 0;
    static constexpr std::int64_t TEXT_STYLE_BOLD = 1;
    static constexpr std::int64_t TEXT_STYLE_ITALIC = 2;
    static constexpr std::int64_t TEXT_STYLE_UNDERLINED = 4;
    static constexpr std::int64_t TEXT_STYLE_INVERSE = 8;
    static constexpr std::int64_t TEXT_SIZE_NORMAL = 0;
    static constexpr std::int64_t TEXT_SIZE_WIDE = 1;
    static constexpr std::int64_t TEXT_POSITION_LEFT = 0;
    static constexpr std::int64_t TEXT_POSITION_CENTER = 1;
    static constexpr std::int64_t TEXT_POSITION_RIGHT = 2;
    static constexpr std::int64_t BARCODE_TYPE_UPCA = 0;
    static constexpr std::int64_t BARCODE_TYPE_CODE39 = 1;
    static constexpr std::int64_t BARCODE_TYPE_PDF417 = 2;
    static constexpr std::int64_t BARCODE_HRI_NONE = 0;
    static constexpr std::int64_t BARCODE_HRI_ABOVE = 1;
    static constexpr std::int64_t BARCODE_HRI_BELOW = 2;
    static constexpr std::int64_t BARCODE_HRI_BOTH = 3;
    static constexpr std::int64_t CASH_DRAWER_STATUS_OPENED = 0;
    static constexpr std::int64_t CASH_DRAWER_STATUS_CLOSED = 1;

    Vanto();
    ~Vanto();
    Vanto(const Vanto&) = delete;
    Vanto& operator=(const Vanto&) = delete;

    // To change the unit's address, read the connection status or close the current socket.
    std::shared_ptr<VantoConnectionManager> getConnectionManager();

    // CASH_DRAWER_STATUS_OPENED or CASH_DRAWER_STATUS_CLOSED. Throws VantoError.
    std::int64_t cashDrawerStatus();
    // Same as openCashDrawer(true).
    bool openCashDrawer();
    // When validating, sends the open pulse only if the drawer reads closed; a failing status
    // read throws and sends nothing. True when the pulse was sent (not that the drawer moved).
    bool openCashDrawer(bool validateCashDrawerStatus);

    // position: a VantoDiagnosticLEDS value; colour: an LED_ value of VantoColorCodes.
    void setDiagnosticLed(std::int64_t position, std::int64_t colour);
    // colour: a COSMETIC_ value of VantoColorCodes.
    void setCosmeticLedCol(std::int64_t colour);

    // Never throws: a printer that cannot be asked counts as busy.
    bool printerBusy();

    // Queues the receipt and returns at once; the outcome arrives only through the callback.
    // An absent callback is allowed. The queue keeps the receipt object itself, not a copy.
    //
    // onPrinterCompleted means that the connection's work queue has got through the receipt's
    // messages, not that the unit took them: a unit that refused every packet still completes.
    // To know, use the overload below.
    void print(std::shared_ptr<VantoReceipt> receipt,
               std::shared_ptr<VantoPrinterCallback> callback);
    void print(std::shared_ptr<VantoReceipt> receipt);
    // The same, and the receipt's VantoDeliveryReport goes to `listener` right after
    // onPrinterCompleted or onPrinterError. Returns the receipt id that the report carries.
    std::uint64_t print(std::shared_ptr<VantoReceipt> receipt,
                        std::shared_ptr<VantoPrinterCallback> callback,
                        std::shared_ptr<VantoDeliveryListener> listener);

    void enableUSB();
    void disableUSB();

  private:
    friend class VantoProbe;  // lets tests put a printer controller of their own in place

    std::shared_ptr<GenericConnectionManager> mPort;
    std::shared_ptr<VantoLedController> vantoLedController;
    std::shared_ptr<VantoPrinterController> vantoPrinterController;
    std::shared_ptr<VantoConfigurationController> vantoConfigurationController;
    std::shared_ptr<PrinterQueue> printerQueue;
};

}  // namespace vantoconnect
