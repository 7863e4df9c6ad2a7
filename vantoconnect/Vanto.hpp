#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace vantoconnect {

class AbstractConnectionManager;
class LogSink;
class ReceiptQueue;
struct ResilientOptions;
class VantoConfigurationController;
class VantoConnectionManager;
class VantoDeliveryListener;
class VantoLedController;
class VantoPrinterCallback;
class VantoPrinterController;
class VantoReceipt;

// The one object an application creates to drive a Vanto unit.
//
// Creating it opens no connection: every request connects anew. Every operation except print()
// runs on the calling thread and blocks it while the unit is asked, so call them off the
// user-interface thread.
//
// It comes in two profiles, chosen when it is made:
//   Vanto()                          the classic behaviour, exactly: the address is set through
//                                    getConnectionManager()->setConnectionIPAddress(...); reads
//                                    have no time limit; a unit that closes a connection while
//                                    an answer is awaited ends the process; the printer-status
//                                    query leaves its connection open; one printer queue serves
//                                    the whole process; lines go to standard output.
//   Vanto(ResilientOptions{...})     for tills that run for days: address, port and time limits
//                                    given at once; every connection closed when its exchange
//                                    ends; every failure of the unit or the network is reported
//                                    (VantoError, the printer callback, the delivery report),
//                                    never the end of the process; a printer queue of its own
//                                    that starts at once and can withdraw waiting receipts;
//                                    lines go to ResilientOptions::log.
// See ResilientConnectionManager and ResilientPrinterQueue for the details of the second.
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
    explicit Vanto(const ResilientOptions& options);
    // Resilient: receipts still waiting are reported cancelled and one being sent is cut short
    // at once; nothing waits on the unit. Classic: queued receipts go on printing.
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
    // read throws and sends nothing. True when the pulse was handed to the connection's queue (not
    // that it reached the unit, nor that the drawer moved: read the status again to know).
    bool openCashDrawer(bool validateCashDrawerStatus);

    // position: a VantoDiagnosticLEDS value; colour: an LED_ value of VantoColorCodes.
    void setDiagnosticLed(std::int64_t position, std::int64_t colour);
    // colour: a COSMETIC_ value of VantoColorCodes.
    void setCosmeticLedCol(std::int64_t colour);

    // Never throws: a printer that cannot be asked counts as busy.
    bool printerBusy();

    // Queues the receipt and returns at once; the outcome arrives only through the callback.
    // An absent callback is allowed.
    //
    // Classic: the queue keeps the receipt object itself, not a copy, and onPrinterCompleted
    // means that the connection's work queue has got through the receipt's messages, not that
    // the unit took them: a unit that refused every packet still completes. To know, use the
    // overload below. Resilient: the receipt is composed now (later changes are not printed; one
    // the composer cannot take throws FatalError here), and onPrinterCompleted comes only when
    // every packet was acknowledged; otherwise onPrinterError says why.
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

    // Withdraws a receipt that is still waiting to be sent: it is reported with onPrinterError
    // (VantoError CANCELLED) and a report whose `cancelled` is set, before this returns. False
    // when it is no longer waiting, and always in the classic profile, which cannot withdraw one.
    bool cancel(std::uint64_t receiptId);
    // Receipts queued and not yet being sent (classic: those of the whole process).
    std::size_t waitingReceipts();

  private:
    friend class VantoProbe;  // lets tests put a printer controller of their own in place

    // Where this facade's lines go; null leaves them to the console (standard output).
    std::shared_ptr<const LogSink> mLog;
    std::shared_ptr<AbstractConnectionManager> mPort;
    std::shared_ptr<VantoLedController> vantoLedController;
    std::shared_ptr<VantoPrinterController> vantoPrinterController;
    std::shared_ptr<VantoConfigurationController> vantoConfigurationController;
    std::shared_ptr<ReceiptQueue> printerQueue;
};

}  // namespace vantoconnect
