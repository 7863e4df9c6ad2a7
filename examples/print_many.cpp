// Prints 100 receipts one after another without losing any to the printer queue's give-up.
//
//   example_print_many [ADDRESS [PORT [COUNT]]]     (defaults 127.0.0.1, 8080 and 100)
//
// The queue counts polls that find the printer unavailable over the whole process, and a
// transmission under way counts as unavailable; after 30 such polls it drops the receipt at the
// head. Submitting a whole batch at once therefore drops receipts even from a ready printer.
// Submitting the next receipt only when the previous one has its delivery report keeps the
// queue from ever polling in vain while the printer stays ready.
//
// Exit status 0 only when every packet of every receipt was acknowledged.

#include <condition_variable>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>

#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/VantoDeliveryListener.hpp"
#include "vantoconnect/VantoPrinterCallback.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptPriceLine.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"

using namespace vantoconnect;

// Hands each receipt's report to the submitting thread.
class ReportWaiter : public VantoPrinterCallback, public VantoDeliveryListener {
  public:
    void onPrinterStarted(const std::string&) override {}
    void onPrinterCompleted(const std::string&) override {}
    void onPrinterError(const VantoError&) override {}
    void onDeliveryReport(const VantoDeliveryReport& report) override {
        std::lock_guard lock(mMutex);
        mReport = report;
        mArrived = true;
        mChanged.notify_all();
    }

    VantoDeliveryReport next() {
        std::unique_lock lock(mMutex);
        mChanged.wait(lock, [this] { return mArrived; });
        mArrived = false;
        return mReport;
    }

  private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    bool mArrived = false;
    VantoDeliveryReport mReport;
};

int main(int argc, char** argv) {
    const std::string address = argc > 1 ? argv[1] : "127.0.0.1";
    const int port = argc > 2 ? std::atoi(argv[2]) : 8080;
    const int count = argc > 3 ? std::atoi(argv[3]) : 100;

    Vanto vanto;
    auto manager =
        std::dynamic_pointer_cast<GenericConnectionManager>(vanto.getConnectionManager());
    manager->setConnectionIPAddress(address);
    manager->VantoPort = port;

    auto waiter = std::make_shared<ReportWaiter>();
    int printed = 0;
    for (int n = 1; n <= count; ++n) {
        auto receipt = std::make_shared<VantoReceipt>();
        receipt->addLine(std::make_shared<VantoReceiptTextLine>(
            "Order " + std::to_string(n), Vanto::TEXT_STYLE_BOLD, Vanto::TEXT_SIZE_NORMAL,
            Vanto::TEXT_POSITION_CENTER));
        receipt->addLine(std::make_shared<VantoReceiptPriceLine>(
            "Flat white", Vanto::TEXT_STYLE_NONE, "3.20", Vanto::TEXT_STYLE_NONE));
        receipt->setFooterFeed(2);

        vanto.print(receipt, waiter, waiter);
        const VantoDeliveryReport report = waiter->next();  // the safe pattern: one at a time
        if (report.allAcknowledged) {
            ++printed;
        } else {
            std::cerr << "order " << n << ": " << report.summary() << '\n';
        }
    }
    std::cout << printed << " of " << count << " receipts delivered in full\n";
    return printed == count ? 0 : 1;
}
