// Prints one receipt and waits until the unit has taken it (or the printer queue gives up).
//
//   example_print_receipt [unit-address]     (default 127.0.0.1, where an emulated unit listens)

#include <condition_variable>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>

#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/VantoConnectionManager.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoPrinterCallback.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptFeedLine.hpp"
#include "vantoconnect/VantoReceiptPriceLine.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"

using namespace vantoconnect;

// Callbacks arrive on the library's own threads, so the outcome is handed over under a lock.
class WaitingCallback : public VantoPrinterCallback {
  public:
    void onPrinterStarted(const std::string& ipAddress) override {
        std::cout << "printing on " << ipAddress << '\n';
    }
    void onPrinterCompleted(const std::string& /*ipAddress*/) override { finish(true); }
    void onPrinterError(const VantoError& error) override {
        std::cerr << "not printed: " << error.description() << '\n';
        finish(false);
    }

    // Blocks until the receipt was sent or dropped; true when it was sent.
    bool wait() {
        std::unique_lock lock(mMutex);
        mDone.wait(lock, [this] { return mFinished; });
        return mPrinted;
    }

  private:
    void finish(bool printed) {
        std::lock_guard lock(mMutex);
        mPrinted = printed;
        mFinished = true;
        mDone.notify_all();
    }

    std::mutex mMutex;
    std::condition_variable mDone;
    bool mFinished = false;
    bool mPrinted = false;
};

int main(int argc, char** argv) {
    const std::string address = argc > 1 ? argv[1] : "127.0.0.1";

    // Creating the facade opens nothing; set the unit's address before the first request.
    Vanto vanto;
    vanto.getConnectionManager()->setConnectionIPAddress(address);

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

    // print() only queues the receipt; the outcome arrives through the callback.
    auto callback = std::make_shared<WaitingCallback>();
    vanto.print(receipt, callback);
    const bool printed = callback->wait();
    std::cout << (printed ? "receipt sent" : "receipt dropped") << '\n';
    return printed ? 0 : 1;
}
