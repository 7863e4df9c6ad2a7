// Prints 100 receipts submitted at once, and says how many reached the printer whole.
//
//   example_print_many [ADDRESS [PORT [COUNT]]]     (defaults 127.0.0.1, 8080 and 100)
//
// The resilient profile's printer queue sends them one after another, in order, and counts the
// polls for a busy printer against each receipt alone, so a burst loses nothing while the
// printer is ready. (The classic Vanto() shares one poll count over the whole process: there,
// submit the next receipt only when the previous one has its report.)
//
// Exit status 0 only when every packet of every receipt was acknowledged.

#include <condition_variable>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/VantoDeliveryListener.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptPriceLine.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/resilient/ResilientOptions.hpp"

using namespace vantoconnect;

// Collects the reports, which arrive on the queue's thread in submission order.
class Reports : public VantoDeliveryListener {
  public:
    void onDeliveryReport(const VantoDeliveryReport& report) override {
        std::lock_guard lock(mMutex);
        mReports.push_back(report);
        mChanged.notify_all();
    }

    std::vector<VantoDeliveryReport> all(std::size_t count) {
        std::unique_lock lock(mMutex);
        mChanged.wait(lock, [&] { return mReports.size() >= count; });
        return mReports;
    }

  private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    std::vector<VantoDeliveryReport> mReports;
};

int main(int argc, char** argv) {
    const std::string address = argc > 1 ? argv[1] : "127.0.0.1";
    const int port = argc > 2 ? std::atoi(argv[2]) : 8080;
    const int count = argc > 3 ? std::atoi(argv[3]) : 100;

    Vanto vanto(ResilientOptions{.address = address, .port = port});

    auto reports = std::make_shared<Reports>();
    for (int n = 1; n <= count; ++n) {
        auto receipt = std::make_shared<VantoReceipt>();
        receipt->addLine(std::make_shared<VantoReceiptTextLine>(
            "Order " + std::to_string(n), Vanto::TEXT_STYLE_BOLD, Vanto::TEXT_SIZE_NORMAL,
            Vanto::TEXT_POSITION_CENTER));
        receipt->addLine(std::make_shared<VantoReceiptPriceLine>(
            "Flat white", Vanto::TEXT_STYLE_NONE, "3.20", Vanto::TEXT_STYLE_NONE));
        receipt->setFooterFeed(2);

        vanto.print(receipt, nullptr, reports);
    }
    int printed = 0;
    for (const VantoDeliveryReport& report : reports->all(static_cast<std::size_t>(count))) {
        if (report.allAcknowledged) {
            ++printed;
        } else {
            std::cerr << "receipt " << report.receiptId << ": " << report.summary() << '\n';
        }
    }
    std::cout << printed << " of " << count << " receipts delivered in full\n";
    return printed == count ? 0 : 1;
}
