// Prints one receipt and says whether the whole receipt reached the printer.
//
//   example_print_receipt [ADDRESS [PORT]]     (defaults 127.0.0.1 and 8080: an emulated unit
//                                               started with `vanto emulate`)
//
// Exit status 0 only when the unit acknowledged every packet of the receipt.

#include <condition_variable>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>

#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/VantoDeliveryListener.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoPrinterCallback.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptFeedLine.hpp"
#include "vantoconnect/VantoReceiptPriceLine.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/resilient/ResilientOptions.hpp"

using namespace vantoconnect;

// Callbacks and the report arrive on the library's own threads, so the outcome is handed over
// under a lock. The report comes last, right after onPrinterCompleted or onPrinterError.
class WaitingCallback : public VantoPrinterCallback, public VantoDeliveryListener {
  public:
    void onPrinterStarted(const std::string& ipAddress) override {
        std::cout << "sending to " << ipAddress << '\n';
    }
    // In this profile: every packet acknowledged. The report below says the same, with counts.
    void onPrinterCompleted(const std::string& /*ipAddress*/) override {}
    void onPrinterError(const VantoError& error) override {
        std::cerr << "not delivered: " << error.description() << '\n';
    }
    void onDeliveryReport(const VantoDeliveryReport& report) override {
        std::lock_guard lock(mMutex);
        mReport = report;
        mFinished = true;
        mDone.notify_all();
    }

    // Blocks until the receipt's report has come: in this profile every wait of the library has
    // a limit, so it always comes (within a minute when the unit never answers).
    VantoDeliveryReport wait() {
        std::unique_lock lock(mMutex);
        mDone.wait(lock, [this] { return mFinished; });
        return mReport;
    }

  private:
    std::mutex mMutex;
    std::condition_variable mDone;
    bool mFinished = false;
    VantoDeliveryReport mReport;
};

int main(int argc, char** argv) {
    const std::string address = argc > 1 ? argv[1] : "127.0.0.1";
    const int port = argc > 2 ? std::atoi(argv[2]) : 8080;

    // The resilient profile, for a till: every connection closed when its exchange ends, every
    // wait limited, every failure reported. Creating the facade opens nothing.
    Vanto vanto(ResilientOptions{.address = address, .port = port});

    auto receipt = std::make_shared<VantoReceipt>();
    receipt->addLine(std::make_shared<VantoReceiptTextLine>(
        "CORNER CAFE", Vanto::TEXT_STYLE_BOLD, Vanto::TEXT_SIZE_WIDE, Vanto::TEXT_POSITION_CENTER));
    // Price lines and separators write no size command: they keep the size of the last text
    // line. A normal-size text line after a wide one puts the printer back to normal width.
    receipt->addLine(std::make_shared<VantoReceiptTextLine>(
        "12 Harbour Street", Vanto::TEXT_STYLE_NONE, Vanto::TEXT_SIZE_NORMAL,
        Vanto::TEXT_POSITION_CENTER));
    receipt->addLine(std::make_shared<VantoReceiptFeedLine>(1));
    receipt->addLine(std::make_shared<VantoReceiptPriceLine>("Flat white", Vanto::TEXT_STYLE_NONE,
                                                             "3.20", Vanto::TEXT_STYLE_NONE));
    receipt->addLine(std::make_shared<VantoReceiptPriceLine>("Croissant", Vanto::TEXT_STYLE_NONE,
                                                             "2.50", Vanto::TEXT_STYLE_NONE));
    receipt->addLine(std::make_shared<VantoReceiptPriceLine>("TOTAL", Vanto::TEXT_STYLE_BOLD,
                                                             "5.70", Vanto::TEXT_STYLE_BOLD));
    receipt->setCutType(Vanto::CUT_TYPE_PARTIAL);

    // print() only queues the receipt; the outcome arrives through the callback and the report.
    auto callback = std::make_shared<WaitingCallback>();
    vanto.print(receipt, callback, callback);
    const VantoDeliveryReport report = callback->wait();
    if (!report.allAcknowledged) {
        std::cerr << "receipt " << report.receiptId
                  << " not delivered in full: " << report.summary() << '\n';
        return 1;
    }
    // The unit took every byte; whether the paper then jammed, no answer can tell.
    std::cout << "receipt " << report.receiptId << " delivered: " << report.summary() << '\n';
    return 0;
}
